// The preview window as a user meets it: its controls, zoom, keys as the window reads them (a
// focused child cannot swallow them), lazy painting of pages near the viewport, and what print
// and save say; and recorded pages against fresh runs of the report.
#include <gtest/gtest.h>

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>
#include <QTimer>
#include <QToolButton>

#include <stdexcept>
#include <string>
#include <vector>

#include "../support/test_support.h"
#include "data/mem_data_set.h"
#include "engine/report_engine.h"
#include "screen/page_records.h"
#include "screen/screen_drivers.h"
#include "ui/preview_form.h"

namespace quillet {
namespace {

// A vector-mode window over Pages blank A4 pages that counts what it is asked to do.
struct TWindow {
  explicit TWindow(int32_t Pages) {
    Form.SetVector(
        [this](int32_t, float Zoom) {
          ++Renders;
          QImage page(static_cast<int>(595 * Zoom * 4 / 3), static_cast<int>(842 * Zoom * 4 / 3), QImage::Format_RGB32);
          page.fill(Qt::white);
          return page;
        },
        [this] {
          ++Prints;
          if (!PrintFailure.empty()) throw std::runtime_error(PrintFailure);
        },
        [this](const std::string& File) {
          Saved = File;
          if (!SaveFailure.empty()) throw std::runtime_error(SaveFailure);
        },
        Pages, 595, 842);
    Form.OnMessage = [this](const QString& M) { Messages.push_back(M.toStdString()); };
    Form.OnAskSaveFile = [this] { return SaveAs; };
    Form.resize(1000, 800);
    Form.show();
    QApplication::processEvents();
  }
  // A key as the keyboard sends it, to the scroll area (which has the focus in use).
  void Key(int K, Qt::KeyboardModifiers M, const QString& Text = QString(), quint32 Native = 0) {
    QKeyEvent e(QEvent::KeyPress, K, M, 0, 0, Native, Text);
    QApplication::sendEvent(Form.ScrollBox()->viewport(), &e);
  }
  TRptPreviewForm Form;
  int Renders = 0, Prints = 0;
  std::string Saved, PrintFailure, SaveFailure;
  QString SaveAs;
  std::vector<std::string> Messages;
};

TEST(PreviewForm, ControlsWhereTheyBelong) {
  TWindow w(3);
  EXPECT_EQ(w.Form.windowTitle(), "Report Preview");
  EXPECT_EQ(w.Form.Toolbar()->height(), 44);
  struct TCase {
    QWidget* Control;
    QRect Geometry;
    QString Hint;
  };
  const int right = w.Form.Toolbar()->width() - 48;
  for (const TCase& c : {TCase{w.Form.PrintButton(), {8, 8, 40, 28}, "Print (Ctrl+P)"},
                         TCase{w.Form.ExportButton(), {54, 8, 40, 28}, "Save as PDF (Ctrl+S)"},
                         TCase{w.Form.ZoomOutButton(), {112, 8, 40, 28}, "Zoom Out"},
                         TCase{w.Form.ZoomLabel(), {156, 13, 52, 18}, ""},
                         TCase{w.Form.ZoomInButton(), {212, 8, 40, 28}, "Zoom In"},
                         TCase{w.Form.PagesLabel(), {264, 13, 90, 18}, ""},
                         TCase{w.Form.CloseButton(), {right + 4, 8, 40, 28}, "Close"}}) {
    const QRect inToolbar(c.Control->mapTo(w.Form.Toolbar(), QPoint(0, 0)), c.Control->size());
    EXPECT_EQ(inToolbar, c.Geometry) << c.Hint.toStdString();
    EXPECT_EQ(c.Control->toolTip(), c.Hint);
  }
  EXPECT_EQ(w.Form.ZoomLabel()->text(), "100%");
  EXPECT_EQ(w.Form.PagesLabel()->text(), "3 pages");
  EXPECT_EQ(w.Form.PageIndicator()->text(), "Page 1 of 3");
  EXPECT_EQ(w.Form.ZoomLabel()->alignment(), Qt::AlignCenter);
  // Toolbar buttons never take the focus, so Enter cannot press one.
  EXPECT_EQ(w.Form.PrintButton()->focusPolicy(), Qt::NoFocus);
}

TEST(PreviewForm, ZoomStaysWithinItsLimits) {
  TWindow w(2);
  struct TStep {
    int Clicks;  // positive: zoom in, negative: out
    const char* Label;
  };
  for (const TStep& s : {TStep{-2, "50%"}, TStep{-1, "25%"}, TStep{-3, "25%"}, TStep{11, "300%"}, TStep{1, "300%"},
                         TStep{-8, "100%"}}) {
    for (int i = 0; i < std::abs(s.Clicks); ++i)
      QTest::mouseClick(s.Clicks > 0 ? w.Form.ZoomInButton() : w.Form.ZoomOutButton(), Qt::LeftButton);
    EXPECT_EQ(w.Form.ZoomLabel()->text().toStdString(), s.Label);
  }
}

TEST(PreviewForm, KeysActOnTheWholeWindow) {
  constexpr quint32 kCapsLock = 0x2;
  struct TCase {
    const char* Name;
    int Key;
    Qt::KeyboardModifiers Mods;
    QString Text;
    quint32 Native;
    int Prints;
    int Saves;
    const char* Zoom;
  };
  const TCase cases[] = {
      {"Ctrl+p prints", Qt::Key_P, Qt::ControlModifier, QString(QChar(0x10)), 0, 1, 0, "100%"},
      {"Ctrl+Shift+p does not", Qt::Key_P, Qt::ControlModifier | Qt::ShiftModifier, QString(QChar(0x10)), 0, 0, 0,
       "100%"},
      {"Caps Lock+Ctrl+p does not", Qt::Key_P, Qt::ControlModifier, QString(QChar(0x10)), kCapsLock, 0, 0, "100%"},
      {"Caps Lock+Shift+Ctrl+p does", Qt::Key_P, Qt::ControlModifier | Qt::ShiftModifier, QString(QChar(0x10)),
       kCapsLock, 1, 0, "100%"},
      {"Ctrl+s saves", Qt::Key_S, Qt::ControlModifier, QString(QChar(0x13)), 0, 0, 1, "100%"},
      {"Ctrl++ zooms in", Qt::Key_Plus, Qt::ControlModifier, "+", 0, 0, 0, "125%"},
      {"Ctrl+- zooms out", Qt::Key_Minus, Qt::ControlModifier, "-", 0, 0, 0, "75%"},
      {"keypad - alone zooms out", Qt::Key_Minus, Qt::KeypadModifier, "-", 0, 0, 0, "75%"},
      {"Ctrl+keypad + matches two rules", Qt::Key_Plus, Qt::ControlModifier | Qt::KeypadModifier, "+", 0, 0, 0,
       "150%"},
      {"plain + does nothing", Qt::Key_Plus, Qt::NoModifier, "+", 0, 0, 0, "100%"},
  };
  for (const TCase& c : cases) {
    TWindow w(2);
    w.SaveAs = "/nonexistent/out.pdf";
    w.Key(c.Key, c.Mods, c.Text, c.Native);
    EXPECT_EQ(w.Prints, c.Prints) << c.Name;
    EXPECT_EQ(w.Saved.empty() ? 0 : 1, c.Saves) << c.Name;
    EXPECT_EQ(w.Form.ZoomLabel()->text().toStdString(), c.Zoom) << c.Name;
  }
  TWindow w(2);
  w.Key(Qt::Key_Escape, Qt::NoModifier);
  EXPECT_FALSE(w.Form.isVisible());
}

TEST(PreviewForm, PrintAndSaveSayWhatHappened) {
  struct TCase {
    const char* Name;
    bool Print;
    std::string Failure;
    QString SaveAs;
    std::vector<std::string> Messages;
  };
  const TCase cases[] = {
      {"print", true, "", "", {}},
      {"print fails", true, "no paper", "", {"Print error: no paper"}},
      {"save", false, "", "/tmp/x.pdf", {"PDF saved:\r\n/tmp/x.pdf"}},
      {"save cancelled", false, "", "", {}},
      {"save fails", false, "disk full", "/tmp/x.pdf", {"PDF export error: disk full"}},
  };
  for (const TCase& c : cases) {
    TWindow w(1);
    w.SaveAs = c.SaveAs;
    (c.Print ? w.PrintFailure : w.SaveFailure) = c.Failure;
    c.Print ? w.Form.DoBtnPrint() : w.Form.DoBtnExport();
    EXPECT_EQ(w.Messages, c.Messages) << c.Name;
    EXPECT_TRUE(w.Form.isVisible()) << c.Name;
  }
}

TEST(PreviewForm, OnlyPagesNearTheViewportHoldPixels) {
  TWindow empty(0);
  EXPECT_EQ(empty.Form.PageCount(), 1);
  EXPECT_TRUE(empty.Form.PageRendered(0));

  TWindow w(60);
  const int first = w.Form.RenderedPageCount();
  EXPECT_GE(first, 1);
  EXPECT_LE(first, 3);
  QScrollBar* bar = w.Form.ScrollBox()->verticalScrollBar();
  for (int v = 0; v <= bar->maximum(); v += bar->pageStep() / 2) bar->setValue(v);
  bar->setValue(bar->maximum());
  QApplication::processEvents();
  EXPECT_LE(w.Form.RenderedPageCount(), 4);
  EXPECT_TRUE(w.Form.PageRendered(59));
  EXPECT_FALSE(w.Form.PageRendered(0));
  EXPECT_EQ(w.Form.PageIndicator()->text(), "Page 60 of 60");
  // End, Home and the page keys move by pages.
  w.Key(Qt::Key_Home, Qt::NoModifier);
  EXPECT_EQ(w.Form.CurrentPage(), 0);
  w.Key(Qt::Key_PageDown, Qt::NoModifier);
  w.Key(Qt::Key_PageDown, Qt::NoModifier);
  EXPECT_EQ(w.Form.CurrentPage(), 2);
  EXPECT_TRUE(w.Form.PageRendered(2));
  // A zoom change drops every page and paints the visible ones again.
  const int before = w.Renders;
  w.Form.DoBtnZoomIn();
  EXPECT_GT(w.Renders, before);
  EXPECT_LE(w.Form.RenderedPageCount(), 4);
}

// Raster mode composes the given page images into one picture and saves them as a raster PDF.
TEST(PreviewForm, RasterPagesShowAndSave) {
  std::vector<QImage> pages;
  for (QColor c : {QColor(Qt::red), QColor(Qt::blue)}) {
    pages.emplace_back(200, 100, QImage::Format_RGB32);
    pages.back().fill(c);
  }
  test::TTempDir dir;
  TRptPreviewForm form;
  std::vector<std::string> messages;
  form.OnMessage = [&](const QString& M) { messages.push_back(M.toStdString()); };
  form.OnAskSaveFile = [&] { return QString::fromStdString(dir.File("pages.pdf")); };
  form.SetRasterPages(&pages, 150, 75);
  EXPECT_EQ(form.PagesLabel()->text(), "2 pages");
  // 200 x 100 pages, 20 apart, centred in a picture 40 wider.
  EXPECT_EQ(form.Content()->size(), QSize(240, 20 + 2 * (100 + 20)));
  form.DoBtnZoomOut();
  form.DoBtnZoomOut();
  EXPECT_EQ(form.Content()->size(), QSize(140, 20 + 2 * (50 + 20)));
  form.DoBtnExport();
  ASSERT_EQ(messages, std::vector<std::string>{"PDF saved:\r\n" + dir.File("pages.pdf")});
  EXPECT_EQ(test::RunTool("qpdf --show-npages " + dir.File("pages.pdf")), "2\n");
}

// A page painted from its record has exactly the pixels of a fresh run of the report.
TEST(PreviewRecords, ReplayedPagesEqualFreshRuns) {
  TMemDataSet rows("Rows");
  rows.AddField("n", ftLargeint);
  rows.AddField("text", ftString);
  for (int i = 1; i <= 90; ++i)
    rows.AppendRecord({TExprValue::FromInt(i), TExprValue::FromString("Row text of some length, number " +
                                                                      std::to_string(i) + " of ninety")});
  rows.Open();
  TReportPage page;
  page.LoadFromString(R"({"version":"2.0","page":{"width":420,"height":300},"bands":[
    {"type":"PageHeader","height":24,"elements":[{"type":"Rectangle","width":380,"height":20,"fillColor":"#FFE0E8F0"},
      {"type":"Label","text":"Page [PageNo] of [TotalPages]","width":200,"height":20,"fontName":"DejaVu Sans","fontBold":true}]},
    {"type":"MasterData","height":18,"dataSource":"Rows","elements":[
      {"type":"Label","text":"[n]. [text]","width":300,"height":16,"fontName":"DejaVu Serif","fontItalic":true},
      {"type":"Ellipse","left":320,"width":12,"height":12,"fillColor":"#FF3366AA"},
      {"type":"Line","left":0,"top":17,"x2":380,"y2":17,"strokeColor":"#FF999999","strokeWidth":0.3}]}]})");
  TReportEngine engine;
  engine.SetDataSource("Rows", &rows);
  const int32_t pages = CountReportPages(engine, page);
  ASSERT_GE(pages, 3);
  TPageRecorder records;
  engine.RunPass(page, std::shared_ptr<IRptCanvas>(&records, [](IRptCanvas*) {}),
                 TRenderPass::Drawing(pages));
  ASSERT_EQ(records.PageCount(), pages);
  for (int32_t p : {0, 1, pages - 1})
    for (float zoom : {1.0f, 1.75f}) {
      const QImage fresh = RenderPreviewPage(engine, page, p, pages, zoom);
      EXPECT_TRUE(RenderRecordedPage(records, p, zoom) == fresh) << "page " << p << " zoom " << zoom;
    }
  // The records hold far less than the pages' pixels would.
  EXPECT_LT(records.MemoryBytes(), 20000u * static_cast<size_t>(pages));
}

