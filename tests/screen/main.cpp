// The screen tests paint with Qt, which needs an application object for its font database. They
// never show a window, so the offscreen platform serves everywhere, with or without a display,
// and also when CTest only asks the program to list its tests.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <QGuiApplication>

int main(int argc, char** argv) {
  ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
  testing::InitGoogleTest(&argc, argv);
  QGuiApplication app(argc, argv);
  return RUN_ALL_TESTS();
}
