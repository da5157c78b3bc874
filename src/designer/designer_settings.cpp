#include "designer/designer_settings.h"

#include <QSettings>
#include <QString>
#include <QStringList>
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>

#include "base/platform.h"
#include "reportdef/report_model.h"

namespace quillet::designer {

namespace {

const char* const kRecentFiles = "RecentFiles";
const char* const kRulerUnit = "RulerUnit";
const char* const kGridStep = "GridStep";
const char* const kSnapToGrid = "SnapToGrid";
const char* const kGeometry = "Window/Geometry";
const char* const kState = "Window/State";

QString Utf8(const std::string& S) { return QString::fromUtf8(S.data(), static_cast<qsizetype>(S.size())); }

// The file as QSettings; null without a file.
std::unique_ptr<QSettings> Open(const std::string& File) {
  if (File.empty()) return nullptr;
  return std::make_unique<QSettings>(Utf8(File), QSettings::IniFormat);
}

QVariant Read(const std::string& File, const char* Key, const QVariant& Default = {}) {
  // Reading never creates the file.
  if (!IsExistingFile(File)) return Default;
  return Open(File)->value(Key, Default);
}

void Write(const std::string& File, const char* Key, const QVariant& Value) {
  if (auto s = Open(File)) {
    s->setValue(Key, Value);
    s->sync();
  }
}

std::string Absolute(const std::string& File) {
  std::error_code ec;
  const auto p = std::filesystem::absolute(File, ec);
  return ec ? File : p.lexically_normal().string();
}

}  // namespace

std::string FormwrightSettingsFile() { return QuilletConfigFile("formwright.conf"); }

TDesignerSettings::TDesignerSettings(std::string FileName) : FFileName(std::move(FileName)) {}

std::vector<std::string> TDesignerSettings::StoredRecentFiles() const {
  std::vector<std::string> r;
  for (const QString& f : Read(FFileName, kRecentFiles).toStringList())
    if (!f.isEmpty()) r.push_back(f.toStdString());
  return r;
}

void TDesignerSettings::StoreRecentFiles(const std::vector<std::string>& Files) {
  QStringList list;
  for (const std::string& f : Files) {
    if (list.size() == kMaxRecentFiles) break;
    list << Utf8(f);
  }
  Write(FFileName, kRecentFiles, list);
}

std::vector<std::string> TDesignerSettings::RecentFiles() const {
  std::vector<std::string> r;
  for (const std::string& f : StoredRecentFiles())
    if (r.size() < kMaxRecentFiles && IsExistingFile(f)) r.push_back(f);
  return r;
}

void TDesignerSettings::AddRecentFile(const std::string& File) {
  if (File.empty()) return;
  const std::string file = Absolute(File);
  std::vector<std::string> files = StoredRecentFiles();
  files.erase(std::remove(files.begin(), files.end(), file), files.end());
  files.insert(files.begin(), file);
  StoreRecentFiles(files);
}

void TDesignerSettings::RemoveRecentFile(const std::string& File) {
  std::vector<std::string> files = StoredRecentFiles();
  const std::string file = Absolute(File);
  files.erase(std::remove_if(files.begin(), files.end(), [&](const std::string& f) { return f == file || f == File; }),
              files.end());
  StoreRecentFiles(files);
}

void TDesignerSettings::ClearRecentFiles() { StoreRecentFiles({}); }

TUnit TDesignerSettings::RulerUnit() const {
  return UnitFromName(Read(FFileName, kRulerUnit).toString().toStdString());
}

void TDesignerSettings::SetRulerUnit(TUnit Unit) {
  // The file spells inches out; the rulers' short name is "in".
  Write(FFileName, kRulerUnit, Unit == TUnit::Inch ? "inch" : UnitName(Unit));
}

float TDesignerSettings::GridStep() const {
  bool ok = false;
  const float step = Read(FFileName, kGridStep).toFloat(&ok);
  return ok && step > 0 && std::isfinite(step) ? step : static_cast<float>(TReportPage().GridSize);
}

void TDesignerSettings::SetGridStep(float Points) { Write(FFileName, kGridStep, static_cast<double>(Points)); }

bool TDesignerSettings::SnapToGrid() const { return Read(FFileName, kSnapToGrid, true).toBool(); }

void TDesignerSettings::SetSnapToGrid(bool On) { Write(FFileName, kSnapToGrid, On); }

QByteArray TDesignerSettings::WindowGeometry() const { return Read(FFileName, kGeometry).toByteArray(); }

void TDesignerSettings::SetWindowGeometry(const QByteArray& Geometry) { Write(FFileName, kGeometry, Geometry); }

QByteArray TDesignerSettings::WindowState() const { return Read(FFileName, kState).toByteArray(); }

void TDesignerSettings::SetWindowState(const QByteArray& State) { Write(FFileName, kState, State); }

}  // namespace quillet::designer
