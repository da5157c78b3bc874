// Drives a designer window on a real X display with real input events: xdotool moves the pointer,
// clicks, drags and types, while this process keeps its event loop running and knows where each
// widget is. Screenshots of each step go to an artefacts folder.
#pragma once

#include <QAction>
#include <QApplication>
#include <QMainWindow>
#include <QPoint>
#include <QString>
#include <QStringList>
#include <filesystem>
#include <string>

namespace quillet::designer::test {

class TDriver {
 public:
  TDriver(QMainWindow& Window, std::filesystem::path Artefacts);

  // Runs xdotool with Args, keeping the event loop going; false when it failed.
  bool Xdo(const QStringList& Args);
  // Lets the window handle what arrived for Ms milliseconds.
  void Settle(int Ms = 200);
  // Gives the window the keyboard (there is no window manager to do it).
  void Focus();
  void Click(QWidget* Widget, QPoint Local, bool Shift = false);
  void Drag(QWidget* Widget, QPoint From, QPoint To);
  // Opens the menus down to Action from the menu bar and clicks it.
  bool ClickMenu(QAction* Action);
  void Type(const QString& Text);
  void Keys(const QString& Keys);
  // A screenshot of the whole display as NN-Name.png in the artefacts folder.
  void Shot(const std::string& Name);

 private:
  QPoint Global(QWidget* Widget, QPoint Local) const;
  QMainWindow& FWindow;
  std::filesystem::path FArt;
  int FShots = 0;
};

}  // namespace quillet::designer::test
