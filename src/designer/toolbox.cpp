#include "designer/toolbox.h"

#include <QMimeData>
#include <QPainter>
#include <QPixmap>

namespace quillet::designer {

namespace {

// A small picture of each kind, drawn rather than shipped.
QIcon KindIcon(TRptElemType T) {
  QPixmap pm(20, 20);
  pm.fill(Qt::transparent);
  QPainter p(&pm);
  p.setRenderHint(QPainter::Antialiasing);
  p.setPen(QPen(QColor(0x30, 0x40, 0x58), 1.4));
  QFont f = p.font();
  f.setPixelSize(11);
  f.setBold(true);
  p.setFont(f);
  const QRectF r(3, 4, 14, 12);
  switch (T) {
    case retLabel: p.drawText(pm.rect(), Qt::AlignCenter, "A"); break;
    case retEdit: p.drawRect(r); p.drawLine(QPointF(6, 7), QPointF(6, 13)); break;
    case retRectangle: p.drawRect(r); break;
    case retRoundRect: p.drawRoundedRect(r, 4, 4); break;
    case retEllipse: p.drawEllipse(QRectF(2, 5, 16, 10)); break;
    case retCircle: p.drawEllipse(QRectF(4, 4, 12, 12)); break;
    case retLine: p.drawLine(QPointF(3, 16), QPointF(17, 4)); break;
    case retCheckBox: p.drawRect(QRectF(4, 4, 12, 12)); p.drawLine(QPointF(6, 10), QPointF(9, 13)); p.drawLine(QPointF(9, 13), QPointF(14, 6)); break;
    case retRadioButton: p.drawEllipse(QRectF(4, 4, 12, 12)); p.setBrush(QColor(0x30, 0x40, 0x58)); p.drawEllipse(QRectF(8, 8, 4, 4)); break;
    case retMemo: for (int y = 5; y <= 15; y += 3) p.drawLine(QPointF(3, y), QPointF(y == 14 ? 11 : 17, y)); break;
    case retImage: p.drawRect(r); p.drawLine(QPointF(4, 15), QPointF(9, 9)); p.drawLine(QPointF(9, 9), QPointF(16, 15)); break;
    case retBarcode: for (int x = 3; x <= 17; x += 2) p.drawLine(QPointF(x, 4), QPointF(x, 16)); break;
    case retQRCode: p.drawRect(QRectF(3, 3, 5, 5)); p.drawRect(QRectF(12, 3, 5, 5)); p.drawRect(QRectF(3, 12, 5, 5)); p.drawPoint(QPointF(14, 14)); break;
    case retTable: p.drawRect(r); p.drawLine(QPointF(3, 10), QPointF(17, 10)); p.drawLine(QPointF(10, 4), QPointF(10, 16)); break;
    case retSubreport: p.drawRect(r); p.drawRect(QRectF(6, 7, 8, 6)); break;
  }
  return QIcon(pm);
}

}  // namespace

TToolbox::TToolbox(QWidget* Parent) : QListWidget(Parent) {
  setDragEnabled(true);
  setDragDropMode(QAbstractItemView::DragOnly);
  setSelectionMode(QAbstractItemView::SingleSelection);
  setIconSize(QSize(20, 20));
  for (size_t i = 0; i < ElemTypeNames.size(); ++i) {
    const auto type = static_cast<TRptElemType>(i);
    auto* item = new QListWidgetItem(KindIcon(type), QString::fromUtf8(ElemTypeNames[i].data(),
                                                                       static_cast<qsizetype>(ElemTypeNames[i].size())));
    item->setData(Qt::UserRole, static_cast<int>(i));
    item->setToolTip(tr("Click, then click on a band; or drag onto a band"));
    addItem(item);
  }
  connect(this, &QListWidget::itemClicked, this, [this](QListWidgetItem* Item) {
    emit ToolChosen(static_cast<TRptElemType>(Item->data(Qt::UserRole).toInt()));
  });
}

void TToolbox::ShowArmed(std::optional<TRptElemType> Type) {
  if (!Type) {
    clearSelection();
    setCurrentItem(nullptr);
    return;
  }
  setCurrentRow(static_cast<int>(*Type));
}

void TToolbox::startDrag(Qt::DropActions Actions) {
  QListWidget::startDrag(Actions);
  ShowArmed(std::nullopt);
  emit ToolChosen(std::nullopt);
}

QStringList TToolbox::mimeTypes() const { return {kElementMimeType}; }

QMimeData* TToolbox::mimeData(const QList<QListWidgetItem*>& Items) const {
  if (Items.isEmpty()) return nullptr;
  auto* data = new QMimeData;
  const auto i = static_cast<size_t>(Items.front()->data(Qt::UserRole).toInt());
  data->setData(kElementMimeType, QByteArray(ElemTypeNames.at(i).data(), static_cast<qsizetype>(ElemTypeNames[i].size())));
  return data;
}

}  // namespace quillet::designer
