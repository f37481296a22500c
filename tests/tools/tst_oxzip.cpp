#include "common/TestSupport.h"
#include "helpers/ZipCrafter.h"
#include "oxzip/ArchiveWriter.h"
#include "oxzip/EntrySafety.h"
#include "oxzip/Failure.h"
#include "oxzip/PatternExpansion.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QtTest>

#include <zip.h>

using namespace Qt::StringLiterals;
using namespace orvex::oxzip;
using orvex::test::craftArchive;
using orvex::test::CraftedEntry;
using orvex::test::deflatedEntry;
using orvex::test::readBytes;
using orvex::test::storedEntry;
using orvex::test::writeBytes;

namespace {

struct Outcome
{
    int status = -1;
    QByteArray err;
};

Outcome runOxzip(const QStringList &args, const QString &workingFolder = {})
{
    QProcess process;
    if (!workingFolder.isEmpty())
        process.setWorkingDirectory(workingFolder);
    process.start(qEnvironmentVariable("ORVEX_BINARY_DIR") + u"/src/app/oxzip"_s, args);
    if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit)
        return {-1, process.readAllStandardError()};
    return {process.exitCode(), process.readAllStandardError()};
}

// A failure reports exactly one "oxzip: " line, nothing from a sanitizer.
bool oneErrorLine(const QByteArray &err)
{
    return err.startsWith("oxzip: ") && err.endsWith('\n') && err.count('\n') == 1;
}

// Every file and folder below `root`: relative name (folders end in "/") to
// contents.
QMap<QString, QByteArray> treeOf(const QString &root)
{
    QMap<QString, QByteArray> tree;
    QDirIterator it(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    const QDir base(root);
    while (it.hasNext()) {
        const QFileInfo info = it.nextFileInfo();
        const QString name = base.relativeFilePath(info.filePath());
        if (info.isDir())
            tree.insert(name + u'/', {});
        else
            tree.insert(name, readBytes(info.filePath()));
    }
    return tree;
}

QStringList entryNames(const QString &archive)
{
    QStringList names;
    int code = 0;
    zip_t *zip = zip_open(QFile::encodeName(archive).constData(), ZIP_RDONLY, &code);
    if (!zip)
        return {u"<not a zip>"_s};
    for (zip_int64_t i = 0; i < zip_get_num_entries(zip, 0); ++i)
        names << QString::fromUtf8(zip_get_name(zip, zip_uint64_t(i), 0));
    zip_discard(zip);
    return names;
}

// A configuration folder with accents, spaces, a nested folder and a file
// no pattern asks for.
void makeConfiguration(const QString &root)
{
    QDir().mkpath(root + u"/sub dir/más hondo"_s);
    QDir().mkpath(root + u"/vacía"_s);
    writeBytes(root + u"/Orvex.ini"_s, "[Servidor]\r\nHost=127.0.0.1\r\n");
    writeBytes(root + u"/Configuración Año.ini"_s, "clave=ñandú\r\n");
    writeBytes(root + u"/datos.dbs"_s, QByteArray(200000, 'x') + "fin");
    writeBytes(root + u"/programa.exe"_s, "MZ");
    writeBytes(root + u"/sub dir/uno.ini"_s, "1");
    writeBytes(root + u"/sub dir/más hondo/dos.txt"_s, "2");
}

bool haveTool(const QString &name)
{
    return !QStandardPaths::findExecutable(name).isEmpty();
}

} // namespace

