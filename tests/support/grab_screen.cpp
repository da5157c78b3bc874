// grab_screen OUT.png: saves what the X server's screen shows, for window tests to keep and to
// compare.
#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>

#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: grab_screen OUT.png\n");
    return 2;
  }
  QGuiApplication app(argc, argv);
  QScreen* screen = QGuiApplication::primaryScreen();
  if (!screen || !screen->grabWindow(0).save(QString::fromLocal8Bit(argv[1]), "PNG")) {
    std::fprintf(stderr, "grab_screen: cannot grab the screen into %s\n", argv[1]);
    return 1;
  }
  return 0;
}
