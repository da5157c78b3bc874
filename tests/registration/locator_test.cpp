// The designer search where a development environment helps: the folders around its active
// project and the folders of its library path options. The places that need no host are tried
// through the quillet program (design_command_test.cpp).
#include <gtest/gtest.h>

#include "designer_test_support.h"
#include "registration/design_time.h"
#include "registration/qt/designer_locator.h"

namespace quillet {
namespace {

using test::TTempDir;

class THost : public IDesignHost {
 public:
  void AddSplashText(const std::string&) override {}
  void RegisterComponents(const std::string&, const std::vector<TComponentClass>&) override {}
  void RegisterComponentEditor(const TComponentClass&, TComponentEditorFactory) override {}
  void RegisterPropertyEditor(const std::string&, const TComponentClass&, const std::string&,
                              TPropertyEditorFactory) override {}
  std::string ActiveProjectFile() const override { return Project; }
  std::string EnvironmentOption(const std::string& Name) const override {
    const auto it = Options.find(Name);
    return it == Options.end() ? std::string() : it->second;
  }

  std::string Project;
  std::map<std::string, std::string> Options;
};

TEST(FindFormwrightExe, ProjectFoldersAndLibraryPathsOfTheHost) {
  struct TCase {
    const char* What;
    std::vector<std::string> Designers;
    bool WithHost, WithProject;
    std::map<std::string, std::string> Options;  // "@" stands for the case folder
    std::string Found;
  };
  const std::vector<TCase> cases = {
      {"project folder", {"proj/src/formwright"}, true, true, {}, "proj/src/formwright"},
      {"project's Designer folder", {"proj/src/Designer/formwright"}, true, true, {}, "proj/src/Designer/formwright"},
      {"Designer folder above the project", {"proj/Designer/formwright", "proj/formwright"}, true, true, {},
       "proj/Designer/formwright"},
      {"folder above the project", {"proj/formwright"}, true, true, {}, "proj/formwright"},
      {"library path entries are trimmed, not split at spaces",
       {"lib one/formwright"}, true, false, {{"LibraryPath", " @/nothing; ;  @/lib one ;"}}, "lib one/formwright"},
      {"Designer folder of a 64-bit browsing path", {"b/Designer/formwright"}, true, false,
       {{"BrowsingPath_Win64", "@/b"}}, "b/Designer/formwright"},
      {"project before library paths", {"proj/formwright", "lib2/formwright"}, true, true, {{"LibraryPath", "@/lib2"}},
       "proj/formwright"},
      {"LibraryPath before BrowsingPath", {"b/formwright", "lib2/formwright"}, true, false,
       {{"BrowsingPath", "@/b"}, {"LibraryPath", "@/lib2"}}, "lib2/formwright"},
      {"a folder before its Designer folder", {"b/Designer/formwright", "b/formwright"}, true, false,
       {{"LibraryPath_Win32", "@/b/"}}, "b/formwright"},
      {"no host", {"proj/src/formwright"}, false, false, {}, ""},
      {"a host without a project", {"proj/src/formwright"}, true, false, {}, ""},
  };
  TTempDir emptyPath;
  test::TScopedEnv env({{"PATH", emptyPath.Str()}, {"QUILLET_DESIGNER", std::nullopt}});
  for (const TCase& c : cases) {
    SCOPED_TRACE(c.What);
    TTempDir dir;  // and no remembered designer: its settings file does not exist
    const std::string root = dir.Str() + "/";
    SetDesignerSettingsFile(root + "Quillet.conf");
    for (const std::string& d : c.Designers) test::WriteStandIn(root + d);
    THost host;
    if (c.WithProject) host.Project = root + "proj/src/app.dproj";
    for (auto [name, value] : c.Options) {
      for (size_t p; (p = value.find('@')) != std::string::npos;) value.replace(p, 1, dir.Str());
      host.Options[name] = value;
    }
    const std::string found = FindFormwrightExe(c.WithHost ? &host : nullptr, false);
    EXPECT_EQ(found, c.Found.empty() ? std::string() : root + c.Found);
    EXPECT_FALSE(test::fs::exists(root + "Quillet.conf"));
  }
  SetDesignerSettingsFile("");
}

}  // namespace
}  // namespace quillet
