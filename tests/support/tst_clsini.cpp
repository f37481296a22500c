#include "common/TestSupport.h"
#include "support/AddsSettings.h"
#include "support/clsINI.h"

#include <QtTest>

using namespace Qt::StringLiterals;
using orvex::AddsSettings;
using orvex::clsINI;
using orvex::test::readBytes;
using orvex::test::writeBytes;

namespace {

// '|' stands for CR LF, to keep the tables readable.
QByteArray crlf(const char *text)
{
    return QByteArray(text).replace('|', "\r\n");
}

const QByteArray kSample = crlf("; kept by hand|Version=3|[DynIP]|  DynIP Server 1 = h;80;V2 |"
                                ";old=1|Url=http://h/?a=b&c=d|Empty=||[ Spaced ]|Key=spaced||"
                                "[Directorios]|Pendientes=C:\\Nuevos|Unknown=kept|=nameless|");
const QString kDot = u"\u00B7"_s;

QRegularExpression reported(const char *source, const char *what)
{
    return QRegularExpression(QLatin1String(source) + u" Error \\d+ \\(.+\\) occurred while "_s +
                              QLatin1String(what) + u" .*\\.ini (from|to) disk\\.$"_s);
}

} // namespace

class TestClsIni : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    const QString m_a = m_dir.filePath(u"a.ini"_s), m_b = m_dir.filePath(u"b.ini"_s);

