#include "delays/DelayRules.h"

#include <QTime>

#include <cstdlib>
#include <optional>

using namespace Qt::Literals::StringLiterals;

namespace orvex::delays {
namespace {

// Field `index` (0-based) of a TAB-separated text; empty when there are fewer.
QStringView field(QStringView text, int index)
{
    for (int i = 0; i < index; ++i) {
        const qsizetype tab = text.indexOf(u'\t');
        if (tab < 0)
            return {};
        text = text.sliced(tab + 1);
    }
    const qsizetype tab = text.indexOf(u'\t');
    return tab < 0 ? text : text.first(tab);
}

// Minutes since midnight of a time of day written as H:mm or H:mm:ss.
std::optional<int> minutesOf(QStringView text)
{
    for (const QString &format : {u"H:mm"_s, u"H:mm:ss"_s, u"H:m"_s}) {
        const QTime t = QTime::fromString(text.trimmed().toString(), format);
        if (t.isValid())
            return t.hour() * 60 + t.minute();
    }
    return std::nullopt;
}

} // namespace

QString row(QStringView name, QStringView delay)
{
    return name.toString() + u'\t' + delay + u'\t';
}

QStringView rowName(QStringView row)
{
    return field(row, 0);
}

QStringView rowDelay(QStringView row)
{
    return field(row, 1);
}

QString delaysFileText(const QStringList &rows)
{
    QString text;
    qsizetype size = 0;
    for (const QString &r : rows)
        size += r.size() + 2;
    text.reserve(size);
    for (const QString &r : rows) {
        if (!r.isEmpty())
            text += r + u"\r\n";
    }
    return text;
}

QString delayStepped(QStringView delay, int minutes)
{
    const int moved = std::abs(minutesOf(delay).value_or(0) + minutes) % (24 * 60);
    return QTime(moved / 60, moved % 60).toString(u"HH:mm"_s);
}

} // namespace orvex::delays
