#include "common/TestSupport.h"
#include "support/AddsUtilities.h"
#include "support/Clock.h"
#include "support/LeadingNumber.h"

#include <QtTest>

#include <limits>
#include <numeric>

using namespace orvex;
using namespace Qt::StringLiterals;

class tst_Utilities : public QObject
{
    Q_OBJECT

    AddsUtilities m_utils;

private slots:
    // "A" everywhere, "L" at the start, "T" at the end (on the reversed text,
    // without reversing the find or the result), "B" both.
    void translate()
    {
        const QString x = u"xxaxbxx"_s, smile = u"\U0001F600"_s;
        // Text, find, replacement, mode, result.
        const QString rows[][5] = {{x, u"x"_s, u"-"_s, u"A"_s, u"--a-b--"_s},
                                   {x, u"x"_s, QString(), u"L"_s, u"axbxx"_s},
                                   {x, u"X"_s, QString(), u"B"_s, x},
                                   {u"cabab"_s, u"ab"_s, u"12"_s, u"T"_s, u"c1212"_s},
                                   {smile + u'a' + smile, smile, u"-"_s, u"T"_s, smile + u"a-"_s},
                                   {u"aab"_s, u"a"_s, u"aa"_s, u"L"_s, u"aaaab"_s},
                                   {x, u"x"_s, u"-"_s, u"Z"_s, x}};
        for (const auto &r : rows)
            QCOMPARE(AddsUtilities::Var_Translate(r[0], r[1], r[2], r[3][0], Qt::CaseSensitive),
                     r[4]);
        QCOMPARE(AddsUtilities::Var_Reverse(u"a"_s + smile + u'b'), u'b' + smile + u'a');
        // A lone half.
        QCOMPARE(AddsUtilities::Var_Reverse(QChar(0xDC00) + u"b"_s), u'b' + QChar(0xDC00));
    }

    void urlEncode()
    {
        const QString rows[][2] = {
            {u"A\u00F1o 09azAZ-"_s, u"A%F1o+09azAZ%2D"_s},   // range ends
            {u"\u0080/:@[`{"_s, u"%3F%2F%3A%40%5B%60%7B"_s}, // just past ASCII
            {u"a\xD83D"_s, u"a%3F"_s},                       // lone surrogate at the end
            {u"_.~\t\n"_s, u"%5F%2E%7E%09%0A"_s},            // unreserved, controls
            {u"\u20AC"_s, u"%80"_s},                         // euro
            {u"\u65E5"_s, u"%3F"_s},                         // not in the code page
            {u"\U0001F600"_s, u"%3F"_s}};                    // surrogate pair
        for (const auto &r : rows)
            QCOMPARE(AddsUtilities::URL_Encode(r[0]), r[1]);
    }

    // Four decimal parts of 0 to 255, no leading zero, ASCII digits only.
    void ipNumber()
    {
        QVERIFY(AddsUtilities::NET_IPNumberIsValid(u"255.255.255.0"_s));
        for (const QString &bad :
             {u"256.1.1.1"_s, u"1..3.4"_s, u"010.0.0.1"_s, u"\u0661.\u0662.\u0663.\u0664"_s})
            QVERIFY2(!AddsUtilities::NET_IPNumberIsValid(bad), qPrintable(bad));
    }

