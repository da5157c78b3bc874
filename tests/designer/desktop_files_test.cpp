// The designer's desktop entry and the report file type, checked by the desktop's own tools
// (desktop-file-validate, xmllint, update-mime-database) and installed where desktops look.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "../support/test_support.h"

namespace quillet::designer {
namespace {

const std::string kDesktopDir = std::string(QUILLET_SOURCE_DIR) + "/src/designer/desktop/";
const std::string kEntry = kDesktopDir + "formwright.desktop";
const std::string kMimeXml = kDesktopDir + "quillet-report.xml";

std::string Quote(const std::string& S) { return "'" + S + "'"; }

// The keys of the [Desktop Entry] group.
std::map<std::string, std::string> EntryKeys(const std::string& File) {
  std::map<std::string, std::string> keys;
  std::ifstream in(File);
  std::string line;
  bool inEntry = false;
  while (std::getline(in, line)) {
    if (!line.empty() && line[0] == '[') inEntry = line == "[Desktop Entry]";
    const auto eq = line.find('=');
    if (inEntry && eq != std::string::npos) keys[line.substr(0, eq)] = line.substr(eq + 1);
  }
  return keys;
}

TEST(DesktopFiles, TheEntryIsValidAndOpensReports) {
  const auto keys = EntryKeys(kEntry);
  const std::map<std::string, std::string> expected = {{"Type", "Application"},
                                                       {"Name", "Formwright"},
                                                       {"GenericName", "Report Designer"},
                                                       {"Exec", "formwright %f"},
                                                       {"MimeType", "application/x-quillet-report;"},
                                                       {"Categories", "Development;Office;"}};
  for (const auto& [key, value] : expected) {
    ASSERT_TRUE(keys.count(key)) << key;
    EXPECT_EQ(keys.at(key), value) << key;
  }
  if (!test::HaveTool("desktop-file-validate"))
    GTEST_SKIP() << "desktop-file-validate not found (Debian package desktop-file-utils, scripts/install-deps.sh)";
  int status = -1;
  const std::string out = test::RunTool("desktop-file-validate " + Quote(kEntry) + " 2>&1", &status);
  EXPECT_EQ(status, 0) << out;
  EXPECT_EQ(out.find("error:"), std::string::npos) << out;
}

// The type declared for *.qdr, as a desktop's MIME database sees it after update-mime-database:
// the type the desktop entry names, a kind of JSON.
TEST(DesktopFiles, TheMimeTypeMakesQdrFilesReports) {
  if (!test::HaveTool("xmllint") || !test::HaveTool("update-mime-database"))
    GTEST_SKIP() << "xmllint or update-mime-database not found (Debian packages libxml2-utils and shared-mime-info, "
                    "scripts/install-deps.sh)";
  int status = -1;
  std::string out = test::RunTool("xmllint --noout " + Quote(kMimeXml) + " 2>&1", &status);
  EXPECT_EQ(status, 0) << out;

  test::TTempDir db;
  std::filesystem::create_directories(db.Path / "packages");
  std::filesystem::copy_file(kMimeXml, db.Path / "packages/quillet-report.xml");
  out = test::RunTool("update-mime-database " + Quote(db.Str()) + " 2>&1", &status);
  ASSERT_EQ(status, 0) << out;
  EXPECT_EQ(out.find("rror"), std::string::npos) << out;  // it reports bad entries and goes on
  std::ifstream globs(db.Path / "globs2"), subclasses(db.Path / "subclasses");
  std::stringstream g, s;
  g << globs.rdbuf();
  s << subclasses.rdbuf();
  EXPECT_NE(g.str().find(":application/x-quillet-report:*.qdr\n"), std::string::npos) << g.str();
  EXPECT_NE(s.str().find("application/x-quillet-report application/json\n"), std::string::npos) << s.str();
  EXPECT_TRUE(std::filesystem::exists(db.Path / "application/x-quillet-report.xml"));
}

// The install puts them where desktops look: share/applications and share/mime/packages.
TEST(DesktopFiles, InstalledUnderShare) {
  test::TTempDir prefix;
  int status = -1;
  const std::string out = test::RunTool("cmake --install " + Quote(QUILLET_BINARY_DIR) + " --prefix " +
                                            Quote(prefix.Str()) + " --component desktop 2>&1",
                                        &status);
  ASSERT_EQ(status, 0) << out;
  const auto installed = [&](const std::string& Rel, const std::string& Source) {
    std::ifstream a(prefix.Path / Rel, std::ios::binary), b(Source, std::ios::binary);
    std::stringstream sa, sb;
    sa << a.rdbuf();
    sb << b.rdbuf();
    EXPECT_FALSE(sa.str().empty()) << Rel;
    EXPECT_EQ(sa.str(), sb.str()) << Rel;
  };
  installed("share/applications/formwright.desktop", kEntry);
  installed("share/mime/packages/quillet-report.xml", kMimeXml);
}

}  // namespace
}  // namespace quillet::designer
