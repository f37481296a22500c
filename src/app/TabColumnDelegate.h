#pragma once
#include <QStyledItemDelegate>

namespace orvex {

// Draws a list line "name<TAB>state" as two aligned columns, the state in a
// colour that tells good from bad at a glance.
class TabColumnDelegate : public QStyledItemDelegate
{
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
};

} // namespace orvex
