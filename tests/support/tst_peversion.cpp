#include "common/TestSupport.h"
#include "support/PeVersion.h"
#include "support/helpers/PeImageWriter.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QtEndian>
#include <QtTest>

#include <vector>

using namespace orvex;
using namespace orvex::test::pe;
using namespace Qt::StringLiterals;

namespace {

// Parses an exact-size heap copy, so that a read one byte past the end is
// caught by the address sanitizer (a QByteArray keeps a terminator and spare
// capacity). Answers "a.b.c.d" or "none", which reads well in a failure.
QString parsed(const QByteArray &bytes)
{
    const std::vector<char> copy(bytes.begin(), bytes.end());
    const auto v = peFileVersion(QByteArrayView(copy.data(), qsizetype(copy.size())));
    return v ? u"%1.%2.%3.%4"_s.arg((*v)[0]).arg((*v)[1]).arg((*v)[2]).arg((*v)[3]) : u"none"_s;
}

} // namespace

class tst_PeVersion : public QObject
{
    Q_OBJECT

private slots:
    void malformed_data()
    {
        // One field overwritten; PE32+ fields past the optional header's start
        // sit 16 bytes further on.
        QTest::addColumn<int>("offset");
        QTest::addColumn<int>("pe32PlusShift");
        QTest::addColumn<int>("width");
        QTest::addColumn<uint>("value");
        const int root = kRsrcFile + kRootDir, lang = kRsrcFile + kLanguageDir + 16;
        const int data = kRsrcFile + kDataEntry, block = kRsrcFile + kVersionBlock;
        const auto row = [](const char *name, int offset, int shift, int width, uint value) {
            QTest::newRow(name) << offset << shift << width << value;
        };
        row("header offset past end", 0x3C, 0, 4, 0xFFFFFFF0u);
        row("unknown magic", kOptionalHeader, 0, 2, 0x107);
        row("two data directories", kOptionalHeader + 92, 16, 4, 2);
        row("sections past end", kCoffHeader + 2, 0, 2, 0xFFFF);
        // .rsrc is the second header: the one after the counted ones is none.
        row("rsrc not counted", kCoffHeader + 2, 0, 2, 1);
        row("block beyond raw data", sectionTable(false) + 56, 16, 4, kVersionBlock + 40);
        row("huge entry count", root + 12, 0, 4, 0xFFFFFFFFu);
        row("version only by name", root + 32, 0, 4, 0x80000000u | 16);
        row("cycle to root", lang + 4, 0, 4, 0x80000000u | kRootDir);
        row("offset past end", lang + 4, 0, 4, 0x7FFFFFF0u);
        row("data rva wraps", data, 0, 4, 0xFFFFFFF0u);
        row("data size huge", data + 4, 0, 4, 0xFFFFFFFFu);
        row("block too short", block, 0, 2, 60);
        row("no fixed info", block + 2, 0, 2, 0);
        row("wrong key", block + 6, 0, 2, 'W');
        row("wrong signature", block + 40, 0, 4, 0);
    }
    void malformed()
    {
        QFETCH(int, offset);
        QFETCH(int, pe32PlusShift);
        QFETCH(int, width);
        QFETCH(uint, value);
        for (const bool plus : {false, true}) {
            QByteArray image = buildImage({plus, {1, 2, 3, 4}, true});
            QCOMPARE(parsed(image), u"1.2.3.4"_s);
            const int at = offset + (plus ? pe32PlusShift : 0);
            width == 2 ? put16(image, at, std::uint16_t(value)) : put32(image, at, value);
            QCOMPARE(parsed(image), u"none"_s);
        }
    }

    void everyTruncation()
    {
        // The version block is the last thing the reader needs: every shorter
        // prefix must fail, and the section's padding after it is not needed.
        const QByteArray image = buildImage({true, {65535, 0, 7, 1}, true});
        const int needed = kRsrcFile + kVersionBlock + kVersionBlockSize;
        for (int size = 0; size < needed; ++size)
            QVERIFY2(parsed(image.left(size)) == u"none", QByteArray::number(size));
        QCOMPARE(parsed(image.left(needed)), u"65535.0.7.1"_s);
    }

