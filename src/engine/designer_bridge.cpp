#include "engine/designer_bridge.h"

#include <filesystem>
#include <nlohmann/json.hpp>

#include "base/error.h"
#include "base/file_io.h"
#include "base/json_shape.h"
#include "base/platform.h"
#include "base/utf8.h"
#include "data/data_set.h"
#include "engine/report_engine.h"
#include "registration/rpt_data_set.h"

namespace quillet {

namespace {

std::string AbsolutePath(const std::string& Path) {
  return std::filesystem::absolute(Path).lexically_normal().string();
}

// Writes the description beside the designer, else into the user's cache; returns the file.
std::string WriteDesignerDataSources(const std::string& DesignerFolder, const std::vector<TDataSet*>& DataSets,
                                     const std::vector<std::string>& Names) {
  const std::string bytes = DataSourcesJson(DataSets, Names);
  const std::string beside = DesignerFolder + "datasources.json";
  try {
    WriteFileAtomic(beside, bytes);
    return beside;
  } catch (const EQuilletError&) {
    const std::string cache = UserCacheFolder();
    if (cache.empty()) throw;
    std::error_code ec;
    std::filesystem::create_directories(cache + "quillet", ec);
    const std::string inCache = cache + "quillet/datasources.json";
    WriteFileAtomic(inCache, bytes);
    return inCache;
  }
}

void ShowDesignerNotFound(TReportEngine& Engine, const std::string& Exe) {
  Engine.ShowMessage(std::string(kDesignerFileName) + " not found.\r\nPlace it here: " + FolderOf(Exe));
}

}  // namespace

std::vector<std::string> ReadFieldNames(TDataSet* DataSet) {
  std::vector<std::string> names;
  if (!DataSet) return names;
  if (const int count = DataSet->FieldCount(); count > 0) {
    names.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) names.push_back(DataSet->Fields(i).FieldName());
    return names;
  }
  for (const TFieldDef& def : DataSet->FieldDefs()) names.push_back(def.Name);
  return names;
}

std::string DataSourcesJson(const std::vector<TDataSet*>& DataSets, const std::vector<std::string>& Names) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (size_t i = 0; i < DataSets.size(); ++i) {
    nlohmann::ordered_json entry = nlohmann::ordered_json::object();
    const std::string name = i < Names.size() ? Names[i] : std::string();
    entry["name"] = name.empty() ? "dataset" + std::to_string(i + 1) : name;
    entry["fields"] = ReadFieldNames(DataSets[i]);
    list.push_back(std::move(entry));
  }
  return "\xEF\xBB\xBF" + list.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

void WriteDataSourcesJson(const std::vector<TDataSet*>& DataSets, const std::vector<std::string>& Names,
                          const std::string& FileName) {
  WriteFileAtomic(FileName, DataSourcesJson(DataSets, Names));
}

void StartDesigner(const std::string& Exe, const std::string& ReportFile, const std::vector<TDataSet*>& DataSets,
                   const std::vector<std::string>& Names) {
  // The designer runs in its own folder, so every path it is given is absolute.
  const std::string exe = AbsolutePath(Exe);
  const std::string folder = FolderOf(exe);
  std::vector<std::string> args;
  if (!ReportFile.empty()) args.push_back(AbsolutePath(ReportFile));
  if (!DataSets.empty()) args.push_back("/ds:" + WriteDesignerDataSources(folder, DataSets, Names));
  StartDetached(exe, args, folder);
}

// ---- The engine's operations ---------------------------------------------------------------

std::string TReportEngine::DesignerExePath() const {
  if (!FDesignerExe.empty() && IsExistingFile(FDesignerExe)) return FDesignerExe;
  const std::string name = kDesignerFileName;
  const std::string exeFolder = ExecutableFolder();
  if (IsExistingFile(exeFolder + name)) return exeFolder + name;
  const std::string inDesigner = "Designer/" + name;
  if (IsExistingFile(exeFolder + inDesigner)) return exeFolder + inDesigner;
  if (!exeFolder.empty()) {
    for (std::string folder = exeFolder;;) {
      if (IsExistingFile(folder + inDesigner)) return folder + inDesigner;
      const std::string parent = ParentFolder(folder);
      if (parent == folder) break;
      folder = parent;
    }
  }
  // An installed designer: in the bin folder beside the library's lib folder, or on PATH.
  const std::string module = ModuleFolder(reinterpret_cast<const void*>(&ReadFieldNames));
  if (!module.empty()) {
    const std::string bin = std::filesystem::path(module + "../bin/" + name).lexically_normal().string();
    if (IsExistingFile(bin)) return bin;
  }
  if (std::string onPath = FindOnPath(name); !onPath.empty()) return onPath;
  return exeFolder + name;
}

