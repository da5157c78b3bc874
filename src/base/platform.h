// What the library needs to know about the machine it runs on: where the running program and
// the code itself live, the user's folders, programs on PATH, and starting another program that
// then runs on its own.
#pragma once

#include <string>
#include <vector>

namespace quillet {

// Folders are written with a trailing '/', so that a file name can simply be appended.

// The folder of the running executable ("" when it cannot be told).
std::string ExecutableFolder();
// The folder of the executable or shared library whose code holds Address ("" when unknown).
std::string ModuleFolder(const void* Address);
// The folder above Folder; the root's parent is the root itself.
std::string ParentFolder(const std::string& Folder);
// Folder with a trailing '/' added when it lacks one ("" stays "").
std::string WithTrailingSlash(std::string Folder);
// The folder part of a path, with its trailing '/' ("" when the path has no '/').
std::string FolderOf(const std::string& Path);

// True when Path names something that exists and is not a folder.
bool IsExistingFile(const std::string& Path);

// $XDG_CONFIG_HOME, else $HOME/.config ("" when neither is usable).
std::string UserConfigFolder();
// $XDG_CACHE_HOME, else $HOME/.cache ("" when neither is usable).
std::string UserCacheFolder();
// The settings file Name of Quillet's programs: UserConfigFolder() + "Quillet/" + Name ("" when
// there is no such folder). The designer locator keeps Quillet.conf there, the designer
// formwright.conf.
std::string QuilletConfigFile(const std::string& Name);

// The first folder on PATH holding an executable file Name; "" when none does.
std::string FindOnPath(const std::string& Name);

// Starts Program (a path) with Args, in WorkDir (the caller's folder when empty), as a program
// of its own: the call returns once the program has been started, the caller keeps no child
// process behind (nothing to wait for, no zombie), and the program outlives the caller. Its
// standard input is /dev/null; it shares the caller's standard output and error. Returns "" on
// success, else why it could not start.
std::string StartDetached(const std::string& Program, const std::vector<std::string>& Args,
                          const std::string& WorkDir);

}  // namespace quillet
