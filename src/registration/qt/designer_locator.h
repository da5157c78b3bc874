// Finding the designer program, formwright, at design time: the remembered location, the
// QUILLET_DESIGNER environment variable, the folders around the library, PATH, what the host
// knows, and last a file dialog whose choice is remembered.
#pragma once

#include <string>

namespace quillet {

class IDesignHost;

// The settings file that remembers the designer (key DesignerPath):
// $XDG_CONFIG_HOME/Quillet/Quillet.conf, ~/.config/Quillet/Quillet.conf without it, or the file
// set by SetDesignerSettingsFile. Both reading and writing ask this function each time.
std::string DesignerSettingsFile();
// Uses FileName from now on ("" goes back to the user's file). For tests and portable setups.
void SetDesignerSettingsFile(std::string FileName);
// The remembered path ("" when none).
std::string ReadDesignerPathSetting();
void WriteDesignerPathSetting(const std::string& Path);

// The designer's full path, or "" when it is nowhere. The first existing file of:
//   1. the remembered DesignerPath;
//   2. $QUILLET_DESIGNER;
//   3. formwright in the folder of the library (or program) holding this code, 4. in its parent;
//   then ../bin/formwright from that folder and formwright on PATH;
//   5. when Host names the active project, in its folder: formwright, Designer/formwright, and in
//      the folder above: Designer/formwright, formwright;
//   6. each folder of the host's LibraryPath, BrowsingPath, LibraryPath_Win32, LibraryPath_Win64,
//      BrowsingPath_Win32 and BrowsingPath_Win64 (";"-separated): formwright, Designer/formwright;
//   7. when AskUser and a QApplication runs, the file the user picks in a dialog, which is then
//      remembered, so that the next search ends at step 1.
std::string FindFormwrightExe(const IDesignHost* Host = nullptr, bool AskUser = true);

// The dialog of step 7 ("" when cancelled). Needs a QApplication.
std::string AskDesignerLocation();

// What the user is told when the designer is nowhere: how to point the library at it.
std::string DesignerNotFoundMessage();

}  // namespace quillet
