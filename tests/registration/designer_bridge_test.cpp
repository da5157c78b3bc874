// Starting the designer from this process: the bytes of datasources.json, the working folder and
// arguments a stand-in designer records for OpenDesigner, OpenPreview and the "Design Report..."
// verb, that the caller neither waits nor keeps a child, and the file dialog that asks for the
// designer (offscreen), cancelled or answered.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QApplication>
#include <QFileDialog>
#include <QTimer>

#include "base/error.h"
#include "data/csv_data_set.h"
#include "data/mem_data_set.h"
#include "designer_test_support.h"
#include "engine/designer_bridge.h"
#include "engine/report_engine.h"
#include "registration/qt/designer_locator.h"
#include "registration/qt/engine_editor.h"
#include "registration/rpt_data_set.h"

namespace quillet {
namespace {

using test::TRecord;
namespace fs = std::filesystem;

// Orders open with two fields, an unnamed closed set without field definitions, Items closed
// with declared fields: described as Orders, dataset2 and Items.
const std::string kThreeSets =
    "\xEF\xBB\xBF[\n  {\n    \"name\": \"Orders\",\n    \"fields\": [\n      \"id\",\n      \"amount\"\n    ]\n  },\n"
    "  {\n    \"name\": \"dataset2\",\n    \"fields\": []\n  },\n"
    "  {\n    \"name\": \"Items\",\n    \"fields\": [\n      \"product\",\n      \"qty\"\n    ]\n  }\n]";

struct TThreeSets {
  TMemDataSet Orders{"Orders"}, Empty{"Empty"}, Items{"Items"};
  TThreeSets() {
    Orders.AddField("id", ftLargeint);
    Orders.AddField("amount", ftFloat);
    Orders.Open();
    Items.AddField("product", ftString);
    Items.AddField("qty", ftLargeint);
  }
};

// What the designer reads back: the writer's bytes give the sets as written; other texts are read
// tolerantly or refused on one line.
TEST(DataSourcesJson, ReadBack) {
  using TSchemas = std::vector<TDataSourceSchema>;
  EXPECT_EQ(ReadDataSourcesJson(kThreeSets),
            (TSchemas{{"Orders", {"id", "amount"}}, {"dataset2", {}}, {"Items", {"product", "qty"}}}));
  struct Case {
    std::string Text;
    TSchemas Expected;
    std::string Detail;  // "" when it reads
  };
  const std::vector<Case> cases = {
      {"[]", {}, ""},
      {"[1, \"x\", {\"fields\": [\"a\"]}, {\"name\": \"\"}, {\"name\": 7, \"fields\": [true, \"b\"], \"more\": 1}]",
       {{"7", {"true", "b"}}},
       ""},
      {"{\"name\": \"x\"}", {}, "not a JSON array"},
      {"[{\"name\": \"x\",}]", {}, "line 1, column 15: syntax error while parsing object key - unexpected '}'; "
                                      "expected string literal"},
      {std::string(65, '[') + std::string(65, ']'), {}, "nested deeper than 64 levels"},
      {"[" + std::string(63, '[') + std::string(63, ']') + "]", {}, ""},
  };
  for (const Case& c : cases) {
    try {
      EXPECT_EQ(ReadDataSourcesJson(c.Text), c.Expected) << c.Text;
      EXPECT_EQ(c.Detail, "") << c.Text;
    } catch (const EQuilletError& e) {
      EXPECT_STREQ(e.what(), "Invalid data source description");
      EXPECT_EQ(e.Detail(), c.Detail) << c.Text;
    }
  }
}

TEST(DataSourcesJson, BytesOfTheDescription) {
  test::TTempDir dir;
  TThreeSets sets;
  // A closed CSV set knows its fields from the header line.
  TCsvDataSet customers("Customers", dir.Write("customers.csv", "cust_id,Müşteri adı\n7,Ada\n"));
  const std::vector<std::tuple<std::vector<TDataSet*>, std::vector<std::string>, std::string>> cases = {
      {{&sets.Orders, &sets.Empty, &sets.Items}, {"Orders", "", "Items"}, kThreeSets},
      {{}, {}, "\xEF\xBB\xBF[]"},
      {{nullptr, &customers},
       {"", "Müşteriler"},
       "\xEF\xBB\xBF[\n  {\n    \"name\": \"dataset1\",\n    \"fields\": []\n  },\n  {\n    \"name\": \"Müşteriler\",\n"
       "    \"fields\": [\n      \"cust_id\",\n      \"Müşteri adı\"\n    ]\n  }\n]"},
  };
  for (const auto& [dataSets, names, expected] : cases) {
    WriteDataSourcesJson(dataSets, names, dir.File("datasources.json"));
    EXPECT_EQ(test::ReadFile(dir.File("datasources.json")), expected);
  }
}

// A stand-in designer in a folder of its own, the record of its start, and the search for it
// confined: the remembered setting in a file of the test's own, no QUILLET_DESIGNER, an empty
// PATH.
struct TDesigner {
  test::TTempDir Dir;
  std::string Folder = Dir.File("designer"), Exe = Folder + "/formwright", Ds = Folder + "/datasources.json";
  std::string Settings = Dir.File("config/Quillet.conf");
  test::TScopedEnv Env{{{"QUILLET_TEST_RECORD", Dir.File("record")}, {"PATH", Dir.File("empty")},
                        {"QUILLET_DESIGNER", std::nullopt}}};
  TDesigner() {
    test::WriteStandIn(Exe);
    SetDesignerSettingsFile(Settings);
  }
  ~TDesigner() { SetDesignerSettingsFile(""); }
  std::optional<TRecord> Started() { return test::WaitForRecord(Dir.File("record")); }
};

// OpenDesigner describes the links of the owner it is given that serve this engine or every
// engine and have a data set; the verb does the same for the engine's own form with the designer
// it finds (here the remembered one). A link bound to another engine is left out.
TEST(OpenDesigner, ArgumentsWorkingFolderAndDescription) {
  TDesigner d;
  test::WriteBytes(d.Settings, "[General]\nDesignerPath=" + d.Exe + "\n");  // as a user would write it
  TThreeSets sets;
  TComponent form, emptyForm;
  TReportEngine engine(&form), other(&form), alone(&emptyForm);
  engine.SetDesignerExe(d.Exe);
  alone.SetDesignerExe(d.Exe);
  TRptDataSet orders(&form), unnamed(&form), forOther(&form), items(&form), noSet(&form);
  orders.SetDataSetName("Orders");
  orders.SetDataSet(&sets.Orders);
  orders.SetReportEngine(&engine);
  unnamed.SetDataSet(&sets.Empty);
  forOther.SetDataSet(&sets.Orders);
  forOther.SetReportEngine(&other);
  items.SetName("Items");
  items.SetDataSet(&sets.Items);
  noSet.SetReportEngine(&other);
  const std::string report = d.Dir.File("invoice.qdr");

  struct TCase {
    std::function<void()> Start;
    std::vector<std::string> Args;
  };
  const std::vector<TCase> cases = {
      {[&] { engine.OpenDesigner(report, &form); }, {report, "/ds:" + d.Ds}},
      {[&] { engine.OpenDesigner("", &form); }, {"/ds:" + d.Ds}},
      {[&] { engine.OpenDesigner(report); }, {report}},
      {[&] { engine.OpenDesigner(report, &emptyForm); }, {report}},
      {[&] {
         engine.SetReportFile(report);
         TReportEngineEditor(engine).ExecuteVerb(0);
       },
       {report, "/ds:" + d.Ds}},
      {[&] { TReportEngineEditor(alone).ExecuteVerb(0); }, {}},
  };
  for (size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE("case " + std::to_string(i));
    fs::remove(d.Ds);
    cases[i].Start();
    EXPECT_TRUE(test::HasNoChild());
    EXPECT_EQ(d.Started(), (TRecord{d.Folder, cases[i].Args}));
    if (cases[i].Args.empty() || cases[i].Args.back() != "/ds:" + d.Ds)
      EXPECT_FALSE(fs::exists(d.Ds));
    else
      EXPECT_EQ(test::ReadFile(d.Ds), kThreeSets);
  }
}

// The caller returns while the designer still runs (it waits for a line from a FIFO), and keeps
// no child process at any time. Without a designer anywhere, both operations say where to put it.
TEST(OpenPreview, DoesNotWaitAndSaysWhereTheDesignerBelongs) {
  TDesigner d;
  const std::string gate = d.Dir.File("gate");
  ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
  std::vector<std::string> messages;
  TReportEngine engine;
  engine.SetMessageHook([&messages](const std::string& M) { messages.push_back(M); });
  engine.SetDesignerExe(d.Exe);
  {
    test::TScopedEnv gated({{"QUILLET_TEST_GATE", gate}});
    engine.OpenPreview(d.Dir.File("a.qdr"));
  }
  EXPECT_TRUE(test::HasNoChild());
  EXPECT_FALSE(fs::exists(d.Dir.File("record")));
  std::ofstream(gate) << "go\n";
  EXPECT_EQ(d.Started(), (TRecord{d.Folder, {d.Dir.File("a.qdr"), "/preview"}}));
  EXPECT_TRUE(test::HasNoChild());
  engine.OpenPreview("");  // no report, no designer

  // A missing DesignerExe: the search goes on beside this program, where there is none either.
  engine.SetDesignerExe(d.Dir.File("gone/formwright"));
  const std::string here = fs::read_symlink("/proc/self/exe").parent_path().string() + "/";
  EXPECT_EQ(engine.DesignerExePath(), here + "formwright");
  engine.OpenPreview(d.Dir.File("a.qdr"));
  engine.OpenDesigner(d.Dir.File("a.qdr"));
  const std::string notFound = "formwright not found.\r\nPlace it here: " + here;
  EXPECT_EQ(messages, (std::vector<std::string>{notFound, notFound}));
  EXPECT_FALSE(fs::exists(d.Dir.File("record")));
}

// Answers the next file dialog with Answer (a file to pick, "" to cancel), noting how it asked.
struct TDialogAnswer {
  std::string Asked;
  QTimer Timer;
  explicit TDialogAnswer(const std::string& Answer) {
    QObject::connect(&Timer, &QTimer::timeout, [this, Answer] {
      auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
      if (!dialog) return;
      Timer.stop();
      Asked = dialog->windowTitle().toStdString() + " | " + dialog->nameFilters().join(";").toStdString() + " | " +
              dialog->selectedFiles().value(0).section('/', -1).toStdString() + " | " +
              (dialog->fileMode() == QFileDialog::ExistingFile ? "existing file" : "any");
      if (!Answer.empty()) dialog->selectFile(QString::fromStdString(Answer));
      Answer.empty() ? dialog->reject() : static_cast<QDialog*>(dialog)->accept();  // as Cancel and Open do
    });
    Timer.start(20);
  }
};

// Nothing found anywhere, so the verb asks. Cancelled, the remembered setting stays as it was
// and the user is told how to point the library at the designer; answered, the choice starts
// the designer, is remembered, and wins the next search over QUILLET_DESIGNER.
TEST(DesignReportVerb, AsksWhenTheDesignerIsNowhere) {
  TDesigner d;
  const std::string stale = "[General]\nDesignerPath=" + d.Dir.File("deleted/formwright") + "\n";
  test::WriteBytes(d.Settings, stale);
  ASSERT_EQ(FindFormwrightExe(nullptr, false), "") << "a designer beside the test program spoils this test";
  std::vector<std::string> messages;
  TComponent form;
  TReportEngine engine(&form);
  engine.SetMessageHook([&messages](const std::string& M) { messages.push_back(M); });
  engine.SetReportFile(d.Dir.File("r.qdr"));
  const std::string asked = "formwright konumunu secin | formwright (formwright) | formwright | existing file";

  TDialogAnswer cancel("");
  TReportEngineEditor(engine).ExecuteVerb(0);
  EXPECT_EQ(cancel.Asked, asked);
  EXPECT_EQ(messages, std::vector<std::string>{test::NotFoundMessage(d.Settings)});
  EXPECT_EQ(test::ReadFile(d.Settings), stale);
  EXPECT_FALSE(fs::exists(d.Dir.File("record")));

  TDialogAnswer pick(d.Exe);
  TReportEngineEditor(engine).ExecuteVerb(0);
  EXPECT_EQ(pick.Asked, asked);
  EXPECT_EQ(d.Started(), (TRecord{d.Folder, {d.Dir.File("r.qdr")}}));
  EXPECT_EQ(messages.size(), 1u);
  EXPECT_NE(test::ReadFile(d.Settings).find("\nDesignerPath=" + d.Exe + "\n"), std::string::npos);
  test::WriteStandIn(d.Dir.File("other/formwright"));
  test::TScopedEnv viaEnv({{"QUILLET_DESIGNER", d.Dir.File("other/formwright")}});
  EXPECT_EQ(FindFormwrightExe(nullptr, false), d.Exe);
}

}  // namespace
}  // namespace quillet
