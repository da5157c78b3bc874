// The designer's tests build its windows without showing them: the offscreen platform serves with
// or without a display, and also when CTest only lists the tests.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <QApplication>

int main(int argc, char** argv) {
  ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
  testing::InitGoogleTest(&argc, argv);
  QApplication app(argc, argv);
  return RUN_ALL_TESTS();
}
