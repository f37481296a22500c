#include "support/Clock.h"

#include <QtTest>

using namespace orvex;

class TestClock : public QObject
{
    Q_OBJECT
private slots:
    // Minutes count the minute boundaries crossed, not 60-second spans.
    void wholeMinutesCountBoundariesCrossed_data()
    {
        QTest::addColumn<QDateTime>("from");
        QTest::addColumn<QDateTime>("to");
        QTest::addColumn<qint64>("minutes");
        const QDate d(2026, 3, 2);
        const auto at = [d](int h, int m, int s) { return QDateTime(d, QTime(h, m, s)); };
        QTest::newRow("same minute") << at(10, 0, 0) << at(10, 0, 59) << qint64(0);
        QTest::newRow("one second, next minute") << at(10, 0, 59) << at(10, 1, 0) << qint64(1);
        QTest::newRow("backwards") << at(10, 1, 0) << at(10, 0, 59) << qint64(-1);
        QTest::newRow("next day") << at(23, 59, 0) << QDateTime(d.addDays(1), QTime(0, 1))
                                  << qint64(2);
        // A date never set is day zero: far in the past.
        QTest::newRow("never set")
            << QDateTime() << at(0, 0, 0) << qint64(QDate(1899, 12, 30).daysTo(d)) * 24 * 60;
    }
    void wholeMinutesCountBoundariesCrossed()
    {
        QFETCH(QDateTime, from);
        QFETCH(QDateTime, to);
        QTEST(wholeMinutesBetween(from, to), "minutes");
    }
};

QTEST_GUILESS_MAIN(TestClock)
#include "tst_clock.moc"
