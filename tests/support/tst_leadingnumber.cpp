#include "support/LeadingNumber.h"

#include <QTest>

#include <limits>

using namespace orvex;
using namespace Qt::StringLiterals;

class TestLeadingNumber : public QObject
{
    Q_OBJECT

private slots:
    // Every row is read both as text and as its UTF-8 bytes; the two differ
    // only in which blanks may come first.
    void reads_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<quint64>("limit");
        QTest::addColumn<OnOverflow>("onOverflow");
        QTest::addColumn<qint64>("asText");
        QTest::addColumn<qint64>("asBytes");
        const auto row = [](const char *name, const QString &text, quint64 limit,
                            OnOverflow onOverflow, qint64 asText, qint64 asBytes) {
            QTest::newRow(name) << text << limit << onOverflow << asText << asBytes;
        };
        const auto sat = OnOverflow::Saturate, zero = OnOverflow::Zero,
                   keep = OnOverflow::KeepDigitsRead;
        const quint64 all = std::numeric_limits<quint64>::max();
        const qint64 max = std::numeric_limits<qint64>::max();
        row("plus sign, leading zeros", u"+0000000000000000000000042"_s, 100, zero, 42, 42);
        row("blanks, sign, text after", u"  -7.5"_s, 100, zero, -7, -7);
        row("no digits", u"abc"_s, 100, sat, 0, 0);
        row("digit of another script", u"\u0663"_s, 100, sat, 0, 0);
        row("line feed first: text only", u"\n9"_s, 100, zero, 9, 0);
        row("no-break space first: text only", u"\u00A05"_s, 100, zero, 5, 0);
        row("at the limit", u"100"_s, 100, zero, 100, 100);
        row("negative at the limit", u"-100"_s, 100, zero, -100, -100);
        row("over, negative, saturated", u"-12345"_s, 100, sat, -100, -100);
        row("over, zero", u"101"_s, 100, zero, 0, 0);
        row("over, digits read kept", u"1019"_s, 100, keep, 10, 10);
        row("limit beyond 64 bits: the signed maximum", u"99999999999999999999"_s, all, sat, max,
            max);
        row("signed maximum, negative", u"-9223372036854775807"_s, all, zero, -max, -max);
    }
    void reads()
    {
        QFETCH(QString, text);
        QFETCH(quint64, limit);
        QFETCH(OnOverflow, onOverflow);
        const QByteArray bytes = text.toUtf8();
        QTEST(leadingNumber(QStringView(text), limit, onOverflow), "asText");
        QTEST(leadingNumber(QByteArrayView(bytes), limit, onOverflow), "asBytes");
    }
};

QTEST_GUILESS_MAIN(TestLeadingNumber)
#include "tst_leadingnumber.moc"
