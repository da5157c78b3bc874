#include "registration/qt/designer_locator.h"

#include <QApplication>
#include <QFileDialog>
#include <QSettings>
#include <QString>

#include <cstdlib>
#include <filesystem>
#include <vector>

#include "base/platform.h"
#include "engine/designer_bridge.h"
#include "registration/design_time.h"

namespace quillet {

namespace {

std::string GSettingsFile;  // set by SetDesignerSettingsFile; "" for the user's file

const char* const kSettingsKey = "DesignerPath";

// The folders a host lists in these options are searched, in this order.
const char* const kHostPathOptions[] = {"LibraryPath",        "BrowsingPath",       "LibraryPath_Win32",
                                        "LibraryPath_Win64",  "BrowsingPath_Win32", "BrowsingPath_Win64"};

std::string Tidy(const std::string& Path) { return std::filesystem::path(Path).lexically_normal().string(); }

std::string Trim(const std::string& S) {
  const auto first = S.find_first_not_of(" \t");
  if (first == std::string::npos) return {};
  return S.substr(first, S.find_last_not_of(" \t") - first + 1);
}

}  // namespace

std::string DesignerSettingsFile() {
  return GSettingsFile.empty() ? QuilletConfigFile("Quillet.conf") : GSettingsFile;
}

void SetDesignerSettingsFile(std::string FileName) { GSettingsFile = std::move(FileName); }

std::string ReadDesignerPathSetting() {
  const std::string file = DesignerSettingsFile();
  if (file.empty() || !IsExistingFile(file)) return {};
  const QSettings settings(QString::fromStdString(file), QSettings::IniFormat);
  return settings.value(kSettingsKey).toString().toStdString();
}

void WriteDesignerPathSetting(const std::string& Path) {
  const std::string file = DesignerSettingsFile();
  if (file.empty()) return;
  QSettings settings(QString::fromStdString(file), QSettings::IniFormat);
  settings.setValue(kSettingsKey, QString::fromStdString(Path));
  settings.sync();
}

std::string FindFormwrightExe(const IDesignHost* Host, bool AskUser) {
  const std::string name = kDesignerFileName;
  std::vector<std::string> candidates;
  candidates.push_back(ReadDesignerPathSetting());
  if (const char* env = std::getenv("QUILLET_DESIGNER")) candidates.emplace_back(env);
  const std::string module = ModuleFolder(reinterpret_cast<const void*>(&FindFormwrightExe));
  if (!module.empty()) {
    candidates.push_back(module + name);
    candidates.push_back(ParentFolder(module) + name);
    candidates.push_back(Tidy(module + "../bin/" + name));
  }
  candidates.push_back(FindOnPath(name));
  if (Host) {
    if (const std::string project = Host->ActiveProjectFile(); !project.empty()) {
      const std::string folder = FolderOf(std::filesystem::absolute(project).string());
      const std::string parent = ParentFolder(folder);
      candidates.push_back(folder + name);
      candidates.push_back(folder + "Designer/" + name);
      candidates.push_back(parent + "Designer/" + name);
      candidates.push_back(parent + name);
    }
    for (const char* option : kHostPathOptions) {
      const std::string value = Host->EnvironmentOption(option);
      size_t start = 0;
      while (start <= value.size()) {
        size_t end = value.find(';', start);
        if (end == std::string::npos) end = value.size();
        if (const std::string entry = Trim(value.substr(start, end - start)); !entry.empty()) {
          candidates.push_back(WithTrailingSlash(entry) + name);
          candidates.push_back(WithTrailingSlash(entry) + "Designer/" + name);
        }
        start = end + 1;
      }
    }
  }
  for (const std::string& c : candidates)
    if (IsExistingFile(c)) return c;

  if (!AskUser || !qobject_cast<QApplication*>(QCoreApplication::instance())) return {};
  const std::string chosen = AskDesignerLocation();
  if (!IsExistingFile(chosen)) return {};
  WriteDesignerPathSetting(chosen);
  return chosen;
}

std::string AskDesignerLocation() {
  const QString name = QString::fromUtf8(kDesignerFileName);
  QFileDialog dialog(nullptr, name + QStringLiteral(" konumunu secin"));
  dialog.setAcceptMode(QFileDialog::AcceptOpen);
  dialog.setFileMode(QFileDialog::ExistingFile);
  dialog.setNameFilter(name + QStringLiteral(" (") + name + QStringLiteral(")"));
  dialog.selectFile(name);
  if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return {};
  return dialog.selectedFiles().front().toStdString();
}

std::string DesignerNotFoundMessage() {
  return std::string(kDesignerFileName) +
         " bulunamadi.\r\n\r\nLutfen exe dosyasinin yolunu manuel olarak ayarlayin:\r\n"
         "  - Bu menuyu tekrar tiklayin > dosya secim penceresi cikar\r\n"
         "  - VEYA ayar dosyasi: " +
         DesignerSettingsFile() + ", DesignerPath\r\n  - VEYA env var: QUILLET_DESIGNER";
}

}  // namespace quillet
