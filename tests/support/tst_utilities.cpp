#include "common/TestSupport.h"
#include "support/AddsUtilities.h"
#include "support/helpers/PeImageWriter.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

class tst_Utilities : public QObject
{
    Q_OBJECT

    AddsUtilities m_utils;

private slots:
    void getPart_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("separator");
        QTest::addColumn<bool>("drop");
        QTest::addColumn<QString>("part");
        QTest::addColumn<QString>("rest");
        QTest::newRow("drop") << u"a=b=c"_s << u"="_s << true << u"a"_s << u"b=c"_s;
        QTest::newRow("keep: one character of a long separator")
            << u"k::v"_s << u"::"_s << false << u"k:"_s << u"v"_s;
        QTest::newRow("absent") << u"abc"_s << u"="_s << true << QString() << u"abc"_s;
        QTest::newRow("empty separator") << u"abc"_s << QString() << true << QString() << u"abc"_s;
        QTest::newRow("separator first") << u"=x"_s << u"="_s << true << QString() << u"x"_s;
    }

    void getPart()
    {
        QFETCH(QString, text);
        QFETCH(QString, separator);
        QFETCH(bool, drop);
        const QString part = AddsUtilities::Var_GetPart(text, separator, drop);
        QTEST(part, "part");
        QTEST(text, "rest");
    }

    void getFieldAt()
    {
        const QString row = u"zona\t\t15"_s;
        QCOMPARE(AddsUtilities::Var_GetFieldAt(row, 1, u"\t"_s), u"zona"_s);
        QCOMPARE(AddsUtilities::Var_GetFieldAt(row, 2, u"\t"_s), QString());
        QCOMPARE(AddsUtilities::Var_GetFieldAt(row, 3, u"\t"_s), u"15"_s);
        QCOMPARE(AddsUtilities::Var_GetFieldAt(row, 4, u"\t"_s), QString());
        QCOMPARE(AddsUtilities::Var_GetFieldAt(u"a\r\nb\r\nc"_s, 3, u"\r\n"_s), u"c"_s);
    }

    void translate_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("find");
        QTest::addColumn<QString>("replacement");
        QTest::addColumn<QChar>("mode");
        QTest::addColumn<bool>("ignoreCase");
        QTest::addColumn<QString>("result");
        const auto row = [](const char *name, const QString &text, const QString &find,
                            const QString &replacement, char16_t mode, const QString &result,
                            bool ignoreCase = false) {
            QTest::newRow(name) << text << find << replacement << QChar(mode) << ignoreCase
                                << result;
        };
        const QString x = u"xxaxbxx"_s;
        row("A", x, u"x"_s, u"-"_s, u'A', u"--a-b--"_s);
        row("B", x, u"x"_s, {}, u'B', u"axb"_s);
        row("L replacement holds find", u"aab"_s, u"a"_s, u"aa"_s, u'L', u"aaaab"_s);
        // Working on the reversed text must not reverse the find or the result.
        row("T multi-char", u"cabab"_s, u"ab"_s, u"12"_s, u'T', u"c1212"_s);
        row("T surrogate pair", u"\U0001F600a\U0001F600"_s, u"\U0001F600"_s, u"-"_s, u'T',
            u"\U0001F600a-"_s);
        row("case ignored", u"XxaX"_s, u"x"_s, {}, u'B', u"a"_s, true);
        row("invalid mode", x, u"x"_s, u"-"_s, u'Z', x);
    }

    void translate()
    {
        QFETCH(QString, text);
        QFETCH(QString, find);
        QFETCH(QString, replacement);
        QFETCH(QChar, mode);
        QFETCH(bool, ignoreCase);
        QTEST(AddsUtilities::Var_Translate(text, find, replacement, mode,
                                           ignoreCase ? Qt::CaseInsensitive : Qt::CaseSensitive),
              "result");
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

    void ipNumber_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<bool>("valid");
        QTest::newRow("limits") << u"255.255.255.0"_s << true;
        QTest::newRow("out of range") << u"256.1.1.1"_s << false;
        QTest::newRow("empty part") << u"1..3.4"_s << false;
        QTest::newRow("leading zero") << u"010.0.0.1"_s << false;
        QTest::newRow("other digits") << u"\u0661.\u0662.\u0663.\u0664"_s << false;
    }

    void ipNumber()
    {
        QFETCH(QString, host);
        QTEST(AddsUtilities::NET_IPNumberIsValid(host), "valid");
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

    void version_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("number");
        QTest::newRow("minor as decimals")
            << test::pe::buildImage({false, {2, 10, 0, 1}, true}) << u"2.10.0.1"_s << 2.1;
        QTest::newRow("text file") << QByteArray("MZ not really") << u"0.0.0.0"_s << 0.0;
    }

    void version()
    {
        QFETCH(QByteArray, content);
        QTemporaryDir dir;
        const QString path = dir.filePath(u"SendaroGestion.exe"_s);
        QVERIFY(test::writeBytes(path, content));
        QTEST(m_utils.File_GetVersion(path).toString(), "text");
        const QVariant number = m_utils.File_GetVersion(path, true);
        QCOMPARE(number.metaType(), QMetaType::fromType<double>());
        QTEST(number.toDouble(), "number");
        QCOMPARE(m_utils.File_GetVersion(dir.filePath(u"missing.exe"_s)).toString(), u"0.0.0.0"_s);
    }
};

QTEST_GUILESS_MAIN(tst_Utilities)
#include "tst_utilities.moc"
