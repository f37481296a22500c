#pragma once
// The delay board's text rules, apart from any widget: the delays file's
// lines, the rows of the list, and the 15-minute steps of a delay.
#include <QString>
#include <QStringList>
#include <QStringView>

namespace orvex::delays {

// A row of the list: zone name, TAB, delay, TAB.
QString row(QStringView name, QStringView delay);
QStringView rowName(QStringView row);
QStringView rowDelay(QStringView row);

// The file's text for these rows: every row that is not empty, each ended by
// CR LF.
QString delaysFileText(const QStringList &rows);

// `delay` moved by `minutes`. A text that is no time of day counts as 00:00.
// The time is a signed fraction of a day and a negative one shows as its
// absolute time, so "00:00" minus 15 is "00:15"; whole days are dropped, so
// "23:45" plus 15 is "00:00".
QString delayStepped(QStringView delay, int minutes);

} // namespace orvex::delays
