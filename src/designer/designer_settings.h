// The designer's own settings, kept between runs in formwright.conf beside the designer
// locator's Quillet.conf ($XDG_CONFIG_HOME/Quillet/, ~/.config/Quillet/ without it): the recently
// used reports, the ruler's unit, the grid and the window's geometry. Every read and write goes to
// the file at once, so two designers running side by side see each other's recent files.
#pragma once

#include <QByteArray>
#include <string>
#include <vector>

#include "designer/design_surface.h"

namespace quillet::designer {

// The file the settings live in ("" when the user has no configuration folder).
std::string FormwrightSettingsFile();

class TDesignerSettings {
 public:
  static constexpr int kMaxRecentFiles = 10;

  // The settings in FileName; the user's file by default. With no file at all, every value reads
  // as its default and writes are dropped.
  explicit TDesignerSettings(std::string FileName = FormwrightSettingsFile());

  const std::string& FileName() const noexcept { return FFileName; }

  // Most recent first, at most kMaxRecentFiles. Files that do not exist (now) are left out; they
  // stay remembered until newer ones push them off the list.
  std::vector<std::string> RecentFiles() const;
  // Puts File (made absolute) first; an entry already there moves up.
  void AddRecentFile(const std::string& File);
  void RemoveRecentFile(const std::string& File);
  void ClearRecentFiles();

  // The surface's ruler unit, kept as "mm", "inch" or "pt"; millimetres by default (and for
  // anything else).
  TUnit RulerUnit() const;
  void SetRulerUnit(TUnit Unit);
  // The grid step in points; by default a new page's grid size (10), also for a value that is not
  // a positive number.
  float GridStep() const;
  void SetGridStep(float Points);
  bool SnapToGrid() const;  // default on
  void SetSnapToGrid(bool On);
  // QWidget::saveGeometry and QMainWindow::saveState of the main window; empty when never saved.
  QByteArray WindowGeometry() const;
  void SetWindowGeometry(const QByteArray& Geometry);
  QByteArray WindowState() const;
  void SetWindowState(const QByteArray& State);

 private:
  std::vector<std::string> StoredRecentFiles() const;
  void StoreRecentFiles(const std::vector<std::string>& Files);

  std::string FFileName;
};

}  // namespace quillet::designer
