// The engine's front: data sources, variables, system variables, text resolution, resolutions,
// data-set link discovery and the messages of the mobile-only operations.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "engine/report_engine.h"
#include "engine_test_support.h"
#include "registration/rpt_data_set.h"

namespace quillet::enginetest {
namespace {

// 1700000000 seconds after the epoch is 2023-11-14 22:13:20 UTC.
constexpr const char* FixedEpoch = "1700000000";
constexpr const char* FixedDate = "14.11.2023";
constexpr const char* FixedTime = "22:13";
constexpr const char* FixedDateTime = "14.11.2023 22:13";

TEST(EngineDataSources, EmptyNameAlwaysMeansTheMainDataSet) {
  auto Main = Numbers("Main", 1);
  auto Other = Numbers("Other", 1);
  TReportEngine E;
  E.SetDataSource(Main.get());
  E.SetDataSource("", Other.get());
  EXPECT_EQ(E.GetDataSource(""), Main.get());
  EXPECT_EQ(E.NamedDataSources().size(), 1u);
}

TEST(EngineDataSources, NamesAreExact) {
  auto A = Numbers("A", 1);
  TReportEngine E;
  E.SetDataSource("Orders", A.get());
  EXPECT_EQ(E.GetDataSource("Orders"), A.get());
  EXPECT_EQ(E.GetDataSource("orders"), nullptr);
  EXPECT_EQ(E.GetDataSource("Missing"), nullptr);
  EXPECT_EQ(E.GetDataSource(""), nullptr);  // no main set was given
}

struct TVarCase {
  std::string Name;
  bool Found;
  std::string Text;  // the value's text
};

class ResolveVarNames : public ::testing::TestWithParam<TVarCase> {};

TEST_P(ResolveVarNames, BuiltInsInEitherLanguageAndAnyCaseThenExactVariables) {
  TScopedEnv Clock("SOURCE_DATE_EPOCH", FixedEpoch);
  TReportEngine E;
  E.SetVariable("PageNo", "3");
  E.SetVariable("TotalPages", "9");
  E.SetVariable("pageNo2", "second");
  E.SetVariable("Company", "Acme");
  TExprValue V;
  const bool Found = E.ResolveVarValue(GetParam().Name, V);
  EXPECT_EQ(Found, GetParam().Found);
  if (Found) {
    EXPECT_EQ(V.ToText(), GetParam().Text);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Names, ResolveVarNames,
    ::testing::Values(TVarCase{"D", true, FixedDate}, TVarCase{"date", true, FixedDate},
                      TVarCase{"Tarih", true, FixedDate}, TVarCase{"TIME", true, FixedTime},
                      TVarCase{"saat", true, FixedTime}, TVarCase{"DateTime", true, FixedDateTime},
                      TVarCase{"TARIHSAAT", true, FixedDateTime}, TVarCase{"pageno", true, "3"},
                      TVarCase{"SayfaNo", true, "3"}, TVarCase{"totalPages", true, "9"},
                      TVarCase{"TOPLAMSAYFA", true, "9"}, TVarCase{"RecordNo", true, "0"},
                      TVarCase{"kayitno", true, "0"}, TVarCase{"TAR\u0130H", true, FixedDate},
                      TVarCase{"kay\u0131tno", true, "0"}, TVarCase{"pageNo2", true, "second"},
                      TVarCase{"PAGENO2", false, ""}, TVarCase{"Company", true, "Acme"},
                      TVarCase{"company", false, ""}, TVarCase{"Nothing", false, ""}));

TEST(EngineVariables, RecordNoIsAnInteger) {
  TReportEngine E;
  TExprValue V;
  ASSERT_TRUE(E.ResolveVarValue("RECORDNO", V));
  EXPECT_EQ(V.Kind(), evkInteger);
  EXPECT_EQ(V.AsInt(), 0);
}

TEST(EngineVariables, SystemVariablesFillOnlyWhatIsMissing) {
  TScopedEnv Clock("SOURCE_DATE_EPOCH", FixedEpoch);
  TReportEngine E;
  E.SetVariable("Date", "x");
  E.SetVariable("TotalPages", "12");
  E.InjectSystemVariables();
  EXPECT_EQ(E.GetVariable("Date"), "x");
  EXPECT_EQ(E.GetVariable("TotalPages"), "12");
  EXPECT_EQ(E.GetVariable("Time"), FixedTime);
  EXPECT_EQ(E.GetVariable("DateTime"), FixedDateTime);
  EXPECT_EQ(E.GetVariable("PageNo"), "1");

  // The built-in name wins over the user's "Date" in expressions and whole-text braces.
  TReportElement El;
  El.Text = "[Date]";
  EXPECT_EQ(E.ResolveText(El), FixedDate);
  El.Text = "{Date}";
  EXPECT_EQ(E.ResolveText(El), FixedDate);
}

TEST(EngineVariables, SystemVariablesOnAnEmptyEngine) {
  TScopedEnv Clock("SOURCE_DATE_EPOCH", FixedEpoch);
  TReportEngine E;
  E.InjectSystemVariables();
  EXPECT_EQ(E.GetVariable("Date"), FixedDate);
  EXPECT_EQ(E.GetVariable("TotalPages"), "?");
  EXPECT_EQ(E.GetVariable("PageNo"), "1");
}

// ---- Text resolution outside a run (no current data set) ----

struct TTextCase {
  std::string Text;
  std::string DataField;
  std::string Expected;
};

class ResolveTextWithoutRecord : public ::testing::TestWithParam<TTextCase> {};

TEST_P(ResolveTextWithoutRecord, FollowsDataFieldThenBracesThenTemplate) {
  auto Orders = MakeSet("Orders", {{"Name", ftString}, {"Amount", ftLargeint}}, {{S("Anna"), I(12)}});
  TReportEngine E;
  E.SetDataSource("Orders", Orders.get());
  E.SetVariable("PageNo", "4");
  E.SetVariable("Company", "Acme");
  TReportElement El;
  El.Text = GetParam().Text;
  El.DataField = GetParam().DataField;
  EXPECT_EQ(E.ResolveText(El), GetParam().Expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ResolveTextWithoutRecord,
    ::testing::Values(
        TTextCase{"{PageNo}", "", "4"}, TTextCase{"Page {PageNo}", "", "Page {PageNo}"},
        TTextCase{"Page [PageNo]", "", "Page 4"}, TTextCase{"{Company}", "", "Acme"},
        TTextCase{"{company}", "", "{company}"}, TTextCase{"[Company] Ltd", "", "Acme Ltd"},
        TTextCase{"plain", "", "plain"}, TTextCase{"", "", ""},
        // A dotted data field is an expression over the named set, even with no current record.
        TTextCase{"ignored", "Orders.Amount", "12"}, TTextCase{"ignored", "Orders.Amount * 2", "24"},
        TTextCase{"ignored", "Orders.Nothing", ""},
        // A plain data field needs a current data set; without one the text is shown.
        TTextCase{"fallback [Company]", "Name", "fallback Acme"}));

TEST(EngineText, CellTextsExpandBrackets) {
  TReportEngine E;
  E.SetVariable("Company", "Acme");
  EXPECT_EQ(E.ResolveCellText(""), "");
  EXPECT_EQ(E.ResolveCellText("[Company]"), "Acme");
  EXPECT_EQ(E.ResolveCellText("Sum: [1 + 2]"), "Sum: 3");
  EXPECT_EQ(E.ResolveCellText("{Company}"), "{Company}");
  EXPECT_EQ(E.ResolveCellText("[Unknown]"), "[Unknown]");
}

// ---- Text resolution inside a run, against the current record ----

TEST(EngineText, ElementTextsResolveAgainstTheCurrentRecord) {
  auto Orders = MakeSet("Orders", {{"Name", ftString}, {"Amount", ftLargeint}}, {{S("Anna"), I(12)}});
  auto Customers = MakeSet("Customers", {{"City", ftString}}, {{S("Rome")}});
  const std::vector<TTextCase> Cases = {
      {"", "Name", "Anna"},
      {"shadowed", "Name", "Anna"},             // the data field wins over the text
      {"", "Amount * 2", "24"},                 // not a field: evaluated
      {"", "Customers.City", "Rome"},           // another named set
      {"", "Other.Amount", "12"},               // unknown set: the current set's field
      {"", "Customers.Amount", "12"},           // known set without the field: the current set's
      {"", "NoSuchField", ""},                  // evaluates to nothing
      {"{PageNo}", "", "1"},
      {"Page {PageNo}", "", "Page {PageNo}"},
      {"Page [PageNo]", "", "Page 1"},
      {"{Amount}", "", "{Amount}"},             // braces reach variables only
      {"{RecordNo}", "", "1"},
      {"[Name] owes [Amount]", "", "Anna owes 12"},
  };
  TReportPage Page;
  SmallPage(Page);
  TReportBand& M = AddBand(Page, btMasterData, 20, "Orders");
  for (const TTextCase& C : Cases) AddLabel(M, C.Text).DataField = C.DataField;

  TReportEngine E;
  E.SetDataSource("Orders", Orders.get());
  E.SetDataSource("Customers", Customers.get());
  auto Canvas = std::make_shared<TTestCanvas>();
  E.RunPass(Page, Canvas, DrawPass());

  const std::vector<std::string> Texts = Canvas->Texts();
  ASSERT_EQ(Texts.size(), Cases.size());
  for (size_t K = 0; K < Cases.size(); ++K)
    EXPECT_EQ(Texts[K], Cases[K].Expected) << "text \"" << Cases[K].Text << "\" field \"" << Cases[K].DataField << "\"";
}

TEST(EngineText, TotalPagesMentionsAreFoundCaseSensitively) {
  EXPECT_FALSE(TReportEngine::PageNeedsTotalPages(nullptr));
  struct TCase {
    std::string Text, DataField;
    bool Needs;
  };
  const std::vector<TCase> Cases = {
      {"Page {PageNo} of {TotalPages}", "", true}, {"of [TotalPages]", "", true},
      {"", "TotalPages", true},                     {"", "Vars.TotalPages", true},
      {"TotalPages", "", false},                    {"[totalpages]", "", false},
      {"{TOTALPAGES}", "", false},                  {"[PageNo]", "", false},
  };
  for (const TCase& C : Cases) {
    TReportPage Page;
    AddBand(Page, btTitle, 10);
    TReportBand& B = AddBand(Page, btPageFooter, 10);
    AddLabel(B, "first");
    AddLabel(B, C.Text).DataField = C.DataField;
    EXPECT_EQ(TReportEngine::PageNeedsTotalPages(&Page), C.Needs) << C.Text << " / " << C.DataField;
  }
  TReportPage Empty;
  EXPECT_FALSE(TReportEngine::PageNeedsTotalPages(&Empty));
}

TEST(EngineSettings, ResolutionsStayWithin72And600) {
  TReportEngine E;
  struct TCase {
    int32_t In, Out;
  };
  for (TCase C : {TCase{10, 72}, TCase{71, 72}, TCase{72, 72}, TCase{300, 300}, TCase{600, 600},
                  TCase{601, 600}, TCase{1200, 600}, TCase{-5, 72}}) {
    E.SetPreviewDPI(C.In);
    E.SetPrintDPI(C.In);
    E.SetExportDPI(C.In);
    EXPECT_EQ(E.PreviewDPI(), C.Out) << C.In;
    EXPECT_EQ(E.PrintDPI(), C.Out) << C.In;
    EXPECT_EQ(E.ExportDPI(), C.Out) << C.In;
  }
}

// ---- Data-set links ----

TEST(EngineDiscovery, CollectsLinksOfTheOwnerByAliasOrComponentName) {
  auto A = Numbers("A", 1), B = Numbers("B", 1), C = Numbers("C", 1), Keep = Numbers("Keep", 1),
       Other = Numbers("Other", 1);
  TComponent Form;
  TReportEngine E(&Form);
  TReportEngine SecondEngine(&Form);

  TRptDataSet ByName(&Form);  // no alias, no engine: every engine's, under its component name
  ByName.SetName("lnkOrders");
  ByName.SetDataSet(A.get());
  TRptDataSet ByAlias(&Form);  // alias, bound to this engine
  ByAlias.SetName("lnkCustomers");
  ByAlias.SetDataSetName("Customers");
  ByAlias.SetReportEngine(&E);
  ByAlias.SetDataSet(B.get());
  TRptDataSet ForOther(&Form);  // bound to another engine
  ForOther.SetName("lnkOther");
  ForOther.SetReportEngine(&SecondEngine);
  ForOther.SetDataSet(C.get());
  TRptDataSet NoSet(&Form);  // no data set
  NoSet.SetName("lnkEmpty");
  TRptDataSet Clash(&Form);  // a name the engine already has
  Clash.SetName("lnkClash");
  Clash.SetDataSetName("Existing");
  Clash.SetDataSet(Other.get());

  E.SetDataSource("Existing", Keep.get());
  E.AutoDiscoverDataSources();

  EXPECT_EQ(E.GetDataSource("lnkOrders"), A.get());
  EXPECT_EQ(E.GetDataSource("Customers"), B.get());
  EXPECT_EQ(E.GetDataSource("lnkCustomers"), nullptr);
  EXPECT_EQ(E.GetDataSource("lnkOther"), nullptr);
  EXPECT_EQ(E.GetDataSource("lnkEmpty"), nullptr);
  EXPECT_EQ(E.GetDataSource("Existing"), Keep.get());
  EXPECT_EQ(E.NamedDataSources().size(), 3u);

  // The other engine sees its own link and the unbound one, not the link bound to E.
  SecondEngine.AutoDiscoverDataSources();
  EXPECT_EQ(SecondEngine.GetDataSource("lnkOther"), C.get());
  EXPECT_EQ(SecondEngine.GetDataSource("lnkOrders"), A.get());
  EXPECT_EQ(SecondEngine.GetDataSource("Customers"), nullptr);
}

TEST(EngineDiscovery, AnEngineWithoutOwnerFindsNothing) {
  auto A = Numbers("A", 1);
  TComponent Form;
  TRptDataSet Link(&Form);
  Link.SetName("lnk");
  Link.SetDataSet(A.get());
  TReportEngine E;
  E.AutoDiscoverDataSources();
  EXPECT_TRUE(E.NamedDataSources().empty());
}

TEST(EngineDiscovery, DestroyingTheEngineClearsTheLinksReference) {
  TRptDataSet Link;
  {
    TReportEngine E;
    Link.SetReportEngine(&E);
    EXPECT_EQ(Link.ReportEngine(), &E);
  }
  EXPECT_EQ(Link.ReportEngine(), nullptr);
}

// ---- Messages ----

TEST(EngineMessages, DesktopShowReportOnlyTellsTheUser) {
  const std::string Msg = "PDF generation is only supported on Android.";
  test::TTempDir Dir;
  TReportEngine E;
  std::vector<std::string> Shown;
  E.SetMessageHook([&](const std::string& M) { Shown.push_back(M); });
  TReportPage Page;
  E.ShowReport(Dir.File("r.qdr"), Dir.File("r.pdf"));
  E.ShowReport(Page, Dir.File("r.pdf"));
  E.ShowReports(std::vector<std::string>{Dir.File("a.qdr"), Dir.File("b.qdr")}, Dir.File("r.pdf"));
  E.ShowReports(std::vector<TReportPage*>{&Page}, Dir.File("r.pdf"));
  E.SetReportFile(Dir.File("r.qdr"));
  E.ShowReport();
  E.ShowReport(Dir.File("r.pdf"));
  EXPECT_EQ(Shown, std::vector<std::string>(6, Msg));
  EXPECT_EQ(Dir.Count(), 0u);
}

TEST(EngineMessages, ShowReportWithoutReportFileRaises) {
  TReportEngine E;
  std::vector<std::string> Shown;
  E.SetMessageHook([&](const std::string& M) { Shown.push_back(M); });
  try {
    E.ShowReport();
    ADD_FAILURE() << "no exception";
  } catch (const std::exception& X) {
    EXPECT_STREQ(X.what(), "ReportEngine: ReportFile property is empty.");
  }
  try {
    E.ShowReport("out.pdf");
    ADD_FAILURE() << "no exception";
  } catch (const std::exception& X) {
    EXPECT_STREQ(X.what(),
                 "ReportEngine: ReportFile property is empty. Create a .qdr file with Designer and assign it to "
                 "ReportFile.");
  }
  EXPECT_TRUE(Shown.empty());
}

}  // namespace
}  // namespace quillet::enginetest
