// The designer's settings in a configuration folder of the test's own ($XDG_CONFIG_HOME, and
// $HOME without it): where the file is, what a fresh one reads, and what comes back.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <QSettings>
#include <filesystem>
#include <optional>

#include "../support/test_support.h"
#include "designer/designer_settings.h"
#include "registration/qt/designer_locator.h"
#include "reportdef/report_model.h"

namespace quillet::designer {
namespace {

// Sets an environment variable (unsets it for nullopt) and puts the old value back.
class TEnv {
 public:
  TEnv(const char* Name, std::optional<std::string> Value) : FName(Name) {
    if (const char* old = std::getenv(Name)) FOld = old;
    Value ? ::setenv(Name, Value->c_str(), 1) : ::unsetenv(Name);
  }
  ~TEnv() { FOld ? ::setenv(FName, FOld->c_str(), 1) : ::unsetenv(FName); }

 private:
  const char* FName;
  std::optional<std::string> FOld;
};

TEST(DesignerSettings, TheFileSitsBesideTheLocatorsInTheUsersConfigFolder) {
  test::TTempDir dir;
  {
    TEnv xdg("XDG_CONFIG_HOME", dir.File("xdg"));
    EXPECT_EQ(FormwrightSettingsFile(), dir.File("xdg") + "/Quillet/formwright.conf");
    EXPECT_EQ(DesignerSettingsFile(), dir.File("xdg") + "/Quillet/Quillet.conf");
    TDesignerSettings settings;
    settings.SetSnapToGrid(false);
    EXPECT_TRUE(std::filesystem::exists(dir.File("xdg") + "/Quillet/formwright.conf"));
  }
  TEnv xdg("XDG_CONFIG_HOME", std::nullopt);
  TEnv home("HOME", dir.File("home"));
  EXPECT_EQ(FormwrightSettingsFile(), dir.File("home") + "/.config/Quillet/formwright.conf");
  TEnv noHome("HOME", std::nullopt);
  EXPECT_EQ(FormwrightSettingsFile(), "");
  TDesignerSettings nowhere;  // reads the defaults, writes nothing
  nowhere.SetGridStep(5);
  EXPECT_EQ(nowhere.GridStep(), 10);
}

TEST(DesignerSettings, DefaultsThenWhatWasWritten) {
  test::TTempDir dir;
  TEnv xdg("XDG_CONFIG_HOME", dir.Str());
  {
    const TDesignerSettings fresh;
    EXPECT_EQ(fresh.RulerUnit(), TUnit::Millimetre);
    EXPECT_EQ(fresh.GridStep(), TReportPage().GridSize);
    EXPECT_TRUE(fresh.SnapToGrid());
    EXPECT_TRUE(fresh.WindowGeometry().isEmpty());
    EXPECT_TRUE(fresh.RecentFiles().empty());
    EXPECT_FALSE(std::filesystem::exists(fresh.FileName())) << "reading made the file";
  }
  struct Case {
    TUnit Unit;
    const char* Stored;  // as the file spells it
    float Grid;
    bool Snap;
    QByteArray Geometry;
  };
  for (const Case& c : std::vector<Case>{{TUnit::Inch, "inch", 12.5f, false, QByteArray("\x01\x00\xff", 3)},
                                         {TUnit::Point, "pt", 0.5f, true, "g"},
                                         {TUnit::Millimetre, "mm", 7, false, QByteArray()}}) {
    TDesignerSettings writer;
    writer.SetRulerUnit(c.Unit);
    writer.SetGridStep(c.Grid);
    writer.SetSnapToGrid(c.Snap);
    writer.SetWindowGeometry(c.Geometry);
    writer.SetWindowState("state");
    const TDesignerSettings reader;  // a second designer reads the file
    EXPECT_EQ(reader.RulerUnit(), c.Unit);
    EXPECT_EQ(reader.GridStep(), c.Grid);
    EXPECT_EQ(reader.SnapToGrid(), c.Snap);
    EXPECT_EQ(reader.WindowGeometry(), c.Geometry);
    EXPECT_EQ(reader.WindowState(), "state");
    EXPECT_EQ(QSettings(QString::fromStdString(reader.FileName()), QSettings::IniFormat).value("RulerUnit"), c.Stored);
  }
  // What a person may write in the file by hand.
  QSettings file(QString::fromStdString(FormwrightSettingsFile()), QSettings::IniFormat);
  file.setValue("RulerUnit", "in");
  file.setValue("GridStep", "-2");
  file.sync();
  EXPECT_EQ(TDesignerSettings().RulerUnit(), TUnit::Inch);
  EXPECT_EQ(TDesignerSettings().GridStep(), 10);
  file.setValue("RulerUnit", "furlong");
  file.sync();
  EXPECT_EQ(TDesignerSettings().RulerUnit(), TUnit::Millimetre);
}

TEST(DesignerSettings, RecentFilesMostRecentFirstAtMostTenThatExist) {
  test::TTempDir dir;
  TEnv xdg("XDG_CONFIG_HOME", dir.File("config"));
  std::vector<std::string> files;
  for (int i = 0; i < 12; ++i) files.push_back(dir.Write("r" + std::to_string(i) + ".qdr", "{}"));
  TDesignerSettings settings;
  for (const std::string& f : files) settings.AddRecentFile(f);
  std::vector<std::string> expected(files.rbegin(), files.rbegin() + 10);
  EXPECT_EQ(settings.RecentFiles(), expected);

  // Opened again: it moves to the front, once.
  settings.AddRecentFile(files[5]);
  expected.erase(std::find(expected.begin(), expected.end(), files[5]));
  expected.insert(expected.begin(), files[5]);
  EXPECT_EQ(TDesignerSettings().RecentFiles(), expected);

  // A relative name is kept absolute.
  const auto cwd = std::filesystem::current_path();
  std::filesystem::current_path(dir.Path);
  settings.AddRecentFile("r0.qdr");
  std::filesystem::current_path(cwd);
  expected.insert(expected.begin(), files[0]);
  expected.pop_back();
  EXPECT_EQ(settings.RecentFiles(), expected);

  // A file that went away is not listed; the others move up.
  std::filesystem::remove(files[11]);
  std::erase(expected, files[11]);
  EXPECT_EQ(settings.RecentFiles(), expected);
  settings.RemoveRecentFile(files[5]);
  std::erase(expected, files[5]);
  EXPECT_EQ(settings.RecentFiles(), expected);
  settings.ClearRecentFiles();
  EXPECT_TRUE(TDesignerSettings().RecentFiles().empty());
}

}  // namespace
}  // namespace quillet::designer
