// The toolbox: one entry per element kind. A click arms the kind for the design surface's next
// click on a band; dragging an entry onto a band places one there.
#pragma once

#include <QListWidget>
#include <optional>

#include "reportdef/report_model.h"

namespace quillet::designer {

class TToolbox : public QListWidget {
  Q_OBJECT

 public:
  explicit TToolbox(QWidget* Parent = nullptr);
  // Shows Type as armed (nullopt: none).
  void ShowArmed(std::optional<TRptElemType> Type);

 signals:
  void ToolChosen(std::optional<TRptElemType> Type);

 protected:
  QMimeData* mimeData(const QList<QListWidgetItem*>& Items) const override;
  QStringList mimeTypes() const override;
  // A dragged entry is not armed: its highlight goes when the drag ends.
  void startDrag(Qt::DropActions Actions) override;
};

// The MIME type a toolbox entry is dragged as; the data is the kind's file spelling ("Label").
inline constexpr const char* kElementMimeType = "application/x-formwright-element";

}  // namespace quillet::designer
