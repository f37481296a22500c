#include "support/PeVersion.h"
#include "support/helpers/PeImageWriter.h"

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
        // One field overwritten; in PE32+ the fields between the optional
        // header's start and the resources sit 16 bytes further on.
        QTest::addColumn<int>("offset");
        QTest::addColumn<int>("width");
        QTest::addColumn<uint>("value");
        const int root = kRsrcFile + kRootDir, lang = kRsrcFile + kLanguageDir + 16;
        const int data = kRsrcFile + kDataEntry, block = kRsrcFile + kVersionBlock;
        const auto row = [](const char *name, int offset, int width, uint value) {
            QTest::newRow(name) << offset << width << value;
        };
        row("header offset past end", 0x3C, 4, 0xFFFFFFF0u);
        row("unknown magic", kOptionalHeader, 2, 0x107);
        row("two data directories", kOptionalHeader + 92, 4, 2);
        row("sections past end", kCoffHeader + 2, 2, 0xFFFF);
        // .rsrc is the second header: the one after the counted ones is none.
        row("rsrc not counted", kCoffHeader + 2, 2, 1);
        row("block beyond raw data", sectionTable(false) + 56, 4, kVersionBlock + 40);
        row("huge entry count", root + 12, 4, 0xFFFFFFFFu);
        row("version only by name", root + 32, 4, 0x80000000u | 16);
        row("version entry not counted", root + 14, 2, 1);
        row("cycle to root", lang + 4, 4, 0x80000000u | kRootDir);
        row("offset past end", lang + 4, 4, 0x7FFFFFF0u);
        row("data rva wraps", data, 4, 0xFFFFFFF0u);
        row("data size huge", data + 4, 4, 0xFFFFFFFFu);
        row("block too short", block, 2, 60);
        row("no fixed info", block + 2, 2, 0);
        row("wrong key", block + 6, 2, 'W');
        row("wrong signature", block + 40, 4, 0);
    }
    void malformed()
    {
        QFETCH(int, offset);
        QFETCH(int, width);
        QFETCH(uint, value);
        for (const bool plus : {false, true}) {
            QByteArray image = buildImage({plus});
            QCOMPARE(parsed(image), u"1.2.3.4"_s);
            const int at =
                offset + (plus && offset > kOptionalHeader && offset < kRsrcFile ? 16 : 0);
            width == 2 ? put(image, at, std::uint16_t(value)) : put(image, at, value);
            QCOMPARE(parsed(image), u"none"_s);
        }
    }

    void everyTruncation()
    {
        // The version block is the last thing the reader needs: every shorter
        // prefix must fail, and the section's padding after it is not needed.
        const QByteArray image = buildImage({true, {65535, 0, 7, 1}});
        const int needed = kRsrcFile + kVersionBlock + kVersionBlockSize;
        for (int size = 0; size < needed; ++size)
            QVERIFY2(parsed(image.left(size)) == u"none", QByteArray::number(size));
        QCOMPARE(parsed(image.left(needed)), u"65535.0.7.1"_s);
    }
};

QTEST_GUILESS_MAIN(tst_PeVersion)
#include "tst_peversion.moc"
