// The designer tests run the "Design Report..." verb and its file dialog in this process, so a
// QApplication paints offscreen. Every user folder points into a temporary folder: nothing
// here, nor any program started from here, reads or writes the real home folder.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <QApplication>
#include <filesystem>
#include <string>

int main(int argc, char** argv) {
  ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
  std::string home = (std::filesystem::temp_directory_path() / "quillet-home.XXXXXX").string();
  if (!::mkdtemp(home.data())) return 1;
  ::setenv("HOME", home.c_str(), 1);
  ::setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 1);
  ::setenv("XDG_CACHE_HOME", (home + "/cache").c_str(), 1);
  ::unsetenv("QUILLET_DESIGNER");
  testing::InitGoogleTest(&argc, argv);
  int status;
  {
    QApplication app(argc, argv);
    status = RUN_ALL_TESTS();
  }
  std::error_code ec;
  std::filesystem::remove_all(home, ec);
  return status;
}
