// The design surface: the page at its size with its margins, rulers along the top and the left in
// the unit the user picks, a snapping grid, every band as a strip under a caption, and the
// elements drawn by the engine as the report draws them, with their templates in place of values.
// Elements are placed from the toolbox (click or drag) or from the data tree, selected (click,
// shift-click, rubber band), moved (mouse, arrow keys), resized with handles and moved between
// bands; a band's height follows its lower edge when that is dragged. Every change is one edit
// of the document, so it undoes.
//
// Geometry: bands are stacked from the top margin, each below a caption strip; element
// coordinates are relative to their band, whose left edge is the page's left margin.
#pragma once

#include <QAbstractScrollArea>
#include <QPointer>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "designer/report_document.h"
#include "designer/selection.h"
#include "engine/report_engine.h"

namespace quillet {
class TFmxRptCanvas;
}

namespace quillet::designer {

// Ruler units.
enum class TUnit { Millimetre, Inch, Point };
// Points per unit, and the unit's short name ("mm", "in", "pt").
float PointsPer(TUnit Unit);
const char* UnitName(TUnit Unit);
// "mm", "inch"/"in", "pt" (as the settings keep it); anything else gives millimetres.
TUnit UnitFromName(const std::string& Name);

// Where the bands sit on the sheet, in points.
class TSurfaceLayout {
 public:
  static constexpr float kCaption = 16;  // the caption strip above each band

  struct TBandBox {
    float CaptionTop = 0;
    float Top = 0;  // the band's body
    float Height = 0;
    float Bottom() const { return Top + Height; }
  };

  // HeightOf overrides band heights (a band edge being dragged).
  explicit TSurfaceLayout(const TReportPage& Page, std::optional<std::pair<size_t, float>> HeightOf = std::nullopt);

  const std::vector<TBandBox>& Bands() const noexcept { return FBands; }
  float SheetWidth() const noexcept { return FWidth; }
  float SheetHeight() const noexcept { return FHeight; }
  float Left() const noexcept { return FLeft; }  // the bands' left edge (the left margin)
  float Right() const noexcept { return FRight; }
  // The band whose caption or body holds Y; -1 for none.
  int BandAt(float Y) const;
  // The band whose body holds Y, or the nearest one (for drops between bands); -1 without bands.
  int NearestBand(float Y) const;
  // An element's box in page coordinates (a line's box spans both ends).
  TRectF ElementRect(const TReportElement& El, size_t Band) const;

 private:
  std::vector<TBandBox> FBands;
  float FWidth = 0, FHeight = 0, FLeft = 0, FRight = 0;
};

class TDesignSurface : public QAbstractScrollArea {
  Q_OBJECT

 public:
  // What a click on a band places when the toolbox has no tool armed: a field chosen in the data
  // tree. Pending answers whether one is chosen; Place puts it at (Left, Top) of Band.
  struct TFieldSource {
    std::function<bool()> Pending;
    std::function<void(size_t Band, float Left, float Top)> Place;
    // A field dropped from the data tree: "Source.field" at (Left, Top) of Band.
    std::function<void(size_t Band, float Left, float Top, const std::string& Qualified)> Drop;
  };

  TDesignSurface(TReportDocument& Doc, TSelection& Sel, QWidget* Parent = nullptr);
  ~TDesignSurface() override;

  float Zoom() const noexcept { return FZoom; }
  // 25% to 400%; the point under the viewport's centre stays where it is.
  void SetZoom(float Zoom);
  void ZoomIn();
  void ZoomOut();
  // The zoom at which the sheet fills the viewport's width.
  void FitWidth();

  TUnit Unit() const noexcept { return FUnit; }
  void SetUnit(TUnit Unit);
  float GridStep() const noexcept { return FGrid; }
  bool Snap() const noexcept { return FSnap; }
  void SetGrid(float Step, bool Snap);

