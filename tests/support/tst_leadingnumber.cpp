#include "support/LeadingNumber.h"

#include <QTest>

#include <limits>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

constexpr qint64 kMax64 = std::numeric_limits<qint64>::max();

} // namespace

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
        row("plain", u"42"_s, 100, zero, 42, 42);
        row("blanks, sign, text after", u"  -7x"_s, 100, zero, -7, -7);
        row("plus sign", u"+15"_s, 100, zero, 15, 15);
        row("stops at the first non-digit", u"12 34"_s, 100, zero, 12, 12);
        row("leading zeros", u"0000000000000000000000042"_s, 100, zero, 42, 42);
        row("no digits", u"abc"_s, 100, sat, 0, 0);
        row("empty", QString(), 100, sat, 0, 0);
        row("sign only", u"-"_s, 100, sat, 0, 0);
        row("blank after the sign", u"- 5"_s, 100, sat, 0, 0);
        row("two signs", u"+-5"_s, 100, sat, 0, 0);
        row("decimal point ends it", u"3.9"_s, 100, sat, 3, 3);
        row("digit of another script", u"\u0663"_s, 100, sat, 0, 0);
        row("tab first", u"\t9"_s, 100, zero, 9, 9);
        row("line feed first: text only", u"\n9"_s, 100, zero, 9, 0);
        row("no-break space first: text only", u"\u00A05"_s, 100, zero, 5, 0);

        row("at the limit", u"100"_s, 100, zero, 100, 100);
        row("negative at the limit", u"-100"_s, 100, zero, -100, -100);
        row("over, saturated", u"101"_s, 100, sat, 100, 100);
        row("over, negative, saturated", u"-12345"_s, 100, sat, -100, -100);
        row("over, zero", u"101"_s, 100, zero, 0, 0);
        row("over, negative, zero", u"-101"_s, 100, zero, 0, 0);
        row("over, digits read kept", u"1019"_s, 100, keep, 10, 10);
        row("limit 0", u"7"_s, 0, sat, 0, 0);
        row("limit 0, digits kept", u"7"_s, 0, keep, 0, 0);
        row("limit beyond 64 bits is the signed maximum", u"99999999999999999999"_s,
            std::numeric_limits<quint64>::max(), sat, kMax64, kMax64);
        row("signed maximum, negative", u"-9223372036854775807"_s,
            std::numeric_limits<quint64>::max(), zero, -kMax64, -kMax64);

        // The callers' rules.
        row("port: saturates at 32 bits", u"2147483648"_s, 2147483647, sat, 2147483647, 2147483647);
        row("interval: magnitude 32768 read", u"32768"_s, 32768, zero, 32768, 32768);
        row("interval: 16-bit minimum", u"-32768"_s, 32768, zero, -32768, -32768);
        row("interval: below the minimum", u"-32769"_s, 32768, zero, 0, 0);
        row("length: beyond 32 bits", u"4294967296"_s, 2147483647, zero, 0, 0);
        const quint64 lastSafe = (kMax64 - 9) / 10 * 10 + 9;
        row("progress: stops before 64 bits could overflow", u"9223372036854775807"_s, lastSafe,
            keep, 922337203685477580, 922337203685477580);
        row("progress: largest read whole", u"9223372036854775799"_s, lastSafe, keep,
            9223372036854775799, 9223372036854775799);
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