    void randomMutations()
    {
        QRandomGenerator rng(20240611);
        const QByteArray images[] = {buildImage({false, {1, 2, 3, 4}, true}),
                                     buildImage({true, {1, 2, 3, 4}, true})};
        const std::uint32_t interesting[] = {0,           1,           0x7FFFFFFFu, 0x80000000u,
                                             0xFFFFFFFFu, 0x80000010u, kRsrcRva,    0xFFFF};
        // The file version's two words: an edit there may change the answer.
        const int versionFrom = kRsrcFile + kVersionBlock + 48, versionTo = versionFrom + 8;
        int good = 0, bad = 0;
        for (int round = 0; round < 20000; ++round) {
            QByteArray b = images[round & 1];
            bool versionEdited = false;
            const auto edited = [&](int from, int length) {
                versionEdited = versionEdited || (from < versionTo && from + length > versionFrom);
            };
            for (int e = 1 + int(rng.bounded(6)); e > 0 && !b.isEmpty(); --e) {
                // Most edits go to the headers and the resource tree, where the
                // reader looks; whole words hit offsets and counts.
                const int span = rng.bounded(4) ? kRsrcFile + 0xE0 : int(b.size());
                const int at = int(rng.bounded(std::min(span, int(b.size())))) & ~3;
                switch (rng.bounded(4)) {
                case 0:
                    b[at] = char(rng.bounded(256));
                    edited(at, 1);
                    break;
                case 1:
                    if (at + 4 <= b.size()) {
                        put32(b, at, interesting[rng.bounded(8)]);
                        edited(at, 4);
                    }
                    break;
                case 2:
                    if (at + 4 <= b.size()) {
                        const int half = at + 2 * int(rng.bounded(2));
                        put16(b, half, std::uint16_t(rng.bounded(65536)));
                        edited(half, 2);
                    }
                    break;
                default:
                    b.truncate(at);
                }
            }
            // Whatever else was damaged, the reader finds the one version
            // block or gives up: it never makes up a version.
            const QString answer = parsed(b);
            if (!versionEdited)
                QVERIFY2(answer == u"1.2.3.4" || answer == u"none",
                         qPrintable(u"round %1: %2"_s.arg(round).arg(answer)));
            answer == u"none" ? ++bad : ++good;
        }
        for (int round = 0; round < 2000; ++round) {
            QByteArray noise(int(rng.bounded(2048)), Qt::Uninitialized);
            for (char &c : noise)
                c = char(rng.bounded(256));
            if (noise.size() >= 0x40) {
                noise.replace(0, 2, "MZ");
                put32(noise, 0x3C, rng.bounded(std::uint32_t(noise.size())));
            }
            // Noise is no image, whatever its first bytes say.
            QCOMPARE(parsed(noise), u"none"_s);
        }
        // Both outcomes, or the edits never reached the reader's deeper paths.
        QVERIFY(good > 0 && bad > 0);
    }

    void toolchainBuiltExe_data()
    {
        QTest::addColumn<QString>("prefix");
        QTest::addColumn<quint16>("magic");
        QTest::newRow("PE32+") << u"x86_64-w64-mingw32"_s << quint16(0x20B);
        QTest::newRow("PE32") << u"i686-w64-mingw32"_s << quint16(0x10B);
    }
    void toolchainBuiltExe()
    {
        QFETCH(QString, prefix);
        const auto tool = [&](const char *name) {
            return QStandardPaths::findExecutable(prefix + u'-' + QLatin1String(name));
        };
        const QString windres = tool("windres"), as = tool("as"), ld = tool("ld");
        if (windres.isEmpty() || as.isEmpty() || ld.isEmpty())
            QSKIP("mingw-w64 binutils for this target are not installed");
        // windres needs a C preprocessor; without the target's gcc use the host's.
        QStringList rcArgs{u"v.rc"_s, u"v.o"_s};
        if (tool("gcc").isEmpty())
            rcArgs << u"--preprocessor=cpp"_s;
        QTemporaryDir dir;
        QVERIFY(test::writeBytes(dir.filePath(u"v.rc"_s),
                                 "1 VERSIONINFO\nFILEVERSION 7,6,5,4\nBEGIN\nEND\n"));
        QVERIFY(test::writeBytes(dir.filePath(u"s.s"_s), ".globl start\nstart:\n ret\n"));
        for (const auto &[program, args] :
             {std::pair{windres, rcArgs},
              {as, {u"s.s"_s, u"-o"_s, u"s.o"_s}},
              {ld, {u"-e"_s, u"start"_s, u"s.o"_s, u"v.o"_s, u"-o"_s, u"v.exe"_s}}}) {
            QProcess p;
            p.setWorkingDirectory(dir.path());
            p.start(program, args);
            QVERIFY2(p.waitForFinished(60000) && p.exitStatus() == QProcess::NormalExit &&
                         !p.exitCode(),
                     qPrintable(program + QString::fromLocal8Bit(p.readAllStandardError())));
        }
        const QByteArray exe = test::readBytes(dir.filePath(u"v.exe"_s));
        const auto peAt = qFromLittleEndian<quint32>(exe.constData() + 0x3C);
        QVERIFY(exe.size() > qsizetype(peAt) + 26);
        QTEST(qFromLittleEndian<quint16>(exe.constData() + peAt + 24), "magic");
        QCOMPARE(parsed(exe), u"7.6.5.4"_s);
    }
};

QTEST_GUILESS_MAIN(tst_PeVersion)
#include "tst_peversion.moc"