    void countFiles_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<bool>("folders");
        QTest::addColumn<QStringList>("names");
        const QStringList all{u".cfg"_s,  u".h.txt"_s, u"a.txt"_s,    u"B.TXT"_s,
                              u"noext"_s, u"sub"_s,    u"x.txt.bak"_s};
        QTest::newRow("star dot star") << u"*.*"_s << true << all;
        QTest::newRow("files only") << u"*"_s << false << all;
        QTest::newRow("any case") << u"*.txt"_s << true
                                  << QStringList{u".h.txt"_s, u"a.txt"_s, u"B.TXT"_s};
        QTest::newRow("question mark") << u"?.txt"_s << true << QStringList{u"a.txt"_s, u"B.TXT"_s};
        QTest::newRow("question mark at dot") << u"a?.txt"_s << true << QStringList{u"a.txt"_s};
        QTest::newRow("question mark after dot")
            << u"?.?xt"_s << true << QStringList{u"a.txt"_s, u"B.TXT"_s};
        // ".cfg" is all extension.
        QTest::newRow("no extension") << u"*."_s << true << QStringList{u"noext"_s, u"sub"_s};
        QTest::newRow("optional extension") << u"noext.*"_s << true << QStringList{u"noext"_s};
        QTest::newRow("brackets are literal") << u"[a].txt"_s << true << QStringList();
        QTest::newRow("pattern with folder") << u"sub\\*"_s << true << QStringList{u"in.txt"_s};
    }

    void countFiles()
    {
        QFETCH(QString, pattern);
        QFETCH(bool, folders);
        QFETCH(QStringList, names);
        if (!folders)
            names.removeAll(u"sub"_s);
        QTemporaryDir dir;
        for (const QString &name : {u".cfg"_s, u".h.txt"_s, u"a.txt"_s, u"B.TXT"_s, u"noext"_s,
                                    u"x.txt.bak"_s, u"sub/in.txt"_s})
            QVERIFY(m_utils.File_SaveBinary(dir.filePath(name), u"x"_s));
        // Callers build Windows-style folders, often with a trailing "\".
        const QString folder = dir.path().replace(u'/', u'\\') + u'\\';
        QCOMPARE(m_utils.File_ContarArchivos(folder, pattern, folders), names.size());
        QCOMPARE(m_utils.File_ContarArchivos_Lista, names);
        // A missing folder gives 0 and leaves no stale names behind.
        QCOMPARE(m_utils.File_ContarArchivos(folder + u"missing"_s, pattern), 0);
        QVERIFY(m_utils.File_ContarArchivos_Lista.isEmpty());
    }

    // Every byte value survives the trip through text and back; replace
    // truncates, append adds, a Windows-style path's folders are made, and
    // a folder where the file should be is a failure.
    void saveAndRead()
    {
        QTemporaryDir dir;
        const QString path = dir.path() + u"\\a\\b\\data.bin"_s;
        QCOMPARE(m_utils.File_ReadBinary(path), QString());
        QByteArray all(256, Qt::Uninitialized);
        std::iota(all.begin(), all.end(), char(0));
        QVERIFY(test::writeBytes(dir.filePath(u"src.bin"_s), all));
        QVERIFY(m_utils.File_SaveBinary(path, m_utils.File_ReadBinary(dir.filePath(u"src.bin"_s))));
        QCOMPARE(test::readBytes(dir.filePath(u"a/b/data.bin"_s)), all);
        QVERIFY(m_utils.File_SaveBinary(path, u"A\u00F1o"_s));
        QVERIFY(m_utils.File_SaveBinary(path, u"\r\n"_s, true));
        QCOMPARE(m_utils.File_ReadBinary(path), u"A\u00F1o\r\n"_s);
        QVERIFY(!m_utils.File_SaveBinary(dir.path() + u"\\a"_s, u"z"_s));
        QVERIFY(!m_utils.File_SaveBinary(dir.path() + u"\\a"_s, u"z"_s, true));
    }

    // Every row is read both as text and as its UTF-8 bytes; the two differ
    // only in which blanks may come first.
    void leadingNumbers()
    {
        const auto sat = OnOverflow::Saturate, zero = OnOverflow::Zero,
                   keep = OnOverflow::KeepDigitsRead;
        const quint64 all = std::numeric_limits<quint64>::max();
        const qint64 max = std::numeric_limits<qint64>::max();
        // Text, limit, on overflow, read as text, read as bytes.
        const std::tuple<QString, quint64, OnOverflow, qint64, qint64> rows[] = {
            {u"+0000000000000000000000042"_s, 100, zero, 42, 42},
            {u"  -7.5"_s, 100, zero, -7, -7},
            {u"\u0663"_s, 100, sat, 0, 0},   // a digit of another script
            {u"\u00A05"_s, 100, zero, 5, 0}, // any blank in text, a no-break space too
            {u"100"_s, 100, zero, 100, 100},
            {u"-12345"_s, 100, sat, -100, -100},
            {u"101"_s, 100, zero, 0, 0},
            {u"1019"_s, 100, keep, 10, 10},
            {u"99999999999999999999"_s, all, sat, max, max}, // a limit beyond 64 bits
            {u"-9223372036854775807"_s, all, zero, -max, -max}};
        for (const auto &[text, limit, onOverflow, asText, asBytes] : rows) {
            QCOMPARE(leadingNumber(QStringView(text), limit, onOverflow), asText);
            QCOMPARE(leadingNumber(QByteArrayView(text.toUtf8()), limit, onOverflow), asBytes);
        }
    }

    // Minutes count the minute boundaries crossed, not 60-second spans.
    void wholeMinutesCountBoundariesCrossed()
    {
        const QDate d(2026, 3, 2);
        const auto at = [d](int h, int m, int s) { return QDateTime(d, QTime(h, m, s)); };
        const std::tuple<QDateTime, QDateTime, qint64> rows[] = {
            {at(10, 0, 0), at(10, 0, 59), 0},  // same minute
            {at(10, 0, 59), at(10, 1, 0), 1},  // one second, next minute
            {at(10, 1, 0), at(10, 0, 59), -1}, // backwards
            {at(23, 59, 0), QDateTime(d.addDays(1), QTime(0, 1)), 2},
            // A date never set is day zero: far in the past.
            {QDateTime(), at(0, 0, 0), QDate(1899, 12, 30).daysTo(d) * 24 * 60}};
        for (const auto &[from, to, minutes] : rows)
            QCOMPARE(wholeMinutesBetween(from, to), minutes);
    }
};

QTEST_GUILESS_MAIN(tst_Utilities)
#include "tst_utilities.moc"
