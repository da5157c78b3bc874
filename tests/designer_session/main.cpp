// The designer's scripted sessions: a real window on the X display of tests/e2e/with_display.sh,
// driven by xdotool. ARTEFACTS (the environment) names the folder for the screenshots.
#include <gtest/gtest.h>

#include <QApplication>
#include <cstdlib>
#include <filesystem>
#include <string>

int main(int argc, char** argv) {
  // The designer's settings go to a configuration folder of the run's own.
  std::string config = (std::filesystem::temp_directory_path() / "formwright-test-XXXXXX").string();
  if (!::mkdtemp(config.data())) return 1;
  ::setenv("XDG_CONFIG_HOME", config.c_str(), 1);
  testing::InitGoogleTest(&argc, argv);
  QApplication app(argc, argv);
  QApplication::setApplicationName("formwright");
  QApplication::setOrganizationName("Quillet");
  const int result = RUN_ALL_TESTS();
  std::error_code ec;
  std::filesystem::remove_all(config, ec);
  return result;
}