private slots:
    // A warning no test expects is a fault reported where there was none.
    void init() { QTest::failOnWarning(QRegularExpression(u"."_s)); }

    // Sections and keys are found in any case and trimmed, keys only under
    // their own header; a bare name given to FindSection is bracketed, not
    // trimmed.
    void lookups()
    {
        clsINI ini;
        ini.LoadIniBytes(u"x.ini"_s, kSample);
        const QString rows[][3] = {
            {u"DynIP"_s, u"DynIP Server 1"_s, u"h;80;V2"_s},
            {u" directorios "_s, u"PENDIENTES"_s, u"C:\\Nuevos"_s},
            {u"DynIP"_s, u"Url"_s, u"http://h/?a=b&c=d"_s},
            {u"DynIP"_s, u"Version"_s, kDot},    // before any header
            {u"DynIP"_s, u"Pendientes"_s, kDot}, // in the next section
            {u"Spaced"_s, u"Key"_s, kDot},       // the header has blanks in its brackets
            {u"[ spaced ]"_s, u"key"_s, u"spaced"_s},
            {u"Directorios"_s, u" Pendientes"_s, kDot},
            {u"Directorios"_s, QString(), u"nameless"_s},
        };
        for (const auto &row : rows)
            QCOMPARE(ini.ReadFrom(row[0], row[1], kDot), row[2]);
        QCOMPARE(ini.ListKeys(u"dynip"_s),
                 QStringList({u"DynIP Server 1"_s, u";old"_s, u"Url"_s, u"Empty"_s}));
        QCOMPARE(ini.FindKey(-1, u"Version"_s), -1);
        QCOMPARE(ini.FindKey(ini.SectionCount(), u"Pendientes"_s), -1);
        QCOMPARE(ini.FindSection(u" Spaced "_s), 1);
        for (const QString &none : {u"Spaced"_s, u"Directorio"_s, u"DynIPs"_s, u"[DynIP"_s})
            QCOMPARE(ini.FindSection(none), -1);
        ini.Clear(); // nothing of the file is left to read or write back
        QCOMPARE(ini.LineCount(), 0);
        QCOMPARE(ini.ReadFrom(u"DynIP"_s, u"Url"_s, kDot), kDot);
    }

    // Each edit as the file shows it afterwards, byte for byte; 'W' writes
    // `value`, 'K' deletes the key, 'S' the section, 'A' adds one.
    void edit_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<char>("op");
        QTest::addColumn<QString>("section");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QByteArray>("after");
        const auto row = [](const char *name, const QByteArray &before, char op,
                            const char *section, const char *key, const char *value,
                            const QByteArray &after) {
            QTest::newRow(name) << before << op << QString::fromUtf8(section)
                                << QString::fromUtf8(key) << QString::fromUtf8(value) << after;
        };
        row("rewrite keeps all", kSample, 'W', "directorios", "PENDIENTES", " D: ",
            QByteArray(kSample)
                .replace("  DynIP Server 1 = h;80;V2 ", "DynIP Server 1 = h;80;V2")
                .replace("Pendientes=C:\\Nuevos", "PENDIENTES=D:"));
        row("lf and lone cr in, crlf out", "[a]\nk=1\r\r \tm \r\x80", 'W', "a", "k", "2",
            crlf("[a]|k=2||\tm|\x80|"));
        row("before one blank", crlf("[a]|k=1||[b]|m=1|"), 'W', "a", "n", "2",
            crlf("[a]|k=1|n=2||[b]|m=1|"));
        row("not past two", crlf("[a]|k=1|||[b]|"), 'W', "a", "n", "2", crlf("[a]|k=1||n=2||[b]|"));
        row("new section", crlf("[a]|k=1"), 'W', "b", "n", "2", crlf("[a]|k=1||[b]|n=2|"));
        row("after blank", crlf("[a]|k=1||"), 'W', " b ", "n", " 2 ", crlf("[a]|k=1||[b]|n=2|"));
        row("empty file", "", 'W', "b", "n", "", crlf("[b]|n=|"));
        row("blanks in brackets", crlf("[ a ]|k=1|"), 'W', "a", "k", "2",
            crlf("[ a ]|k=1||[a]|k=2|"));
        row("untrimmed key", crlf("[a]|k=1|"), 'W', "a", " k", "2", crlf("[a]|k=1|k=2|"));
        row("ansi", "", 'W', "Sección", "Clave", "Año", crlf("[Secci\xF3n]|Clave=A\xF1o|"));
        const QByteArray three = crlf("[a]|k=1||[b]|k=2|m=3||[c]|k=4|");
        row("key of a middle section", three, 'K', "B", "K", "",
            crlf("[a]|k=1||[b]|m=3||[c]|k=4|"));
        row("missing key", three, 'K', "a", "m", "", three);
        row("first section", three, 'S', "a", "", "", crlf("[b]|k=2|m=3||[c]|k=4|"));
        row("middle section", three, 'S', "[B]", "", "", crlf("[a]|k=1||[c]|k=4|"));
        row("missing section", three, 'S', "d", "", "", three);
        row("section alone", crlf("[a]|k=1"), 'A', "b", "", "", crlf("[a]|k=1||[b]|"));
    }
    void edit()
    {
        QFETCH(QByteArray, before);
        QFETCH(char, op);
        QFETCH(QString, section);
        QFETCH(QString, key);
        QFETCH(QString, value);
        const QString path = m_dir.filePath(u"x.ini"_s);
        QVERIFY(writeBytes(path, before));
        clsINI ini;
        ini.LoadIniFile(path);
        op == 'W'   ? ini.WriteTo(section, key, value)
        : op == 'K' ? ini.DeleteKey(section, key)
        : op == 'A' ? ini.AddSection(section)
                    : ini.DeleteSection(section);
        // Whatever was done in memory, the index must be the one a fresh
        // load of the written bytes builds.
        clsINI fresh;
        fresh.LoadIniBytes(QString(), orvex::joinIniLines(ini.Lines()));
        QCOMPARE(std::tuple(fresh.SectionNames(), fresh.SectionStart(), fresh.SectionItemCount()),
                 std::tuple(ini.SectionNames(), ini.SectionStart(), ini.SectionItemCount()));
        ini.WriteIniFile();
        QVERIFY(!ini.Dirty());
        QTEST(readBytes(path), "after");
        // A key with blanks around it is never found, so it is added again.
        if (op == 'W') {
            ini.WriteTo(section, key, value);
            QCOMPARE(ini.Dirty(), key != orvex::trimBlanks(key));
        }
    }

    void writesCreateThenReplaceWholeFile()
    {
        const QString path = m_dir.filePath(u"new.ini"_s);
        QTest::ignoreMessage(QtWarningMsg, reported("LoadIniFile", "reading"));
        clsINI ini;
        ini.LoadIniFile(path);
        ini.WriteTo(u"s"_s, u"k"_s, u"v"_s);
        ini.WriteIniFile();
        // A reader of the old file keeps seeing all of it: the new file is
        // renamed over the old one, never written into it.
        QFile reader(path);
        QVERIFY(reader.open(QIODevice::ReadOnly));
        ini.DeleteKey(u"S"_s, u"K"_s);
        ini.WriteIniFile();
        QCOMPARE(reader.readAll(), crlf("[s]|k=v|"));
        QCOMPARE(readBytes(path), crlf("[s]|"));
    }

    // A FIFO reads as missing without being opened (the open would wait
    // here for a writer), is never replaced, and the failed write is logged,
    // not thrown at the caller.
    void unwritablePlace()
    {
        const QString path = m_dir.filePath(u"fifo.ini"_s);
        if (QProcess::execute(u"mkfifo"_s, {path}) != 0)
            QSKIP("no mkfifo here");
        clsINI ini;
        QTest::ignoreMessage(QtWarningMsg, reported("LoadIniFile", "reading"));
        ini.LoadIniFile(path);
        QCOMPARE(ini.LineCount(), 0);
        ini.WriteTo(u"s"_s, u"k"_s, u"v"_s);
        QTest::ignoreMessage(QtWarningMsg, reported("WriteIniFile", "writing"));
        ini.WriteIniFile();
        QVERIFY(ini.Dirty());
        QVERIFY(!QFileInfo(path).isFile());
    }

    // A name too short loads nothing (it would be found in the working
    // folder); the last file comes back, twice the same one. Writes go to
    // the file at once unless deferred, and only when something changed.
    void settingsSelectionAndWrites()
    {
        const orvex::test::WorkingFolder here(m_dir.path());
        QVERIFY(here.isSet());
        for (const QString &name : {m_a, m_b, u"ab"_s}) // "ab" in the working folder
            QVERIFY(writeBytes(name,
                               "[s]\r\nk=from " + QFileInfo(name).fileName().toLatin1() + "\r\n"));
        AddsSettings settings;
        QCOMPARE(settings.INI_GetString(u"s"_s, u"k"_s, u" d "_s), u"d"_s);
        settings.INI_SetFileName(u"ab"_s);
        QCOMPARE(settings.INI_FileName, QVariant(QString()));
        settings.INI_PutString(u"s"_s, u"k"_s, u"2"_s);
        settings.INI_PurgeBuffer();
        QCOMPARE(readBytes(u"ab"_s), "[s]\r\nk=from ab\r\n"_ba);
        settings.INI_SetFileName(m_a);
        settings.INI_SetFileName(m_b);
        for (int twice = 0; twice < 2; ++twice) {
            settings.INI_SetLastFileName();
            QCOMPARE(settings.INI_FileName, QVariant(m_a));
            QCOMPARE(settings.INI_GetString(u"S"_s, u"K"_s, kDot), u"from a.ini"_s);
        }
        QCOMPARE(settings.INI_PutString(u"s"_s, u"k"_s, u"A\u00F1o"_s), qint16(0));
        QCOMPARE(readBytes(m_a), "[s]\r\nk=A\xF1o\r\n"_ba);
        QVERIFY(writeBytes(m_a, "changed"));
        settings.INI_PutString(u"s"_s, u"k"_s, u" A\u00F1o "_s);
        settings.INI_PutString(u" "_s, u"k"_s, u"x"_s);
        settings.INI_PutString(u"s"_s, u" "_s, u"x"_s);
        settings.INI_PutString(u"s"_s, u"n"_s, u"1"_s, true);
        QCOMPARE(readBytes(m_a), "changed"_ba);
        settings.INI_SetFileName(m_b);
        QCOMPARE(readBytes(m_a), "[s]\r\nk=A\xF1o\r\nn=1\r\n"_ba);
        QCOMPARE(settings.INI_DeleteAppName(u"S"_s), QVariant(true));
        QCOMPARE(readBytes(m_b), QByteArray());
    }
};

QTEST_GUILESS_MAIN(TestClsIni)
#include "tst_clsini.moc"
