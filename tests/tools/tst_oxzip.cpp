#include "common/TestSupport.h"
#include "oxzip/ArchiveWriter.h"
#include "oxzip/Failure.h"
#include "oxzip/PatternExpansion.h"
#include "oxzip/Staging.h"

#include <QtTest>

using namespace Qt::StringLiterals;
using namespace orvex::oxzip;
using namespace orvex::test;

namespace {

using Tree = QMap<QString, QByteArray>; // relative name (folders end in "/") to contents

struct Outcome
{
    int status = -1;
    QByteArray err, out;
};

Outcome runProgram(const QString &program, const QStringList &args, const QString &folder = {})
{
    QProcess process;
    process.setWorkingDirectory(folder);
    process.start(program, args);
    const bool ok = process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit;
    return {ok ? process.exitCode() : -1, process.readAllStandardError(),
            process.readAllStandardOutput()};
}

const QString oxzip = qEnvironmentVariable("ORVEX_BINARY_DIR") + u"/src/app/oxzip"_s;

Outcome extract(const QString &archive, const QString &folder)
{
    return runProgram(oxzip, {u"-extract"_s, u"-overwrite=all"_s, archive, folder});
}

// A failure exits with `status` and reports exactly one "oxzip: " line
// saying `reason`, nothing from a sanitizer.
bool failed(const Outcome &outcome, const QByteArray &reason, int status = kFailed)
{
    return outcome.status == status && outcome.err.startsWith("oxzip: ") &&
           outcome.err.indexOf('\n') == outcome.err.size() - 1 && outcome.err.contains(reason);
}

Tree treeOf(const QString &root)
{
    Tree tree;
    QDirIterator it(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info = it.nextFileInfo();
        tree.insert(QDir(root).relativeFilePath(info.filePath()) + (info.isDir() ? u"/"_s : u""_s),
                    info.isDir() ? QByteArray() : readBytes(info.filePath()));
    }
    return tree;
}

// Accents, spaces, nested and empty folders, a file no agent pattern asks
// for, and 20 MB of zeros: Deflate packs those about 1030 to 1, its best.
void makeConfiguration(const QString &root)
{
    QDir().mkpath(root + u"/sub dir/más hondo"_s);
    QDir().mkpath(root + u"/vacía"_s);
    writeBytes(root + u"/Orvex.ini"_s, "[Servidor]\r\nHost=127.0.0.1\r\n");
    writeBytes(root + u"/Configuración Año.ini"_s, "clave=ñandú\r\n");
    writeBytes(root + u"/datos.dbs"_s, QByteArray(20 << 20, '\0'));
    writeBytes(root + u"/programa.exe"_s, "MZ");
    writeBytes(root + u"/sub dir/uno.ini"_s, "1");
    writeBytes(root + u"/sub dir/más hondo/dos.txt"_s, "2");
}

// Archives built field by field (APPNOTE.TXT 4.3), so that the tests can
// write what no honest archiver would: names that climb out or hide control
// bytes, link entries, sizes that lie.
struct Entry
{
    // The data exactly as stored; the method 0 (stored) or 8 (deflated); the
    // size declared; the Unix mode, as the host below; an extra field for the
    // central header only.
    QByteArray name, data;
    quint16 method = 0;
    quint32 crc = 0, size = 0, external = 0100644u << 16;
    QByteArray extra;
};

// `value` as a little-endian field of `bytes` bytes.
QByteArray le(quint64 value, int bytes)
{
    QByteArray out;
    for (int i = 0; i < bytes; ++i)
        out.append(char(value >> (8 * i)));
    return out;
}

quint32 crc32Of(const QByteArray &data)
{
    quint32 crc = 0xFFFFFFFFu;
    for (char c : data) {
        crc ^= quint8(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

Entry stored(const QByteArray &name, const QByteArray &content)
{
    return {name, content, 0, crc32Of(content), quint32(content.size())};
}

Entry deflated(const QByteArray &name, const QByteArray &content)
{
    // qCompress: 4 bytes of length, 2 of zlib header, the deflate stream, 4 of Adler-32.
    const QByteArray zlib = qCompress(content, 9);
    return {name, zlib.mid(6, zlib.size() - 10), 8, crc32Of(content), quint32(content.size())};
}

QByteArray craft(const QList<Entry> &entries)
{
    QByteArray out, directory;
    for (const Entry &e : entries) {
        // Both headers share the fields from "version needed" (2.0) to the
        // name's length: no flags, the method, a date, the CRC and the sizes.
        const QByteArray common = le(20, 2) + le(0, 2) + le(e.method, 2) + le(0x00210000, 4) +
                                  le(e.crc, 4) + le(e.data.size(), 4) + le(e.size, 4) +
                                  le(e.name.size(), 2);
        // Made by Unix; then extra, comment, disk, internal and external attributes, offset.
        directory += le(0x031E02014b50, 6) + common + le(e.extra.size(), 2) + le(0, 6) +
                     le(e.external, 4) + le(out.size(), 4) + e.name + e.extra;
        out += le(0x04034b50, 4) + common + le(0, 2) + e.name + e.data;
    }
    // The end record: both entry counts, the directory's size and offset, no comment.
    return out + directory + le(0x06054b50, 8) + le(entries.size() * 0x10001u, 4) +
           le(directory.size(), 4) + le(out.size(), 6);
}

// A missing archiver passes its case over, except where CI=true: there all must be installed.
bool installed(const QString &tool)
{
    const bool found = !QStandardPaths::findExecutable(tool).isEmpty();
    if (!found && qEnvironmentVariable("CI") == u"true"_s)
        QTest::qFail("an archiver is not installed (scripts/install-deps)", __FILE__, __LINE__);
    return found;
}

} // namespace

class TestOxzip : public QObject
{
    Q_OBJECT

private slots:
    void matchesWildcards()
    {
        for (const auto &[pattern, name, ignoreCase, matches] :
             {std::tuple{"*.ini", "Orvex.ini.bak", false, false}, // the star needs what follows
              {"*a*b", "xaxbxab", false, true},                   // backtracking
              {"a?", "a", false, false},                          // "?" is never empty
              {"a?o", "año", false, true},
              {"*?.ini", "\xB1\xF1.ini", false, true}, // Latin-1 bytes
              {"*.INI", "a.ini", false, false},
              {"A*", "a.ini", true, true},
              {"Ñ*Z.INI", "ñandúz.ini", true, true}})
            QVERIFY2(wildcardMatch(pattern, name, ignoreCase) == matches, name);
    }

    // One line naming the culprit, status 2, nothing written.
    void refusesBadCommandLines()
    {
        for (const auto &[args, culprit] :
             {std::pair{u""_s, "faltan parámetros"},
              {u"-list a.zip"_s, "\"-list\" (se esperaba -add o -extract)"},
              {u"-add -directories=full a.zip *.ini"_s, "\"-directories=full\""},
              {u"-add -directories=relative a.zip "_s, "patrón vacío"},
              {u"-extract -overwrite=none a.zip out"_s, "\"-overwrite=none\""},
              {u"-extract -overwrite=all a.zip"_s, "falta la carpeta"},
              {u"-extract -overwrite=all a.zip out x"_s, "sobra el parámetro \"x\""}}) {
            QTemporaryDir dir;
            const Outcome outcome =
                runProgram(oxzip, args.isEmpty() ? QStringList() : args.split(u' '), dir.path());
            QVERIFY2(failed(outcome, culprit, kUsageError), outcome.err.constData());
            QCOMPARE(treeOf(dir.path()), Tree{});
        }
    }

    // What the agent does: save with "*.ini" and "*.dbs" (one with "\"), plus
    // a folder, leaving links out; restore over a changed copy, whose files
    // keep their permission bits while new ones take the archive's.
    void savesAndRestoresTheConfiguration()
    {
        QTemporaryDir dir;
        const QString ox = dir.filePath(u"ox"_s), archive = dir.filePath(u"Configuración.zip"_s);
        const QString restored = dir.filePath(u"restored"_s);
        makeConfiguration(ox);
        QVERIFY(
            QFile::setPermissions(ox + u"/sub dir/uno.ini"_s, QFile::ReadOwner | QFile::ExeOwner) &&
            writeBytes(dir.filePath(u"passwd"_s), "root:x:0:0") &&
            QFile::link(dir.filePath(u"passwd"_s), ox + u"/link.ini"_s) &&
            QFile::link(dir.path(), ox + u"/sub dir/up"_s) &&
            QFile::link(dir.path(), ox + u"/atajo"_s) &&
            writeBytes(archive, "an old archive, replaced"));
        const Outcome saved = runProgram(
            oxzip, {u"-add"_s, u"-directories=relative"_s, archive, ox + u"/sub dir//"_s,
                    ox + u"/*.ini"_s, ox + u"\\*.dbs"_s, ox + u"/*.none"_s, ox + u"/Orvex.ini"_s,
                    ox + u"/vacía"_s, ox + u"/atajo"_s, ox + u"/falta.ini"_s});
        QCOMPARE(saved.status, 0);
        QCOMPARE(saved.err.count("oxzip: se omite"), 3);

        QVERIFY(QDir().mkpath(restored) &&
                writeBytes(restored + u"/Orvex.ini"_s, "changed since") &&
                QFile::setPermissions(restored + u"/Orvex.ini"_s,
                                      QFile::ReadOwner | QFile::WriteOwner) &&
                writeBytes(restored + u"/otro.ini"_s, "untouched"));
        const Outcome extracted = extract(archive, restored);
        QVERIFY2(extracted.status == 0 && extracted.err.isEmpty(), extracted.err.constData());
        Tree expected = treeOf(ox);
        for (const QString &left :
             {u"programa.exe"_s, u"atajo/"_s, u"link.ini"_s, u"sub dir/up/"_s})
            QVERIFY(expected.remove(left));
        expected.insert(u"otro.ini"_s, "untouched");
        QCOMPARE(treeOf(restored), expected);
        const auto owner = [&](const QString &name) {
            return QFile::permissions(restored + name) & (QFile::WriteOwner | QFile::ExeOwner);
        };
        QCOMPARE(owner(u"/Orvex.ini"_s), QFile::WriteOwner);     // kept its own bits
        QCOMPARE(owner(u"/sub dir/uno.ini"_s), QFile::ExeOwner); // the archive's

        if (!installed(u"unzip"_s))
            return;
        const Outcome tested = runProgram(u"unzip"_s, {u"-tq"_s, archive}); // 1: warnings
        QVERIFY2(tested.status == 0, tested.out.constData());
    }

    // Failing half way leaves what was there: a source that vanished between
    // the listing and the writing keeps the old archive whole; a file that
    // cannot replace what is there (a folder) puts back the one already
    // swapped in.
    void failuresLeaveWhatWasThere()
    {
        QTemporaryDir dir;
        QVERIFY(writeBytes(dir.filePath(u"c.zip"_s), "previous archive") &&
                writeBytes(dir.filePath(u"first.ini"_s), "old") &&
                QDir().mkpath(dir.filePath(u"blocked/inside"_s)));
        const Tree before = treeOf(dir.path());
        QVERIFY_THROWS_EXCEPTION(Failure, writeArchive(dir.filePath(u"c.zip"_s).toStdString(),
                                                       {{dir.filePath(u"gone.ini"_s).toStdString(),
                                                         "gone.ini", false}}));
        QCOMPARE(treeOf(dir.path()), before);
        try { // an archive that would be a folder: the archiver's own reason
            writeArchive(dir.filePath(u"blocked"_s).toStdString(),
                         {{dir.filePath(u"first.ini"_s).toStdString(), "first.ini", false}});
            QFAIL("written over a folder");
        } catch (const Failure &f) {
            QVERIFY2(std::string_view(f.what()).ends_with("blocked\": Operation not supported"),
                     f.what());
        }
        {
            Staging staging;
            for (const QString &name : {u"first.ini"_s, u"blocked"_s}) {
                AtomicFile &file = staging.addFile(dir.filePath(name).toStdString(), 0644);
                file.write("new", 3);
                file.finish();
            }
            QVERIFY_THROWS_EXCEPTION(Failure, staging.publish());
        }
        QCOMPARE(treeOf(dir.path()), before);
    }

    // Each archive is made by the real tool, in the source folder ("@" stands
    // for the archive; without it the tool writes to a pipe, so it cannot seek
    // back to fill in sizes and writes data descriptors).
    void restoresWhatOtherArchiversWrite()
    {
        // The tool, its arguments, the reason to refuse (empty: it must restore).
        for (const auto &[tool, args, reason] :
             {std::tuple{u"zip"_s, u"-qr @ ."_s, QByteArray()},
              {u"zip"_s, u"-qr -fz @ ."_s, QByteArray()},             // Zip64
              {u"bsdtar"_s, u"--format zip -cf @ ."_s, QByteArray()}, // as Windows' tar.exe
              {u"7z"_s, u"a -tzip @ ."_s, QByteArray()},
              {u"7z"_s, u"a -tzip -mm=Deflate64 @ ."_s, "método de compresión Deflate64"_ba},
              {u"zip"_s, u"-qr - ."_s, QByteArray()}}) { // into a pipe
            if (!installed(tool))
                continue;
            QTemporaryDir dir;
            const QString source = dir.filePath(u"src"_s), archive = dir.filePath(u"a.zip"_s);
            makeConfiguration(source);
            const Outcome made =
                runProgram(tool, args.split(u' ').replaceInStrings(u"@"_s, archive), source);
            QVERIFY2(made.status == 0, made.err.constData());
            QVERIFY(QFile::exists(archive) || writeBytes(archive, made.out));
            const Outcome restored = extract(archive, dir.filePath(u"out"_s));
            QVERIFY2(reason.isEmpty() ? restored.status == 0 && restored.err.isEmpty()
                                      : failed(restored, reason),
                     qPrintable(tool + u' ' + args + u": "_s + restored.err));
            QCOMPARE(treeOf(dir.filePath(u"out"_s)), reason.isEmpty() ? treeOf(source) : Tree{});
        }
    }

    void restoresOddButSafeNames()
    {
        QTemporaryDir dir;
        const QString archive = dir.filePath(u"odd.zip"_s), out = dir.filePath(u"out"_s);
        QVERIFY(writeBytes(archive, craft({stored("./", {}), stored("./a//b/./c.ini", "c"),
                                           stored("..a/b..c/...", "dots"),
                                           stored("sub\\x.ini", "x"), stored("1:2.ini", "")})));
        QCOMPARE(extract(archive, out).status, 0);
        QCOMPARE(QStringList(treeOf(out).keys()).join(u' '),
                 u"..a/ ..a/b..c/ ..a/b..c/... 1:2.ini a/ a/b/ a/b/c.ini sub/ sub/x.ini"_s);
    }

    // Each archive is refused as a whole: one line, status 1, and nothing
    // written, neither its first entry (replacing a file the target holds)
    // nor its second (in a new folder). The target also holds a link to a
    // folder outside, a folder "carpeta" and a file "archivo".
    void refusesHostileArchives_data()
    {
        QTest::addColumn<QByteArray>("archive");
        QTest::addColumn<QByteArray>("reason"); // what the error line must say
        const auto row = [](const char *label, const QByteArray &archive, const QByteArray &why) {
            QTest::newRow(label) << archive << why;
        };
        const QByteArray notZip = "no es un zip válido", damaged = "datos dañados";
        const QByteArray clash = "sería archivo y carpeta a la vez";
        const QList<Entry> before{stored("aaa_first.txt", "new"), stored("new/good.ini", "fine")};
        auto with = [&before](const QList<Entry> &bad) { return craft(before + bad); };
        for (const QByteArray &name :
             {"/tmp/evil.ini"_ba, "\\evil.ini"_ba, "..\\evil.ini"_ba, "sub/../../evil.ini"_ba,
              "C:evil.ini"_ba, "sub\x1f/x.ini"_ba, QByteArray("nul\0name.txt", 12)})
            row(QByteArray(name).replace('\0', "\\0").constData(), with({stored(name, "x")}),
                "nombre no permitido");
        // libzip takes a Unicode Path field's name over the name field when it
        // carries the latter's CRC: that name is judged too.
        Entry unicodePath = stored("plain.ini", "x");
        // Its id, size and version, the CRC of the name field, the name.
        unicodePath.extra =
            le(0x7075, 2) + le(13, 2) + le(1, 1) + le(crc32Of("plain.ini"), 4) + "up\nx.ini";
        row("LF in Unicode Path", with({unicodePath}), "\"up\\x0Ax.ini\": nombre");
        row("symlink entry", with({{.name = "ln", .data = "/etc", .external = 0120777u << 16}}),
            "enlace simbólico");
        row("LZMA", with({{.name = "x.bin", .data = "x", .method = 14, .size = 1}}),
            "método de compresión LZMA no soportado");
        row("file then dir", with({stored("x", "file"), stored("x/y", "under")}), clash);
        row("dir then file", with({stored("d/", {}), stored("d", "file")}), clash);
        row("file then subfolder", with({stored("f", "file"), stored("f/g/", {})}), clash);
        row("file twice", with({stored("a.ini", "1"), stored("./a.ini", "2")}),
            "el archivo \"a.ini\" aparece dos veces");
        row("entry through a link", with({stored("link/evil.ini", "x")}), "fuera de la carpeta");
        row("file over a folder", with({stored("carpeta", "x")}), "hay una carpeta con ese nombre");
        row("folder over a file", with({stored("archivo/x.ini", "x")}),
            "\"archivo\" no es una carpeta");

        // Two entries of 600 MiB declared, each 1 MiB of zeros deflated.
        const QByteArray zeros = deflated({}, QByteArray(1 << 20, '\0')).data;
        row("total over 1 GiB",
            with({{.name = "part1.bin", .data = zeros, .method = 8, .size = 600u << 20},
                  {.name = "part2.bin", .data = zeros, .method = 8, .size = 600u << 20}}),
            "\"part2.bin\": el contenido supera");
        const QByteArray text = QByteArray("0123456789 ").repeated(10000);
        Entry longer = deflated("longer.txt", text);
        longer.size = 1000;
        longer.crc = crc32Of(text.left(1000));
        row("more bytes than declared", with({longer}), "más datos de los declarados");
        Entry shorter = deflated("shorter.txt", text);
        shorter.size = quint32(text.size() * 2);
        row("fewer bytes than declared", with({shorter}), "menos datos de los declarados");
        row("bad checksum", with({{.name = "bad.ini", .data = "abc", .crc = 1, .size = 3}}),
            damaged);
        row("broken deflate", with({{.name = "z", .data = "\xFF\xFF", .method = 8, .size = 9}}),
            damaged);

        row("empty file", {}, "vacío");
        const QByteArray honest = with({deflated("more.txt", text)});
        for (int cut : {int(honest.size() / 2), int(honest.size() - 1)})
            row(qPrintable(u"truncated at %1"_s.arg(cut)), honest.left(cut), notZip);
    }
    void refusesHostileArchives()
    {
        QFETCH(QByteArray, archive);
        QFETCH(QByteArray, reason);
        QTemporaryDir dir;
        const QString path = dir.filePath(u"hostile.zip"_s), target = dir.filePath(u"target"_s);
        QVERIFY(QDir().mkpath(dir.filePath(u"elsewhere"_s)) && QDir().mkpath(target) &&
                writeBytes(target + u"/aaa_first.txt"_s, "old") && writeBytes(path, archive) &&
                QFile::link(dir.filePath(u"elsewhere"_s), target + u"/link"_s) &&
                QDir().mkpath(target + u"/carpeta/keep"_s) &&
                writeBytes(target + u"/archivo"_s, "file"));
        const Tree before = treeOf(dir.path());
        const Outcome outcome = extract(path, target);
        QVERIFY2(failed(outcome, reason), outcome.err.constData());
        QCOMPARE(treeOf(dir.path()), before);
    }

    // A 1 MiB file system of its own: 2 MiB of zeros, a few KiB deflated, cannot fit.
    void refusesWhatDoesNotFitOnDisk()
    {
        QTemporaryDir dir;
        const QString archive = dir.filePath(u"big.zip"_s), small = dir.filePath(u"small"_s);
        QVERIFY(QDir().mkpath(small) &&
                writeBytes(archive, craft({deflated("zeros.dbs", QByteArray(2 << 20, '\0'))})));
        const Outcome outcome =
            runProgram(u"unshare"_s, {u"-rm"_s, u"sh"_s, u"-c"_s,
                                      u"mount -t tmpfs -o size=1m none \"$0\" || exit 99\n"
                                      "exec \"$1\" -extract -overwrite=all \"$2\" \"$0\""_s,
                                      small, oxzip, archive});
        if (outcome.status == 99 || outcome.err.startsWith("unshare:"))
            QSKIP("no mount namespace of our own here (unshare -rm)");
        QVERIFY2(failed(outcome, "ocupa 2 MiB y quedan 1 MiB libres"), outcome.err.constData());
    }
};

QTEST_GUILESS_MAIN(TestOxzip)
#include "tst_oxzip.moc"
