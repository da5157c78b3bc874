// The bridge to the report designer, formwright, a program of its own: the description of an
// application's data sets that it reads (datasources.json), and starting it. The engine's
// DesignerExePath, OpenDesigner and OpenPreview are built on these; so is the "Design Report..."
// verb of the component editor.
//
// The designer is started with separate arguments, both paths absolute, in its own folder:
//   formwright REPORT.qdr [/ds:DATASOURCES.json]     design a report
//   formwright REPORT.qdr /preview                   preview it
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quillet {

class TDataSet;

// The designer's file name.
inline constexpr const char* kDesignerFileName = "formwright";

// The field names of DataSet in field order, or, when it has no field objects (a closed set),
// the names of its field definitions. Empty for no data set.
std::vector<std::string> ReadFieldNames(TDataSet* DataSet);

// The bytes of datasources.json for the parallel lists DataSets and Names: UTF-8 with a
// byte-order mark, a JSON array indented by 2 with one {"name", "fields"} object per data set,
// in order. An empty (or missing) name becomes "dataset" and the 1-based position: dataset2.
std::string DataSourcesJson(const std::vector<TDataSet*>& DataSets, const std::vector<std::string>& Names);
// Writes DataSourcesJson to FileName (atomically); failures raise EQuilletError.
void WriteDataSourcesJson(const std::vector<TDataSet*>& DataSets, const std::vector<std::string>& Names,
                          const std::string& FileName);

// One data set of a description: its name and its field names, in order.
struct TDataSourceSchema {
  std::string Name;
  std::vector<std::string> Fields;
  bool operator==(const TDataSourceSchema&) const = default;
};
// Reads what DataSourcesJson writes, tolerantly: the byte-order mark is optional, members other
// than "name" and "fields" are ignored, a name or field that is not a string is read as its JSON
// text, an entry that is not an object or has no name is skipped. Text that is not a JSON array,
// or nests deeper than kMaxDataSourcesNesting, raises EQuilletError("Invalid data source
// description") with the parser's line, column and reason in Detail.
inline constexpr int kMaxDataSourcesNesting = 64;
std::vector<TDataSourceSchema> ReadDataSourcesJson(std::string_view Text);
// The same for a file; the error carries FileName.
std::vector<TDataSourceSchema> ReadDataSourcesJsonFile(const std::string& FileName);

// Starts the designer Exe (which exists) on ReportFile (no argument when empty) without waiting
// for it, in Exe's folder. When DataSets is not empty, their description is written first to
// datasources.json in Exe's folder, or, when that folder cannot be written (a designer installed
// for the whole system), to quillet/datasources.json in the user's cache folder, and /ds: names
// the file. Writing raises EQuilletError when both fail; a program that does not start is not
// reported.
void StartDesigner(const std::string& Exe, const std::string& ReportFile, const std::vector<TDataSet*>& DataSets,
                   const std::vector<std::string>& Names);

}  // namespace quillet