class TestOxzip : public QObject
{
    Q_OBJECT

private slots:
    void matchesWildcards_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("ignoreCase");
        QTest::addColumn<bool>("matches");
        QTest::newRow("star suffix") << u"*.ini"_s << u"Orvex.ini"_s << false << true;
        QTest::newRow("star needs suffix") << u"*.ini"_s << u"Orvex.ini.bak"_s << false << false;
        QTest::newRow("star empty run") << u"*.ini"_s << u".ini"_s << false << true;
        QTest::newRow("backtracking") << u"*a*b"_s << u"xaxbxab"_s << false << true;
        QTest::newRow("backtracking fails") << u"*a*b"_s << u"xaxbxa"_s << false << false;
        QTest::newRow("question one char") << u"a?c"_s << u"abc"_s << false << true;
        QTest::newRow("question not empty") << u"a?c"_s << u"ac"_s << false << false;
        QTest::newRow("question is one accent") << u"a?o"_s << u"año"_s << false << true;
        QTest::newRow("case kept") << u"*.INI"_s << u"a.ini"_s << false << false;
        QTest::newRow("case ignored") << u"*.INI"_s << u"a.ini"_s << true << true;
        QTest::newRow("latin-1 case ignored") << u"Ñ*"_s << u"ñandú"_s << true << true;
        QTest::newRow("literal") << u"Orvex.ini"_s << u"Orvex.ini"_s << false << true;
        QTest::newRow("star only") << u"*"_s << u"anything"_s << false << true;
    }
    void matchesWildcards()
    {
        QFETCH(QString, pattern);
        QFETCH(QString, name);
        QFETCH(bool, ignoreCase);
        QFETCH(bool, matches);
        QCOMPARE(wildcardMatch(pattern.toStdString(), name.toStdString(), ignoreCase), matches);
    }

    void splitsPatterns_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("last");
        QTest::newRow("unix") << u"/opt/ox/*.ini"_s << u"/opt/ox"_s << u"*.ini"_s;
        QTest::newRow("windows") << u"C:\\Ox\\*.ini"_s << u"C:/Ox"_s << u"*.ini"_s;
        QTest::newRow("mixed") << u"C:\\Ox/sub\\*.dbs"_s << u"C:/Ox/sub"_s << u"*.dbs"_s;
        QTest::newRow("drive root") << u"C:\\x.ini"_s << u"C:/"_s << u"x.ini"_s;
        QTest::newRow("root") << u"/x.ini"_s << u"/"_s << u"x.ini"_s;
        QTest::newRow("bare") << u"*.ini"_s << u"."_s << u"*.ini"_s;
        QTest::newRow("trailing separator") << u"/opt/ox/sub\\"_s << u"/opt/ox"_s << u"sub"_s;
    }
    void splitsPatterns()
    {
        QFETCH(QString, pattern);
        QFETCH(QString, folder);
        QFETCH(QString, last);
        const PatternParts parts = splitPattern(pattern.toStdString());
        QCOMPARE(QString::fromStdString(parts.folder), folder);
        QCOMPARE(QString::fromStdString(parts.last), last);
    }

    void judgesEntryNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("parts"); // joined by '|', empty when refused
        // Absolute, drive and ".." names are refused end to end, with the
        // archives that carry them, below.
        QTest::newRow("plain") << u"Orvex.ini"_s << u"Orvex.ini"_s;
        QTest::newRow("nested") << u"sub dir/más/x.ini"_s << u"sub dir|más|x.ini"_s;
        QTest::newRow("backslashes") << u"sub\\x.ini"_s << u"sub|x.ini"_s;
        QTest::newRow("folder") << u"sub/"_s << u"sub"_s;
        QTest::newRow("dots and doubles") << u"./a//b/./c"_s << u"a|b|c"_s;
        QTest::newRow("dots in names") << u"..a/b..c/..."_s << u"..a|b..c|..."_s;
        QTest::newRow("parent last") << u"a/.."_s << QString();
        QTest::newRow("nothing") << u"./"_s << QString();
        QTest::newRow("empty") << QString() << QString();
    }
    void judgesEntryNames()
    {
        QFETCH(QString, name);
        QFETCH(QString, parts);
        const auto got = safeEntryParts(name.toStdString());
        QCOMPARE(got.has_value(), !parts.isEmpty());
        if (got) {
            QStringList joined;
            for (const std::string &part : *got)
                joined << QString::fromStdString(part);
            QCOMPARE(joined.join(u'|'), parts);
        }
    }

    void refusesBadCommandLines_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("none") << QStringList{};
        QTest::newRow("unknown mode") << QStringList{u"-list"_s, u"a.zip"_s};
        QTest::newRow("add without option") << QStringList{u"-add"_s, u"a.zip"_s, u"*.ini"_s};
        QTest::newRow("add other option")
            << QStringList{u"-add"_s, u"-directories=full"_s, u"a.zip"_s, u"*.ini"_s};
        QTest::newRow("add without pattern")
            << QStringList{u"-add"_s, u"-directories=relative"_s, u"a.zip"_s};
        QTest::newRow("add empty pattern")
            << QStringList{u"-add"_s, u"-directories=relative"_s, u"a.zip"_s, QString()};
        QTest::newRow("extract without folder")
            << QStringList{u"-extract"_s, u"-overwrite=all"_s, u"a.zip"_s};
        QTest::newRow("extract other option")
            << QStringList{u"-extract"_s, u"-overwrite=none"_s, u"a.zip"_s, u"out"_s};
        QTest::newRow("extract extra")
            << QStringList{u"-extract"_s, u"-overwrite=all"_s, u"a.zip"_s, u"out"_s, u"x"_s};
        QTest::newRow("options swapped")
            << QStringList{u"-overwrite=all"_s, u"-extract"_s, u"a.zip"_s, u"out"_s};
    }
    void refusesBadCommandLines()
    {
        QFETCH(QStringList, args);
        QTemporaryDir dir;
        const Outcome outcome = runOxzip(args, dir.path());
        QCOMPARE(outcome.status, int(kUsageError));
        QVERIFY2(oneErrorLine(outcome.err), outcome.err.constData());
        QCOMPARE(treeOf(dir.path()), (QMap<QString, QByteArray>{}));
    }

    // What the agent does: save with "*.ini" and "*.dbs" (one with "\"), plus
    // a folder; restore over a changed copy.
    void roundTrips()
    {
        QTemporaryDir dir;
        const QString ox = dir.filePath(u"ox"_s), archive = dir.filePath(u"Configuración.zip"_s);
        makeConfiguration(ox);
        writeBytes(archive, "an old archive, replaced");
        const Outcome saved = runOxzip({u"-add"_s, u"-directories=relative"_s, archive,
                                        ox + u"/*.ini"_s, ox + u"\\*.dbs"_s, ox + u"/*.none"_s,
                                        ox + u"/sub dir"_s, ox + u"/Orvex.ini"_s});
        QCOMPARE(saved.status, 0);
        QCOMPARE(saved.err, QByteArray());
        QCOMPARE(entryNames(archive),
                 (QStringList{u"Configuración Año.ini"_s, u"Orvex.ini"_s, u"datos.dbs"_s,
                              u"sub dir/"_s, u"sub dir/más hondo/"_s,
                              u"sub dir/más hondo/dos.txt"_s, u"sub dir/uno.ini"_s}));

        const QString restored = dir.filePath(u"restored"_s);
        QDir().mkpath(restored);
        writeBytes(restored + u"/Orvex.ini"_s, "changed since");
        writeBytes(restored + u"/otro.ini"_s, "untouched");
        const Outcome extracted = runOxzip({u"-extract"_s, u"-overwrite=all"_s, archive, restored});
        QCOMPARE(extracted.status, 0);
        QCOMPARE(extracted.err, QByteArray());

        QMap<QString, QByteArray> expected = treeOf(ox);
        expected.remove(u"programa.exe"_s);
        expected.remove(u"vacía/"_s);
        expected.insert(u"otro.ini"_s, "untouched");
        QCOMPARE(treeOf(restored), expected);
    }

    void writesValidEmptyArchive()
    {
        QTemporaryDir dir;
        const QString archive = dir.filePath(u"vacío.zip"_s);
        const Outcome saved =
            runOxzip({u"-add"_s, u"-directories=relative"_s, archive, dir.filePath(u"*.ini"_s)});
        QCOMPARE(saved.status, 0);
        QCOMPARE(entryNames(archive), QStringList{});
        const Outcome extracted =
            runOxzip({u"-extract"_s, u"-overwrite=all"_s, archive, dir.filePath(u"out"_s)});
        QCOMPARE(extracted.status, 0);
    }

    void reportsArchiveItCannotWrite()
    {
        QTemporaryDir dir;
        QVERIFY(writeBytes(dir.filePath(u"a.ini"_s), "a"));
        const Outcome saved =
            runOxzip({u"-add"_s, u"-directories=relative"_s, dir.filePath(u"missing/c.zip"_s),
                      dir.filePath(u"*.ini"_s)});
        QCOMPARE(saved.status, int(kFailed));
        QVERIFY2(oneErrorLine(saved.err), saved.err.constData());
        QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                 QStringList{u"a.ini"_s});
    }

    // A source that vanished between the listing and the writing: the old
    // archive must still be there, whole.
    void failedWriteKeepsPreviousArchive()
    {
        QTemporaryDir dir;
        const QString archive = dir.filePath(u"c.zip"_s);
        QVERIFY(writeBytes(archive, "previous archive"));
        const std::vector<ArchiveItem> items{
            {dir.filePath(u"gone.ini"_s).toStdString(), "gone.ini", false}};
        QVERIFY_THROWS_EXCEPTION(Failure, writeArchive(archive.toStdString(), items));
        QCOMPARE(readBytes(archive), QByteArray("previous archive"));
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{u"c.zip"_s});
    }

    void oxzipArchivesPassInfoZipTest()
    {
        if (!haveTool(u"unzip"_s))
            QSKIP("Info-ZIP unzip is not installed");
        QTemporaryDir dir;
        const QString ox = dir.filePath(u"ox"_s), archive = dir.filePath(u"c.zip"_s);
        makeConfiguration(ox);
        QCOMPARE(runOxzip({u"-add"_s, u"-directories=relative"_s, archive, ox + u"/*"_s,
                           ox + u"/sub dir"_s, ox + u"/vacía"_s})
                     .status,
                 0);
        QProcess unzip;
        unzip.setProcessChannelMode(QProcess::MergedChannels);
        unzip.start(u"unzip"_s, {u"-t"_s, archive});
        QVERIFY(unzip.waitForFinished(60000));
        const QByteArray output = unzip.readAll();
        QVERIFY2(unzip.exitCode() == 0, output.constData());
        QVERIFY2(!output.toLower().contains("warning"), output.constData());
        QVERIFY2(output.contains("No errors detected"), output.constData());
        QVERIFY2(output.contains("sub dir/más hondo/dos.txt"), output.constData());
    }

    void extractsInfoZipArchives()
    {
        if (!haveTool(u"zip"_s))
            QSKIP("Info-ZIP zip is not installed");
        QTemporaryDir dir;
        const QString ox = dir.filePath(u"ox"_s), archive = dir.filePath(u"r.zip"_s);
        makeConfiguration(ox);
        QProcess zip;
        zip.setWorkingDirectory(ox);
        zip.start(u"zip"_s, {u"-q"_s, u"-r"_s, archive, u"."_s});
        QVERIFY(zip.waitForFinished(60000));
        QCOMPARE(zip.exitCode(), 0);
        const QString out = dir.filePath(u"out"_s);
        const Outcome extracted = runOxzip({u"-extract"_s, u"-overwrite=all"_s, archive, out});
        QCOMPARE(extracted.status, 0);
        QCOMPARE(extracted.err, QByteArray());
        QCOMPARE(treeOf(out), treeOf(ox));
    }

    void keepsPermissionsOnOverwrite()
    {
        QTemporaryDir dir;
        const QString src = dir.filePath(u"src"_s), out = dir.filePath(u"out"_s);
        const QString archive = dir.filePath(u"p.zip"_s);
        QDir().mkpath(src);
        for (const QString &name : {u"run.sh"_s, u"private.ini"_s, u"new.sh"_s})
            QVERIFY(writeBytes(src + u'/' + name, "new " + name.toUtf8()));
        const auto plain = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup;
        const auto runnable = plain | QFile::ExeOwner;
        QVERIFY(QFile::setPermissions(src + u"/run.sh"_s, plain));
        QVERIFY(QFile::setPermissions(src + u"/private.ini"_s, plain | QFile::ReadOther));
        QVERIFY(QFile::setPermissions(src + u"/new.sh"_s, runnable));
        QCOMPARE(runOxzip({u"-add"_s, u"-directories=relative"_s, archive, src + u"/*"_s}).status,
                 0);

        QDir().mkpath(out);
        QVERIFY(writeBytes(out + u"/run.sh"_s, "old"));
        QVERIFY(writeBytes(out + u"/private.ini"_s, "old"));
        QVERIFY(QFile::setPermissions(out + u"/run.sh"_s, runnable));
        QVERIFY(
            QFile::setPermissions(out + u"/private.ini"_s, QFile::ReadOwner | QFile::WriteOwner));
        QCOMPARE(runOxzip({u"-extract"_s, u"-overwrite=all"_s, archive, out}).status, 0);

        QCOMPARE(readBytes(out + u"/run.sh"_s), QByteArray("new run.sh"));
        QCOMPARE(readBytes(out + u"/private.ini"_s), QByteArray("new private.ini"));
        const auto bits = [](const QString &path) {
            return QFile::permissions(path) &
                   (QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadOther);
        };
        QCOMPARE(bits(out + u"/run.sh"_s), runnable & ~QFile::ReadGroup);
        QCOMPARE(bits(out + u"/private.ini"_s), QFile::ReadOwner | QFile::WriteOwner);
        QVERIFY(QFile::permissions(out + u"/new.sh"_s) & QFile::ExeOwner);
        QCOMPARE(QDir(out).entryList(QDir::Files | QDir::Hidden).size(), 3); // no temporaries
    }

    // Each archive is refused as a whole: one line, status 1, and not one
    // byte written, not even its good first entry or the target folder.
    void refusesHostileArchives_data()
    {
        QTest::addColumn<QByteArray>("archive");
        QTest::addColumn<QByteArray>("reason"); // what the error line must say
        const QByteArray outside = "sale de la carpeta", notZip = "no es un zip válido";
        const CraftedEntry good = storedEntry("good.ini", "fine");
        auto with = [&good](CraftedEntry bad) { return craftArchive({good, bad}); };
        QTest::newRow("absolute") << with(storedEntry("/tmp/evil.ini", "x")) << outside;
        QTest::newRow("absolute backslash") << with(storedEntry("\\evil.ini", "x")) << outside;
        QTest::newRow("parent slash") << with(storedEntry("../evil.ini", "x")) << outside;
        QTest::newRow("parent backslash") << with(storedEntry("..\\evil.ini", "x")) << outside;
        QTest::newRow("parent deep") << with(storedEntry("sub/../../evil.ini", "x")) << outside;
        QTest::newRow("drive letter") << with(storedEntry("C:evil.ini", "x")) << outside;
        QTest::newRow("drive rooted") << with(storedEntry("C:\\evil.ini", "x")) << outside;
        CraftedEntry link = storedEntry("link", "/etc");
        link.external = 0120777u << 16;
        QTest::newRow("symlink entry") << with(link) << QByteArray("enlace simbólico");

        // 2 GiB of zeros declared over 3 MB stored: a sane ratio, too big a total.
        CraftedEntry huge = storedEntry("huge.bin", QByteArray(3 << 20, '\0'));
        huge.method = 8;
        huge.size = 2u << 30;
        QTest::newRow("2 GiB declared") << with(huge) << QByteArray("supera el límite");
        CraftedEntry part = storedEntry("part1.bin", QByteArray(1 << 20, '\0'));
        part.method = 8;
        part.size = 600u << 20;
        CraftedEntry part2 = part;
        part2.name = "part2.bin";
        QTest::newRow("total over 1 GiB") << craftArchive({good, part, part2})
                                          << QByteArray("\"part2.bin\": el contenido supera");
        QTest::newRow("ratio over 1000")
            << with(deflatedEntry("zeros.bin", QByteArray(4 << 20, '\0')))
            << QByteArray("tasa de compresión");

        QByteArray text;
        for (int i = 0; i < 20000; ++i)
            text += QByteArray::number(i) + ' ';
        CraftedEntry longer = deflatedEntry("longer.txt", text);
        longer.size = 1000;
        longer.crc = orvex::test::crc32Of(text.left(1000));
        QTest::newRow("more bytes than declared")
            << with(longer) << QByteArray("más datos de los declarados");
        CraftedEntry shorter = deflatedEntry("shorter.txt", text);
        shorter.size = quint32(text.size() * 2);
        QTest::newRow("fewer bytes than declared")
            << with(shorter) << QByteArray("menos datos de los declarados");
        CraftedEntry badCrc = storedEntry("bad.ini", "checksum does not match");
        badCrc.crc ^= 1;
        QTest::newRow("bad checksum") << with(badCrc) << QByteArray("datos dañados");
        CraftedEntry garbage = storedEntry("garbage.bin", QByteArray(4096, '\xFF'));
        garbage.method = 8;
        garbage.size = 100000;
        QTest::newRow("broken deflate") << with(garbage) << QByteArray("datos dañados");

        QByteArray random(5000, '\0');
        QRandomGenerator rng(20240611);
        for (char &c : random)
            c = char(rng.bounded(256));
        QTest::newRow("random") << random << notZip;
        QTest::newRow("random with zip start") << QByteArray("PK\x03\x04" + random) << notZip;
        QTest::newRow("empty file") << QByteArray() << QByteArray("vacío");
        const QByteArray honest = craftArchive({good, deflatedEntry("more.txt", text)});
        for (int cut :
             {10, 100, int(honest.size() / 2), int(honest.size() - 30), int(honest.size() - 1)})
            QTest::addRow("truncated at %d", cut) << honest.left(cut) << notZip;
    }
    void refusesHostileArchives()
    {
        QFETCH(QByteArray, archive);
        QFETCH(QByteArray, reason);
        QTemporaryDir dir;
        const QString path = dir.filePath(u"hostile.zip"_s);
        QVERIFY(writeBytes(path, archive));
        const Outcome outcome =
            runOxzip({u"-extract"_s, u"-overwrite=all"_s, path, dir.filePath(u"out/target"_s)});
        QCOMPARE(outcome.status, int(kFailed));
        QVERIFY2(oneErrorLine(outcome.err), outcome.err.constData());
        QVERIFY2(outcome.err.contains(reason), outcome.err.constData());
        QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                 QStringList{u"hostile.zip"_s});
    }

    // A link already in the target folder must not carry an entry out of it.
    void refusesEntriesThroughLinksOnDisk()
    {
        QTemporaryDir dir;
        const QString target = dir.filePath(u"target"_s), elsewhere = dir.filePath(u"elsewhere"_s);
        QVERIFY(QDir().mkpath(target));
        QVERIFY(QDir().mkpath(elsewhere));
        QVERIFY(QFile::link(elsewhere, target + u"/link"_s));
        const QString path = dir.filePath(u"l.zip"_s);
        QVERIFY(writeBytes(path, craftArchive({storedEntry("good.ini", "fine"),
                                               storedEntry("link/evil.ini", "x")})));
        const Outcome outcome = runOxzip({u"-extract"_s, u"-overwrite=all"_s, path, target});
        QCOMPARE(outcome.status, int(kFailed));
        QVERIFY2(oneErrorLine(outcome.err), outcome.err.constData());
        QCOMPARE(QDir(target).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden |
                                        QDir::System),
                 QStringList{u"link"_s});
        QVERIFY(QDir(elsewhere).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
    }
};

QTEST_GUILESS_MAIN(TestOxzip)
#include "tst_oxzip.moc"