// Preview of several reports: the window opens at once, counts and records the pages of each
// report in turn, numbers each report's pages on its own, and is ready to print when done.
TEST(PreviewDrivers, SeveralReportsInOneWindow) {
  test::TTempDir dir;
  auto report = [&](const std::string& Name, int Rows) {
    std::string bands = R"({"version":"2.0","page":{"width":300,"height":200},"bands":[
      {"type":"PageFooter","height":20,"elements":[{"type":"Label","text":")" + Name +
                        R"( [PageNo]/[TotalPages]","width":200,"height":16,"fontName":"DejaVu Sans"}]})";
    for (int i = 0; i < Rows; ++i)
      bands += R"(,{"type":"PageBody","height":40,"elements":[{"type":"Label","text":"row","fontName":"DejaVu Sans"}]})";
    dir.Write(Name + ".qdr", bands + "]}");
    return dir.File(Name + ".qdr");
  };
  const std::vector<std::string> files = {report("first", 7), report("second", 2)};
  TReportEngine engine;
  int32_t expected = 0;
  for (const std::string& f : files) {
    TReportPage page;
    page.LoadFromFile(f);
    expected += CountReportPages(engine, page);
  }
  ASSERT_GE(expected, 3);
  int32_t pages = -1;
  std::string indicator;
  QTimer poll;
  QObject::connect(&poll, &QTimer::timeout, [&] {
    auto* form = qobject_cast<TRptPreviewForm*>(QApplication::activeModalWidget());
    if (!form || !form->PrintButton()->isEnabled()) return;
    pages = form->PageCount();
    form->ScrollToPage(pages - 1);
    indicator = form->PageIndicator()->text().toStdString();
    form->DoBtnClose();
  });
  poll.start(20);
  Preview(engine, files);
  EXPECT_EQ(pages, expected);
  EXPECT_EQ(indicator, "Page " + std::to_string(expected) + " of " + std::to_string(expected));
  EXPECT_EQ(engine.ReportFile(), files.back());
}

}  // namespace
}  // namespace quillet
