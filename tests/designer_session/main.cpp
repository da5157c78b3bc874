// The designer's scripted sessions: a real window on the X display of tests/e2e/with_display.sh,
// driven by xdotool. ARTEFACTS (the environment) names the folder for the screenshots.
#include <gtest/gtest.h>

#include <QApplication>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  QApplication app(argc, argv);
  QApplication::setApplicationName("formwright");
  QApplication::setOrganizationName("Quillet");
  return RUN_ALL_TESTS();
}
