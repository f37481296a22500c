#include "app/TabColumnDelegate.h"

#include <QApplication>
#include <QPainter>

namespace orvex {
namespace {

QColor stateColour(const QString &state, const QPalette &palette)
{
    if (state == QStringLiteral("OK"))
        return QColor(0x1B, 0x7F, 0x2A);
    if (state.startsWith(QStringLiteral("DNS:Error/NET:OK")))
        return QColor(0xB3, 0x6B, 0x00);
    if (state.startsWith(QStringLiteral("DNS:Error")))
        return QColor(0xC0, 0x1C, 0x1C);
    return palette.color(QPalette::Disabled, QPalette::Text);
}

} // namespace

void TabColumnDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                              const QModelIndex &index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    const QString text = opt.text;
    opt.text.clear();
    const QWidget *widget = opt.widget;
    QStyle *style = widget ? widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &opt, painter, widget);

    const qsizetype tab = text.indexOf(u'\t');
    const QString name = tab < 0 ? text : text.left(tab);
    const QString state = tab < 0 ? QString() : text.mid(tab + 1);

    const QRect r = opt.rect.adjusted(6, 0, -6, 0);
    const int stateX = r.left() + r.width() * 11 / 20;
    painter->save();
    painter->setPen(opt.palette.color(QPalette::Text));
    painter->drawText(QRect(r.left(), r.top(), stateX - r.left() - 8, r.height()),
                      Qt::AlignVCenter | Qt::AlignLeft,
                      opt.fontMetrics.elidedText(name, Qt::ElideRight, stateX - r.left() - 8));
    QFont bold = opt.font;
    bold.setBold(true);
    painter->setFont(bold);
    painter->setPen(stateColour(state, opt.palette));
    painter->drawText(QRect(stateX, r.top(), r.right() - stateX, r.height()),
                      Qt::AlignVCenter | Qt::AlignLeft, state);
    painter->restore();
}

QSize TabColumnDelegate::sizeHint(const QStyleOptionViewItem &option,
                                  const QModelIndex &index) const
{
    QSize s = QStyledItemDelegate::sizeHint(option, index);
    s.setHeight(std::max(s.height(), option.fontMetrics.height() + 10));
    return s;
}

} // namespace orvex
