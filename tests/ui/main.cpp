// The window tests run a real QApplication on an X server (tests/e2e/with_display.sh gives each
// run one of its own). Listing the tests needs no window, so no application is made for it.
#include <gtest/gtest.h>

#include <QApplication>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  QApplication app(argc, argv);
  return RUN_ALL_TESTS();
}
