// What several fuzz targets share: a private scratch folder per process (removed at exit), writing
// an input into a file there, and keeping the file names a report mentions inside that folder.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "reportdef/report_model.h"

namespace quillet_fuzz {

// A fresh folder under the system's temporary folder, made on first use and removed (with all
// it holds) when the process exits.
inline const std::string& ScratchDir() {
  // Never destroyed: the exit handler that removes the folder runs after static destructors.
  static const std::string* dir = [] {
    auto* t = new std::string((std::filesystem::temp_directory_path() / "quillet-fuzz.XXXXXX").string());
    if (!::mkdtemp(t->data())) std::abort();
    std::atexit([] {
      std::error_code ec;
      std::filesystem::remove_all(ScratchDir(), ec);
    });
    return t;
  }();
  return *dir;
}

// ScratchDir()/Name.
inline std::string ScratchPath(std::string_view Name) {
  return (std::filesystem::path(ScratchDir()) / std::string(Name)).string();
}

// Writes Bytes to ScratchDir()/Name, replacing what was there; false when it cannot.
inline bool WriteScratch(std::string_view Name, std::string_view Bytes) {
  FILE* f = std::fopen(ScratchPath(Name).c_str(), "wb");
  if (!f) return false;
  const bool ok = std::fwrite(Bytes.data(), 1, Bytes.size(), f) == Bytes.size();
  return std::fclose(f) == 0 && ok;
}

// A file name from a report, made to stay inside the scratch folder: only its last component is
// kept (so no absolute path and no ".." survives), and a last component that is "." or ".."
// becomes "missing". An empty name stays empty.
inline std::string KeepInside(const std::string& Name) {
  if (Name.empty()) return Name;
  const size_t cut = Name.find_last_of("/\\");
  std::string base = cut == std::string::npos ? Name : Name.substr(cut + 1);
  if (const size_t nul = base.find('\0'); nul != std::string::npos) base.resize(nul);
  if (base.empty() || base == "." || base == "..") return "missing";
  return base;
}

// Rewrites every file name of Page (image files, subreport files) with KeepInside.
inline void KeepFilesInside(quillet::TReportPage& Page) {
  for (auto& band : Page.Bands)
    for (auto& el : band->Elements) {
      el->ImageFile = KeepInside(el->ImageFile);
      el->SubReportFile = KeepInside(el->SubReportFile);
    }
}

// Splits Data at every Cut into at most MaxParts parts (the last part keeps any further cuts).
inline std::vector<std::string_view> SplitInput(std::string_view Data, std::string_view Cut, size_t MaxParts) {
  std::vector<std::string_view> parts;
  while (parts.size() + 1 < MaxParts) {
    const size_t at = Data.find(Cut);
    if (at == std::string_view::npos) break;
    parts.push_back(Data.substr(0, at));
    Data.remove_prefix(at + Cut.size());
  }
  parts.push_back(Data);
  return parts;
}

}  // namespace quillet_fuzz
