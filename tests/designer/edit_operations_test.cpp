// The designer's edits on selections: each is one undo step that gives back the bytes, and each
// leaves the report as the saved file shows it.
#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>

#include "designer/edit_operations.h"

namespace quillet::designer {
namespace {

// Two bands; the first holds three labels of different places and sizes, the second one line.
void Build(TReportDocument& D) {
  D.NewReport();
  D.AddBand(0, btPageHeader);
  D.AddBand(1, btMasterData);
  TSelection sel;
  const float boxes[3][4] = {{10, 5, 50, 20}, {100, 12, 30, 10}, {300, 30, 80, 15}};
  for (const auto& b : boxes) {
    TReportElement e = NewElement(retLabel);
    e.Left = b[0], e.Top = b[1], e.Width = b[2], e.Height = b[3];
    e.X2 = e.Left + e.Width, e.Y2 = e.Top;
    PlaceElement(D, sel, 0, e);
  }
  TReportElement line = NewElement(retLine);
  line.Left = 5, line.Top = 40, line.X2 = 200, line.Y2 = 45;
  PlaceElement(D, sel, 1, line);
  D.UndoStack().clear();
}

nlohmann::json Saved(const TReportDocument& D) { return nlohmann::json::parse(D.FileBytes().substr(3)); }
const nlohmann::json& El(const nlohmann::json& J, size_t B, size_t I) { return J["bands"][B]["elements"][I]; }

TEST(EditOperations, EachIsOneStepAndShowsInTheFile) {
  struct Case {
    const char* What;
    std::vector<TElementRef> Selected;
    std::function<void(TReportDocument&, TSelection&)> Edit;
    std::function<void(const nlohmann::json&, const TSelection&)> Check;
  };
  const std::vector<Case> cases = {
      {"move by keys", {{0, 0}, {1, 0}}, [](auto& D, auto& S) { MoveSelection(D, S, 2, -1); },
       [](const nlohmann::json& J, const TSelection&) {
         EXPECT_EQ(El(J, 0, 0)["left"], 12);
         EXPECT_EQ(El(J, 0, 0)["top"], 4);
         // A line's far end goes along.
         EXPECT_EQ(El(J, 1, 0)["x2"], 202);
         EXPECT_EQ(El(J, 1, 0)["y2"], 44);
       }},
      {"align right", {{0, 0}, {0, 1}, {0, 2}}, [](auto& D, auto& S) { AlignSelection(D, S, TAlign::Right); },
       [](const nlohmann::json& J, const TSelection&) {
         for (size_t i = 0; i < 3; ++i) EXPECT_EQ(El(J, 0, i)["left"].get<float>() + El(J, 0, i)["width"].get<float>(), 60);
       }},
      {"align middles", {{0, 0}, {0, 2}}, [](auto& D, auto& S) { AlignSelection(D, S, TAlign::VCenter); },
       [](const nlohmann::json& J, const TSelection&) { EXPECT_EQ(El(J, 0, 2)["top"], 7.5); }},
      {"same size", {{0, 0}, {0, 1}}, [](auto& D, auto& S) { SameSizeSelection(D, S, TSameSize::Both); },
       [](const nlohmann::json& J, const TSelection&) {
         EXPECT_EQ(El(J, 0, 1)["width"], 50);
         EXPECT_EQ(El(J, 0, 1)["height"], 20);
       }},
      {"space across", {{0, 0}, {0, 1}, {0, 2}}, [](auto& D, auto& S) { SpaceSelectionEvenly(D, S, true); },
       [](const nlohmann::json& J, const TSelection&) {
         // Span 10..380 holds 160 of widths: two gaps of 105.
         EXPECT_EQ(El(J, 0, 1)["left"], 165);
         EXPECT_EQ(El(J, 0, 2)["left"], 300);
       }},
      {"duplicate", {{0, 1}}, [](auto& D, auto& S) { DuplicateSelection(D, S, 10); },
       [](const nlohmann::json& J, const TSelection& S) {
         ASSERT_EQ(J["bands"][0]["elements"].size(), 4u);
         EXPECT_EQ(El(J, 0, 3)["left"], 110);
         EXPECT_NE(El(J, 0, 3)["name"], El(J, 0, 1)["name"]);
         EXPECT_TRUE(S.Contains({0, 3}) && S.Elements().size() == 1);
       }},
      {"delete", {{0, 0}, {0, 2}, {1, 0}}, [](auto& D, auto& S) { DeleteSelection(D, S); },
       [](const nlohmann::json& J, const TSelection& S) {
         ASSERT_EQ(J["bands"][0]["elements"].size(), 1u);
         EXPECT_EQ(El(J, 0, 0)["left"], 100);
         EXPECT_TRUE(J["bands"][1]["elements"].empty());
         EXPECT_EQ(S.Kind(), TSelection::TKind::Page);
       }},
      {"bring to front", {{0, 0}, {0, 1}}, [](auto& D, auto& S) { RaiseSelection(D, S); },
       [](const nlohmann::json& J, const TSelection& S) {
         EXPECT_EQ(El(J, 0, 0)["left"], 300);
         EXPECT_EQ(El(J, 0, 1)["left"], 10);
         EXPECT_EQ(El(J, 0, 2)["left"], 100);
         EXPECT_TRUE(S.Contains({0, 1}) && S.Contains({0, 2}));
       }},
      {"send to back", {{0, 2}}, [](auto& D, auto& S) { LowerSelection(D, S); },
       [](const nlohmann::json& J, const TSelection& S) {
         EXPECT_EQ(El(J, 0, 0)["left"], 300);
         EXPECT_TRUE(S.Contains({0, 0}));
       }},
      {"to another band", {{0, 0}, {0, 2}}, [](auto& D, auto& S) { MoveSelectionToBand(D, S, 1, 5, {1, 2}); },
       [](const nlohmann::json& J, const TSelection& S) {
         ASSERT_EQ(J["bands"][0]["elements"].size(), 1u);
         ASSERT_EQ(J["bands"][1]["elements"].size(), 3u);
         EXPECT_EQ(El(J, 1, 1)["left"], 15);
         EXPECT_EQ(El(J, 1, 1)["top"], 1);
         EXPECT_EQ(El(J, 1, 2)["left"], 305);
         EXPECT_EQ(El(J, 1, 2)["top"], 2);
         EXPECT_TRUE(S.Contains({1, 1}) && S.Contains({1, 2}) && S.Elements().size() == 2);
       }},
      {"paste copies", {{0, 1}, {1, 0}},
       [](auto& D, auto& S) {
         const std::vector<TReportElement> copied = ElementsFromJson(ElementsToJson(D.Page(), S.Elements()));
         ASSERT_EQ(copied.size(), 2u);
         PasteElements(D, S, 1, copied, 10);
       },
       [](const nlohmann::json& J, const TSelection& S) {
         ASSERT_EQ(J["bands"][1]["elements"].size(), 3u);
         EXPECT_EQ(El(J, 1, 1)["left"], 110);
         EXPECT_EQ(El(J, 1, 2)["type"], "Line");
         EXPECT_EQ(El(J, 1, 2)["x2"], 210);
         EXPECT_EQ(S.Elements().size(), 2u);
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.What);
    TReportDocument doc;
    Build(doc);
    TSelection sel;
    sel.SelectElements(c.Selected);
    const std::string before = doc.FileBytes();
    c.Edit(doc, sel);
    EXPECT_EQ(doc.UndoStack().count(), 1);
    c.Check(Saved(doc), sel);
    doc.UndoStack().undo();
    EXPECT_TRUE(doc.FileBytes() == before);
  }
}

TEST(EditOperations, NewElementsOfEveryKindSurviveTheFile) {
  TReportDocument doc;
  doc.NewReport();
  doc.AddBand(0, btMasterData);
  TSelection sel;
  for (size_t i = 0; i < ElemTypeNames.size(); ++i) PlaceElement(doc, sel, 0, NewElement(static_cast<TRptElemType>(i)));
  const nlohmann::json j = Saved(doc);
  ASSERT_EQ(j["bands"][0]["elements"].size(), ElemTypeNames.size());
  std::set<std::string> names;
  for (size_t i = 0; i < ElemTypeNames.size(); ++i) {
    EXPECT_EQ(El(j, 0, i)["type"], ElemTypeNames[i]);
    names.insert(El(j, 0, i)["name"].get<std::string>());
  }
  EXPECT_EQ(names.size(), ElemTypeNames.size());
  EXPECT_TRUE(ElementsFromJson("not json").empty());
  EXPECT_TRUE(ElementsFromJson("[1, \"x\"]").empty());
}

}  // namespace
}  // namespace quillet::designer
