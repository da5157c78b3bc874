#include "driver.h"

#include <QElapsedTimer>
#include <QMenu>
#include <QMenuBar>
#include <QProcess>
#include <QScreen>
#include <QWidget>
#include <cstdio>
#include <vector>

namespace quillet::designer::test {

TDriver::TDriver(QMainWindow& Window, std::filesystem::path Artefacts) : FWindow(Window), FArt(std::move(Artefacts)) {
  std::filesystem::create_directories(FArt);
  for (const auto& e : std::filesystem::directory_iterator(FArt))
    if (e.path().extension() == ".png") std::filesystem::remove(e.path());
}

bool TDriver::Xdo(const QStringList& Args) {
  QProcess p;
  p.start("xdotool", Args);
  if (!p.waitForStarted(10000)) return false;
  QElapsedTimer t;
  t.start();
  while (p.state() != QProcess::NotRunning && t.elapsed() < 20000) {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    p.waitForFinished(5);
  }
  if (p.state() != QProcess::NotRunning) {
    p.kill();
    p.waitForFinished();
    return false;
  }
  Settle(60);
  return p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

void TDriver::Settle(int Ms) {
  QElapsedTimer t;
  t.start();
  while (t.elapsed() < Ms) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

void TDriver::Focus() {
  FWindow.activateWindow();
  Xdo({"windowfocus", "--sync", QString::number(FWindow.winId())});
  Settle(150);
}

QPoint TDriver::Global(QWidget* Widget, QPoint Local) const { return Widget->mapToGlobal(Local); }

void TDriver::Click(QWidget* Widget, QPoint Local, bool Shift) {
  const QPoint g = Global(Widget, Local);
  QStringList args{"mousemove", "--sync", QString::number(g.x()), QString::number(g.y())};
  if (Shift) args << "keydown" << "shift";
  args << "click" << "1";
  if (Shift) args << "keyup" << "shift";
  Xdo(args);
  Settle(120);
}

void TDriver::Drag(QWidget* Widget, QPoint From, QPoint To) {
  const QPoint a = Global(Widget, From), b = Global(Widget, To);
  QStringList args{"mousemove", "--sync", QString::number(a.x()), QString::number(a.y()), "mousedown", "1"};
  // Steps on the way, as a hand would move.
  for (int k = 1; k <= 4; ++k) {
    const QPoint p = a + (b - a) * k / 4;
    args << "sleep" << "0.05" << "mousemove" << "--sync" << QString::number(p.x()) << QString::number(p.y());
  }
  args << "sleep" << "0.1" << "mouseup" << "1";
  Xdo(args);
  Settle(150);
}

bool TDriver::ClickMenu(QAction* Action) {
  // The chain of menus that holds the action, from the menu bar down.
  std::vector<QMenu*> chain;
  QAction* step = Action;
  QMenuBar* bar = FWindow.menuBar();
  for (int guard = 0; guard < 8 && !bar->actions().contains(step); ++guard) {
    QMenu* owner = nullptr;
    // The menu the action was put in (a menu bar's overflow menu holds its actions too).
    for (QObject* o : step->associatedObjects())
      if (auto* m = qobject_cast<QMenu*>(o); m && m->actions().contains(step) && !owner) owner = m;
    if (!owner) break;
    chain.insert(chain.begin(), owner);
    step = owner->menuAction();
  }
  if (chain.empty()) return false;
  const QRect top = bar->actionGeometry(chain.front()->menuAction());
  Click(bar, top.center());
  for (size_t k = 0; k < chain.size(); ++k) {
    QMenu* menu = chain[k];
    for (int wait = 0; wait < 50 && !menu->isVisible(); ++wait) Settle(40);
    if (!menu->isVisible()) {
      Shot("menu-did-not-open");
      return false;
    }
    QAction* next = k + 1 < chain.size() ? chain[k + 1]->menuAction() : Action;
    const QPoint c = menu->actionGeometry(next).center();
    if (k + 1 < chain.size()) {
      const QPoint g = Global(menu, c);
      Xdo({"mousemove", "--sync", QString::number(g.x()), QString::number(g.y())});
      Settle(400);  // a submenu opens after a pause
    } else {
      Click(menu, c);
    }
  }
  return true;
}

void TDriver::Type(const QString& Text) {
  Xdo({"type", "--delay", "30", Text});
  Settle(100);
}

void TDriver::Keys(const QString& Keys) {
  Xdo({"key", Keys});
  Settle(100);
}

void TDriver::Shot(const std::string& Name) {
  Settle(150);
  char prefix[16];
  std::snprintf(prefix, sizeof prefix, "%02d-", ++FShots);
  QScreen* screen = QGuiApplication::primaryScreen();
  screen->grabWindow(0).save(QString::fromStdString((FArt / (prefix + Name + ".png")).string()));
}

}  // namespace quillet::designer::test
