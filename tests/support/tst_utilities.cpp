#include "common/TestSupport.h"
#include "support/AddsUtilities.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

class tst_Utilities : public QObject
{
    Q_OBJECT

    AddsUtilities m_utils;

private slots:
    // "A" everywhere, "L" at the start, "T" at the end (on the reversed text,
    // without reversing the find or the result), "B" both.
    void translate_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("find");
        QTest::addColumn<QString>("replacement");
        QTest::addColumn<QChar>("mode");
        QTest::addColumn<QString>("result");
        const QString x = u"xxaxbxx"_s;
        QTest::newRow("A") << x << u"x"_s << u"-"_s << QChar(u'A') << u"--a-b--"_s;
        QTest::newRow("L") << x << u"x"_s << QString() << QChar(u'L') << u"axbxx"_s;
        QTest::newRow("B") << x << u"X"_s << QString() << QChar(u'B') << x;
        QTest::newRow("T multi") << u"cabab"_s << u"ab"_s << u"12"_s << QChar(u'T') << u"c1212"_s;
        QTest::newRow("T pair") << u"\U0001F600a\U0001F600"_s << u"\U0001F600"_s << u"-"_s
                                << QChar(u'T') << u"\U0001F600a-"_s;
        QTest::newRow("L holds find") << u"aab"_s << u"a"_s << u"aa"_s << QChar(u'L') << u"aaaab"_s;
        QTest::newRow("bad mode") << x << u"x"_s << u"-"_s << QChar(u'Z') << x;
    }
    void translate()
    {
        QFETCH(QString, text);
        QFETCH(QString, find);
        QFETCH(QString, replacement);
        QFETCH(QChar, mode);
        QTEST(AddsUtilities::Var_Translate(text, find, replacement, mode, Qt::CaseSensitive),
              "result");
        QCOMPARE(AddsUtilities::Var_Reverse(u"a\U0001F600b"_s), u"b\U0001F600a"_s);
    }

    void urlEncode_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("encoded");
        QTest::newRow("year, range ends") << u"A\u00F1o 09azAZ-"_s << u"A%F1o+09azAZ%2D"_s;
        QTest::newRow("just past ASCII") << u"\u0080/:@[`{"_s << u"%3F%2F%3A%40%5B%60%7B"_s;
        QTest::newRow("lone surrogate at the end") << u"a\xD83D"_s << u"a%3F"_s;
        QTest::newRow("unreserved, controls") << u"_.~\t\n"_s << u"%5F%2E%7E%09%0A"_s;
        QTest::newRow("euro") << u"\u20AC"_s << u"%80"_s;
        QTest::newRow("not in code page") << u"\u65E5"_s << u"%3F"_s;
        QTest::newRow("surrogate pair") << u"\U0001F600"_s << u"%3F"_s;
    }

    void urlEncode()
    {
        QFETCH(QString, text);
        QTEST(AddsUtilities::URL_Encode(text), "encoded");
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
        for (int i = 0; i < 256; ++i)
            all[i] = char(i);
        QVERIFY(test::writeBytes(dir.filePath(u"src.bin"_s), all));
        QVERIFY(m_utils.File_SaveBinary(path, m_utils.File_ReadBinary(dir.filePath(u"src.bin"_s))));
        QCOMPARE(test::readBytes(dir.filePath(u"a/b/data.bin"_s)), all);
        QVERIFY(m_utils.File_SaveBinary(path, u"A\u00F1o"_s));
        QVERIFY(m_utils.File_SaveBinary(path, u"\r\n"_s, true));
        QCOMPARE(m_utils.File_ReadBinary(path), u"A\u00F1o\r\n"_s);
        QVERIFY(!m_utils.File_SaveBinary(dir.path() + u"\\a"_s, u"z"_s));
        QVERIFY(!m_utils.File_SaveBinary(dir.path() + u"\\a"_s, u"z"_s, true));
    }
};

QTEST_GUILESS_MAIN(tst_Utilities)
#include "tst_utilities.moc"