  // The element kind the next click on a band places (nullopt: none). ToolUsed follows the
  // placement, so the toolbox can let the tool go.
  std::optional<TRptElemType> Tool() const noexcept { return FTool; }
  void SetTool(std::optional<TRptElemType> Type);
  void SetFieldSource(TFieldSource Source) { FFields = std::move(Source); }

  // Page points to viewport pixels and back (for tests and scripted sessions).
  QPointF ToView(float X, float Y) const;
  std::pair<float, float> ToPage(const QPointF& P) const;
  // Scrolls so that page point (X, Y) is visible.
  void EnsureVisible(float X, float Y);
  TSurfaceLayout Layout() const;
  // A value on the grid (when snapping is on).
  float SnapValue(float V) const;

 signals:
  void ZoomChanged(float Zoom);
  // The mouse over the sheet: the position relative to Band's top left (or the page's when
  // Band is -1).
  void CursorMoved(float X, float Y, int Band);
  void ToolUsed();

 protected:
  void paintEvent(QPaintEvent* Event) override;
  void resizeEvent(QResizeEvent* Event) override;
  void scrollContentsBy(int Dx, int Dy) override;
  void mousePressEvent(QMouseEvent* Event) override;
  void mouseMoveEvent(QMouseEvent* Event) override;
  void mouseReleaseEvent(QMouseEvent* Event) override;
  void mouseDoubleClickEvent(QMouseEvent* Event) override;
  void wheelEvent(QWheelEvent* Event) override;
  void keyPressEvent(QKeyEvent* Event) override;
  void dragEnterEvent(QDragEnterEvent* Event) override;
  void dragMoveEvent(QDragMoveEvent* Event) override;
  void dropEvent(QDropEvent* Event) override;

 private:
  class TRuler;
  enum class TDrag { None, Press, Move, Resize, LineEnd, BandEdge, Rubber };
  // Resize handles: 0..7 clockwise from the top left corner.
  static constexpr int kNoHandle = -1;

  float PixelsPerPoint() const { return FZoom * 96.0f / 72.0f; }
  QPointF Origin() const;  // the sheet's top left in viewport pixels
  void UpdateScrollBars();
  void PaintSheet(QPainter& P, const TSurfaceLayout& L);
  void PaintSelection(QPainter& P, const TSurfaceLayout& L);
  // The element as it is drawn now: its dragged form while a drag goes on.
  const TReportElement& Shown(const TElementRef& Ref) const;
  std::optional<TElementRef> ElementAt(const QPointF& ViewPos) const;
  int HandleAt(const QPointF& ViewPos) const;  // of the one selected element
  int BandEdgeAt(const QPointF& ViewPos) const;
  std::vector<QRectF> HandleRects(const TReportElement& El, size_t Band) const;
  void UpdateDrag(const QPointF& ViewPos, Qt::KeyboardModifiers Mods);
  void FinishDrag(const QPointF& ViewPos);
  void PlaceAt(const QPointF& ViewPos);
  void RefreshRulers();

  TReportDocument& FDoc;
  TSelection& FSel;
  TReportEngine FEngine;
  std::shared_ptr<TFmxRptCanvas> FCanvas;  // kept across paints: its fonts stay loaded
  float FCanvasScale = 0;
  float FZoom = 1;
  TUnit FUnit = TUnit::Millimetre;
  float FGrid = 10;
  bool FSnap = true;
  std::optional<TRptElemType> FTool;
  TFieldSource FFields;
  TRuler* FTopRuler = nullptr;
  TRuler* FLeftRuler = nullptr;
  std::pair<float, float> FCursor{-1, -1};

  // The drag going on.
  TDrag FDrag = TDrag::None;
  QPointF FPressView;
  std::pair<float, float> FPressPage;
  std::optional<TElementRef> FPressed;
  int FHandle = kNoHandle;
  int FEdgeBand = -1;
  float FEdgeHeight = 0;
  std::map<TElementRef, TReportElement> FGhosts;  // elements as the drag shows them
  QRectF FRubber;
  bool FSelectOnRelease = false;  // a click on a selected element without a move: select it alone
};

}  // namespace quillet::designer