void TReportEngine::OpenDesigner(const std::string& ReportFile, TComponent* Owner) {
  const std::string exe = DesignerExePath();
  if (!IsExistingFile(exe)) {
    ShowDesignerNotFound(*this, exe);
    return;
  }
  std::vector<TDataSet*> sets;
  std::vector<std::string> names;
  if (Owner) {
    for (TComponent* c : Owner->Components()) {
      auto* link = dynamic_cast<TRptDataSet*>(c);
      if (!link || !link->DataSet()) continue;
      if (link->ReportEngine() && link->ReportEngine() != this) continue;
      sets.push_back(link->DataSet());
      names.push_back(link->EffectiveName());
    }
  }
  StartDesigner(exe, ReportFile, sets, names);
}

void TReportEngine::OpenPreview(const std::string& ReportFile) {
  const std::string exe = DesignerExePath();
  if (!IsExistingFile(exe)) {
    ShowDesignerNotFound(*this, exe);
    return;
  }
  if (ReportFile.empty()) return;
  const std::string absolute = AbsolutePath(exe);
  StartDetached(absolute, {AbsolutePath(ReportFile), "/preview"}, FolderOf(absolute));
}

}  // namespace quillet

namespace quillet {

namespace {

const char* const kInvalidDescription = "Invalid data source description";

std::string TextOf(const nlohmann::json& V) { return V.is_string() ? V.get<std::string>() : V.dump(); }

}  // namespace

std::vector<TDataSourceSchema> ReadDataSourcesJson(std::string_view Text) {
  Text = StripBom(Text);
  // The parser recurses per level: the depth is bounded before it runs.
  if (MeasureJsonShape(Text).Depth > static_cast<size_t>(kMaxDataSourcesNesting))
    throw EQuilletError(kInvalidDescription, std::string(), -1,
                        "nested deeper than " + std::to_string(kMaxDataSourcesNesting) + " levels");
  nlohmann::json root;
  try {
    root = nlohmann::json::parse(Text.begin(), Text.end());
  } catch (const nlohmann::json::parse_error& e) {
    std::string detail = e.what();
    if (const size_t at = detail.find("at line "); at != std::string::npos) detail.erase(0, at + 3);
    throw EQuilletError(kInvalidDescription, std::string(), e.byte > 0 ? static_cast<int64_t>(e.byte) - 1 : 0,
                        detail);
  } catch (const nlohmann::json::exception& e) {
    // Anything else the parser raises (a number beyond the range of a double) is a bad file too.
    throw EQuilletError(kInvalidDescription, std::string(), -1, e.what());
  }
  if (!root.is_array()) throw EQuilletError(kInvalidDescription, std::string(), -1, "not a JSON array");
  std::vector<TDataSourceSchema> out;
  for (const auto& entry : root) {
    if (!entry.is_object()) continue;
    const auto name = entry.find("name");
    if (name == entry.end() || name->is_null()) continue;
    TDataSourceSchema s;
    s.Name = TextOf(*name);
    if (s.Name.empty()) continue;
    if (const auto fields = entry.find("fields"); fields != entry.end() && fields->is_array())
      for (const auto& f : *fields) s.Fields.push_back(TextOf(f));
    out.push_back(std::move(s));
  }
  return out;
}

std::vector<TDataSourceSchema> ReadDataSourcesJsonFile(const std::string& FileName) {
  const std::string bytes = ReadWholeFile(FileName);
  try {
    return ReadDataSourcesJson(bytes);
  } catch (const EQuilletError& e) {
    throw EQuilletError(e.what(), FileName, e.Offset(), e.Detail());
  }
}

}  // namespace quillet
