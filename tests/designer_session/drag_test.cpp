// One real drag: an element pressed, moved across the band with the button held and let go lands
// where the pointer took it, snapped to the grid, as one undo step.
#include <gtest/gtest.h>

#include <QWidget>
#include <nlohmann/json.hpp>

#include "../support/test_support.h"
#include "designer/design_surface.h"
#include "designer/designer_window.h"
#include "designer/edit_operations.h"
#include "driver.h"

namespace quillet::designer {
namespace {

TEST(DesignerSession, RealDragMovesAnElement) {
  quillet::test::TTempDir dir;
  TReportDocument doc;
  doc.NewReport(dir.File("drag.qdr"));
  doc.AddBand(0, btMasterData);
  TBandProps props = BandPropsOf(*doc.Page().Bands[0]);
  props.Height = 200;
  doc.SetBandProps(0, props);
  TReportElement box = NewElement(retRectangle);
  box.Left = 40;
  box.Top = 20;
  box.X2 = box.Left + box.Width;
  box.Y2 = box.Top;
  TDesignerWindow window(doc);
  PlaceElement(doc, window.Selection(), 0, box);
  window.Selection().SelectPage();
  doc.UndoStack().clear();
  window.move(0, 0);
  window.show();
  designer::test::TDriver drive(window, std::getenv("ARTEFACTS") ? std::getenv("ARTEFACTS") : dir.File("shots"));
  drive.Settle(500);
  drive.Focus();
  TDesignSurface& s = *window.Surface();
  s.SetZoom(1);
  drive.Shot("drag-before");

  const TSurfaceLayout l = s.Layout();
  const float top = l.Bands()[0].Top;
  // Press inside the rectangle, 15 points in from its corner; move by 100 x 60 points.
  const QPointF from = s.ToView(l.Left() + 55, top + 35);
  const QPointF to = s.ToView(l.Left() + 155, top + 95);
  bool moved = false;
  for (int attempt = 0; attempt < 3 && !moved; ++attempt) {
    drive.Drag(s.viewport(), from.toPoint(), to.toPoint());
    const TReportElement& e = *doc.Page().Bands[0]->Elements[0];
    moved = e.Left != 40 || e.Top != 20;
    if (!moved) drive.Settle(500);
  }
  drive.Shot("drag-after");
  ASSERT_TRUE(moved) << "three drags did not move the rectangle";
  const auto saved = nlohmann::json::parse(doc.FileBytes().substr(3));
  const auto& el = saved["bands"][0]["elements"][0];
  EXPECT_EQ(el["left"], 140);
  EXPECT_EQ(el["top"], 80);
  EXPECT_EQ(doc.UndoStack().count(), 1);
  doc.UndoStack().undo();
  EXPECT_EQ(doc.Page().Bands[0]->Elements[0]->Left, 40);
  doc.UndoStack().clear();
  window.close();
}

}  // namespace
}  // namespace quillet::designer
