// The Qt application of the commands that paint or print without showing a window.
#pragma once

#include <QCoreApplication>
#include <QGuiApplication>
#include <QString>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace quillet::cli {

// Whether a window could be shown: a display is named, and Qt is not told to paint offscreen.
inline bool DisplayUsable() {
  const char* platform = std::getenv("QT_QPA_PLATFORM");
  const bool headless =
      platform && (std::strncmp(platform, "offscreen", 9) == 0 || std::strncmp(platform, "minimal", 7) == 0);
  return !headless && (std::getenv("DISPLAY") || std::getenv("WAYLAND_DISPLAY"));
}

// Qt's own chatter (a missing runtime folder, platform notes) is not for the user of a command
// line program; anything worse than a warning still goes to stderr.
inline void QuietQtMessages(QtMsgType Type, const QMessageLogContext&, const QString& Message) {
  if (Type == QtCriticalMsg || Type == QtFatalMsg)
    std::fprintf(stderr, "quillet: Qt: %s\n", Message.toLocal8Bit().constData());
}

// The program name and argument vector a Qt application object keeps a reference to for its life.
struct TQtArgv {
  int Argc = 1;
  char Name[8] = "quillet";
  char* Argv[2] = {Name, nullptr};
};

// Qt needs an application object for fonts and printers. Without a display the offscreen
// platform paints just as well, and nothing here ever shows a window.
class TGuiApplicationScope {
 public:
  TGuiApplicationScope() {
    if (QCoreApplication::instance()) return;
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY") && !std::getenv("QT_QPA_PLATFORM"))
      ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    qInstallMessageHandler(QuietQtMessages);
    FApp = std::make_unique<QGuiApplication>(FArgs.Argc, FArgs.Argv);
  }

 private:
  TQtArgv FArgs;
  std::unique_ptr<QGuiApplication> FApp;
};

}  // namespace quillet::cli
