// The preview window: a finished report shown page by page, zoomed, printed or saved as PDF.
//
// Raster mode is handed ready page images and composes them into one scrollable picture. Vector
// mode is handed a page painter and a page count, keeps one view per page, and paints only the
// pages near the visible part of the scroll area, dropping the pixels of the others; printing and
// saving then go to callbacks that produce vector output.
//
// Keys: Escape closes; Ctrl+p prints, Ctrl+s saves (lower-case letters only: with Shift or Caps
// Lock they do nothing); Ctrl++ and Ctrl+- zoom by 0.25, and so do the keypad's + and - on their
// own; PgUp, PgDn, Home and End move by pages; Ctrl+wheel zooms.
#pragma once

#include <QDialog>
#include <QImage>
#include <QString>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

class QLabel;
class QScrollArea;
class QToolButton;
class QWidget;
class QKeyEvent;

namespace quillet {

class TPreviewPageView;

class TRptPreviewForm : public QDialog {
  Q_OBJECT

 public:
  // Paints page PageIndex at Zoom (1 = 96 pixels per inch of the page).
  using TPageRenderer = std::function<QImage(int32_t PageIndex, float Zoom)>;
  using TPrintProc = std::function<void()>;
  using TExportProc = std::function<void(const std::string& FileName)>;

  static constexpr float kMinZoom = 0.25f;
  static constexpr float kMaxZoom = 3.0f;
  static constexpr float kZoomStep = 0.25f;

  // Raster mode, modal. An empty list shows "No pages to preview." and returns.
  static void ShowPreview(QWidget* Owner, const std::vector<QImage>& Pages, float PageWidth, float PageHeight);
  // Vector mode, modal. Nothing without a renderer; a page count below 1 shows one page.
  static void ShowPreviewVector(QWidget* Owner, TPageRenderer Renderer, TPrintProc Print, TExportProc Export,
                                int32_t PageCount, float PageWidth, float PageHeight);

  explicit TRptPreviewForm(QWidget* Owner = nullptr);
  ~TRptPreviewForm() override;

  // The two modes, for callers that build the window themselves (ShowPreview* do this).
  void SetRasterPages(const std::vector<QImage>* Pages, float PageWidth, float PageHeight);
  // ReadyPages: how many pages can be painted now (-1: all; see SetPagesReady).
  void SetVector(TPageRenderer Renderer, TPrintProc Print, TExportProc Export, int32_t PageCount, float PageWidth,
                 float PageHeight, int32_t ReadyPages = -1);
  // Vector mode: only pages below Count can be painted yet (pages still being prepared show
  // empty until then); the default is all of them.
  void SetPagesReady(int32_t Count);
  // A line beside the page count while pages are prepared ("" hides it), and the busy state:
  // printing and saving wait until the pages are ready.
  void SetProgress(const QString& Text);
  void SetBusy(bool Busy);

  float Zoom() const noexcept { return FZoom; }
  void ApplyZoom(float Z);
  void RefreshView();
  bool VectorMode() const noexcept { return FVectorMode; }
  int32_t PageCount() const noexcept { return FPageCount; }
  bool PageRendered(int32_t Index) const;
  int32_t RenderedPageCount() const;
  // The 0-based page at the top of the viewport.
  int32_t CurrentPage() const;
  void ScrollToPage(int32_t Index);

  void DoBtnZoomIn() { ApplyZoom(FZoom + kZoomStep); }
  void DoBtnZoomOut() { ApplyZoom(FZoom - kZoomStep); }
  void DoBtnClose() { reject(); }
  void DoBtnPrint();
  void DoBtnExport();
  // Acts on a key as the window does; true when the key meant something here.
  bool HandleKey(const QKeyEvent& Event);

  // Where messages for the user go (default: a message box) and how the file to save is asked
  // for (default: a save dialog titled "Save as PDF"; "" means cancelled). Tests replace them.
  std::function<void(const QString& Message)> OnMessage;
  std::function<QString()> OnAskSaveFile;

  // The controls, for tests and for embedding applications that restyle them.
  QWidget* Toolbar() const { return FToolbar; }
  QToolButton* PrintButton() const { return FBtnPrint; }
  QToolButton* ExportButton() const { return FBtnExport; }
  QToolButton* ZoomOutButton() const { return FBtnZoomOut; }
  QToolButton* ZoomInButton() const { return FBtnZoomIn; }
  QToolButton* CloseButton() const { return FBtnClose; }
  QLabel* ZoomLabel() const { return FZoomLabel; }
  QLabel* PagesLabel() const { return FPagesLabel; }
  QLabel* PageIndicator() const { return FPageIndicator; }
  QLabel* ProgressLabel() const { return FProgressLabel; }
  QScrollArea* ScrollBox() const { return FScroll; }
  QWidget* Content() const { return FContent; }

 protected:
  bool eventFilter(QObject* Watched, QEvent* Event) override;
  void showEvent(QShowEvent* Event) override;
  void hideEvent(QHideEvent* Event) override;

 private:
  void BuildUI();
  void UpdateDisplay();
  void BuildVectorPages();
  void RebuildLayout();
  void UpdateVisible();
  void UpdateLabels();
  void PlaceCloseButton();
  double DevicePixelRatio() const;
  int PageWidthPx() const;
  int PageHeightPx() const;

  QWidget* FToolbar = nullptr;
  QToolButton* FBtnPrint = nullptr;
  QToolButton* FBtnExport = nullptr;
  QToolButton* FBtnZoomOut = nullptr;
  QToolButton* FBtnZoomIn = nullptr;
  QToolButton* FBtnClose = nullptr;
  QWidget* FCloseBox = nullptr;
  QLabel* FZoomLabel = nullptr;
  QLabel* FPagesLabel = nullptr;
  QLabel* FPageIndicator = nullptr;
  QLabel* FProgressLabel = nullptr;
  QScrollArea* FScroll = nullptr;
  QWidget* FContent = nullptr;
  QLabel* FImage = nullptr;  // raster mode

  const std::vector<QImage>* FPages = nullptr;
  float FPageWidth = 595;
  float FPageHeight = 842;
  float FZoom = 1.0f;
  bool FVectorMode = false;
  bool FBusy = false;
  TPageRenderer FRenderer;
  TPrintProc FPrint;
  TExportProc FExport;
  int32_t FPageCount = 0;
  int32_t FPagesReady = 0;
  std::vector<TPreviewPageView*> FPageViews;
  bool FFilterInstalled = false;
};

}  // namespace quillet
