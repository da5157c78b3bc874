// The components and their registration: the data-set link's weak references, what a
// development environment sees when it calls Register, the engine drop-down, and PDFOpen
// handing a file to xdg-open.
#include <gtest/gtest.h>

#include "data/mem_data_set.h"
#include "designer_test_support.h"
#include "engine/report_engine.h"
#include "registration/pdf_open.h"
#include "registration/qt/engine_editor.h"
#include "registration/rpt_data_set.h"
#include "registration/scrivel.h"

namespace quillet {
namespace {

// Whatever is destroyed first, the link never keeps a dangling pointer (the sanitizer build
// would catch a read of one), and a link pointed elsewhere is not cleared by its old target.
TEST(RptDataSet, ReferencesClearWhenWhatTheyNameIsDestroyed) {
  TComponent form;
  TMemDataSet otherSet("Other");
  TReportEngine otherEngine(&form);
  for (int round = 0; round < 3; ++round) {
    auto set = std::make_unique<TMemDataSet>("Orders");
    auto engine = std::make_unique<TReportEngine>(&form);
    auto link = std::make_unique<TRptDataSet>(&form);
    for (int twice = 0; twice < 2; ++twice) {  // one request however often it is made
      link->SetDataSet(set.get());
      link->SetReportEngine(engine.get());
    }
    if (round == 0) {
      set.reset();
      EXPECT_EQ(link->DataSet(), nullptr);
      EXPECT_EQ(link->ReportEngine(), engine.get());
      engine.reset();
      EXPECT_EQ(link->ReportEngine(), nullptr);
    } else if (round == 1) {
      link->SetDataSet(&otherSet);
      link->SetReportEngine(&otherEngine);
      set.reset();
      engine.reset();
      EXPECT_EQ(link->DataSet(), &otherSet);
      EXPECT_EQ(link->ReportEngine(), &otherEngine);
    } else {
      link.reset();  // the set and the engine outlive it without a stale request
    }
  }
}

// The engine forgets a destroyed data set wherever it held it (named, main, found through a link)
// and runs on without it: the sanitizer build would catch a read of the freed set.
TEST(ReportEngine, ForgetsDestroyedDataSets) {
  TComponent form;
  TReportEngine engine(&form);
  auto named = std::make_unique<TMemDataSet>("Orders");
  auto linked = std::make_unique<TMemDataSet>("Items");
  TMemDataSet kept("Kept");
  TRptDataSet link(&form);
  link.SetDataSetName("Items");
  link.SetDataSet(linked.get());
  engine.SetDataSource("Orders", named.get());
  engine.SetDataSource("Again", named.get());
  engine.SetDataSource("Kept", &kept);
  engine.SetDataSource(named.get());
  engine.AutoDiscoverDataSources();
  ASSERT_EQ(engine.GetDataSource("Items"), linked.get());
  named.reset();
  linked.reset();
  EXPECT_EQ(engine.GetDataSource(""), nullptr);
  EXPECT_EQ(engine.NamedDataSources(), (std::map<std::string, TDataSet*>{{"Kept", &kept}}));
  test::TTempDir dir;
  TReportPage page;
  engine.ExportPDF(page, dir.File("out.pdf"));
  EXPECT_TRUE(std::filesystem::exists(dir.File("out.pdf")));
}

// A development environment that writes down what Register asks of it.
class TRecordingHost : public IDesignHost {
 public:
  void AddSplashText(const std::string& Text) override { Splash.push_back(Text); }
  void RegisterComponents(const std::string& Page, const std::vector<TComponentClass>& Classes) override {
    for (const auto& c : Classes) {
      Palette[Page].push_back(c.Name);
      Classes_.insert_or_assign(c.Name, c);
    }
  }
  void RegisterComponentEditor(const TComponentClass& Class, TComponentEditorFactory Factory) override {
    Editors[Class.Name] = std::move(Factory);
  }
  void RegisterPropertyEditor(const std::string& Type, const TComponentClass& Class, const std::string& Property,
                              TPropertyEditorFactory Factory) override {
    Properties[Type + " " + Class.Name + "." + Property] = std::move(Factory);
  }
  std::vector<std::string> Splash;
  std::map<std::string, std::vector<std::string>> Palette;
  std::map<std::string, TComponentClass> Classes_;
  std::map<std::string, TComponentEditorFactory> Editors;
  std::map<std::string, TPropertyEditorFactory> Properties;
};

TEST(Register, HostSeesPaletteEditorsSplashAndTheEngineDropDown) {
  TRecordingHost host;
  Register(host);
  EXPECT_EQ(host.Splash, std::vector<std::string>{"Quillet Components"});
  EXPECT_EQ(host.Palette["Quillet"], (std::vector<std::string>{"TReportEngine", "TScrivel", "TRptDataSet"}));
  EXPECT_EQ(host.Palette.size(), 1u);
  ASSERT_EQ(host.Editors.size(), 1u);
  ASSERT_EQ(host.Properties.size(), 1u);
  ASSERT_TRUE(host.Properties.count("TComponent TRptDataSet.ReportEngine"));

  // Components made from the registered classes, as when dropped on a form.
  TComponent form, otherForm;
  std::map<std::string, std::unique_ptr<TComponent>> made;
  for (const auto& [name, cls] : host.Classes_) made[name] = cls.Create(&form);
  for (const auto& [name, cls] : host.Classes_)
    for (const auto& [other, component] : made) EXPECT_EQ(cls.IsInstance(*component), other == name);
  EXPECT_EQ(dynamic_cast<TScrivel&>(*made["TScrivel"]).GetVersion(), "1.0.0");

  const auto editor = host.Editors.at("TReportEngine")(*made["TReportEngine"], &host);
  ASSERT_EQ(editor->GetVerbCount(), 1);
  EXPECT_EQ(editor->GetVerb(0), "Design Report...");

  // The drop-down: the engines of the link's own form, in order, and nothing else.
  made["TReportEngine"]->SetName("Invoices");
  TReportEngine elsewhere(&otherForm), labels(&form);
  elsewhere.SetName("Elsewhere");
  labels.SetName("Labels");
  TRptDataSet linkElsewhere(&otherForm), orphan;
  const auto values = [&](TComponent& C) {
    std::vector<std::string> v;
    host.Properties.begin()->second(C, &host)->GetValues([&v](const std::string& Name) { v.push_back(Name); });
    return v;
  };
  EXPECT_EQ(values(*made["TRptDataSet"]), (std::vector<std::string>{"Invoices", "Labels"}));
  EXPECT_EQ(values(linkElsewhere), std::vector<std::string>{"Elsewhere"});
  EXPECT_TRUE(values(orphan).empty());

  TRecordingHost markerHost;  // the marker unit's own entry
  RegisterScrivel(markerHost);
  EXPECT_EQ(markerHost.Palette["Quillet"], std::vector<std::string>{"TScrivel"});
}

// PDFOpen hands the file to the first xdg-open on PATH without waiting; a missing file or a
// missing xdg-open is one message each.
TEST(PDFOpen, HandsTheFileToXdgOpen) {
  test::TTempDir dir;
  const std::string pdf = dir.Write("report.pdf", "%PDF-1.4\n"), missing = dir.File("missing.pdf");
  test::WriteStandIn(dir.File("tools/xdg-open"));
  const std::string tools = dir.File("tools") + ":" + std::getenv("PATH");
  const std::vector<std::tuple<std::string, std::string, std::string>> cases = {
      {pdf, tools, ""},
      {missing, tools, "PDF file not found: " + missing},
      {pdf, dir.Str(), "Cannot open " + pdf + ": xdg-open is not installed"},
  };
  for (const auto& [file, path, message] : cases) {
    SCOPED_TRACE(file + " with PATH " + path);
    std::vector<std::string> messages;
    {
      test::TScopedEnv env({{"PATH", path}, {"QUILLET_TEST_RECORD", dir.File("record")}});
      PDFOpen(file, [&messages](const std::string& M) { messages.push_back(M); });
    }
    EXPECT_TRUE(test::HasNoChild());
    if (message.empty()) {
      EXPECT_TRUE(messages.empty());
      const auto r = test::WaitForRecord(dir.File("record"));
      ASSERT_TRUE(r.has_value());
      EXPECT_EQ(r->Args, std::vector<std::string>{pdf});
    } else {
      EXPECT_EQ(messages, std::vector<std::string>{message});
      EXPECT_FALSE(test::fs::exists(dir.File("record")));
    }
  }
}

}  // namespace
}  // namespace quillet
