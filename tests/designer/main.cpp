// The designer's tests build its windows without showing them: the offscreen platform serves with
// or without a display, and also when CTest only lists the tests.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <QApplication>
#include <cstdlib>
#include <filesystem>
#include <string>

int main(int argc, char** argv) {
  ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
  // The designer's settings go to a configuration folder of the run's own.
  std::string config = (std::filesystem::temp_directory_path() / "formwright-test-XXXXXX").string();
  if (!::mkdtemp(config.data())) return 1;
  ::setenv("XDG_CONFIG_HOME", config.c_str(), 1);
  testing::InitGoogleTest(&argc, argv);
  QApplication app(argc, argv);
  const int result = RUN_ALL_TESTS();
  std::error_code ec;
  std::filesystem::remove_all(config, ec);
  return result;
}
