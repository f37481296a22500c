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
    // One field overwritten; in PE32+ the fields between the optional
    // header's start and the resources sit 16 bytes further on.
    void malformed()
    {
        const int root = kRsrcFile + kRootDir, lang = kRsrcFile + kLanguageDir + 16;
        const int data = kRsrcFile + kDataEntry, block = kRsrcFile + kVersionBlock;
        // What is wrong, the field's offset, width and value.
        const std::tuple<const char *, int, int, uint> rows[] = {
            {"header offset past end", 0x3C, 4, 0xFFFFFFF0u},
            {"unknown magic", kOptionalHeader, 2, 0x107},
            {"two data directories", kOptionalHeader + 92, 4, 2},
            {"sections past end", kCoffHeader + 2, 2, 0xFFFF},
            // .rsrc is the second header: the one after the counted ones is none.
            {"rsrc not counted", kCoffHeader + 2, 2, 1},
            {"block beyond raw data", kSectionTable + 56, 4, kVersionBlock + 40},
            {"huge entry count", root + 12, 4, 0xFFFFFFFFu},
            {"version only by name", root + 32, 4, 0x80000000u | 16},
            {"version entry not counted", root + 14, 2, 1},
            {"cycle to root", lang + 4, 4, 0x80000000u | kRootDir},
            {"offset past end", lang + 4, 4, 0x7FFFFFF0u},
            {"data rva wraps", data, 4, 0xFFFFFFF0u},
            {"data size huge", data + 4, 4, 0xFFFFFFFFu},
            {"block too short", block, 2, 60},
            {"no fixed info", block + 2, 2, 0},
            {"wrong key", block + 6, 2, 'W'},
            {"wrong signature", block + 40, 4, 0}};
        for (const bool plus : {false, true}) {
            const QByteArray image = buildImage({plus});
            QCOMPARE(parsed(image), u"1.2.3.4"_s);
            for (const auto &[name, offset, width, value] : rows) {
                QByteArray broken = image;
                const int at =
                    offset + (plus && offset > kOptionalHeader && offset < kRsrcFile ? 16 : 0);
                width == 2 ? put(broken, at, std::uint16_t(value)) : put(broken, at, value);
                QVERIFY2(parsed(broken) == u"none",
                         QByteArray(name).append(plus ? " in PE32+" : "").constData());
            }
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
