#include "support/helpers/PeImageWriter.h"

namespace orvex::test::pe {

int optionalHeaderSize(bool pe32Plus)
{
    return pe32Plus ? 240 : 224;
}

int sectionTable(bool pe32Plus)
{
    return kOptionalHeader + optionalHeaderSize(pe32Plus);
}

void put16(QByteArray &image, int offset, std::uint16_t value)
{
    image[offset] = char(value & 0xFF);
    image[offset + 1] = char(value >> 8);
}

void put32(QByteArray &image, int offset, std::uint32_t value)
{
    put16(image, offset, std::uint16_t(value & 0xFFFF));
    put16(image, offset + 2, std::uint16_t(value >> 16));
}

namespace {

constexpr int kTextFile = 0x200;
constexpr std::uint32_t kTextRva = 0x1000;
constexpr int kRsrcUsed = kVersionBlock + kVersionBlockSize;
constexpr std::uint32_t kSubdir = 0x80000000u;

void putSection(QByteArray &image, int header, const char *name, std::uint32_t virtualSize,
                std::uint32_t rva, std::uint32_t rawSize, std::uint32_t rawOffset)
{
    for (int i = 0; name[i] && i < 8; ++i)
        image[header + i] = name[i];
    put32(image, header + 8, virtualSize);
    put32(image, header + 12, rva);
    put32(image, header + 16, rawSize);
    put32(image, header + 20, rawOffset);
}

void putDirectory(QByteArray &image, int at, std::uint16_t named, std::uint16_t ids)
{
    put16(image, kRsrcFile + at + 12, named);
    put16(image, kRsrcFile + at + 14, ids);
}

void putEntry(QByteArray &image, int dir, int index, std::uint32_t name, std::uint32_t target)
{
    const int e = kRsrcFile + dir + 16 + 8 * index;
    put32(image, e, name);
    put32(image, e + 4, target);
}

} // namespace

QByteArray buildImage(const ImageOptions &o)
{
    QByteArray image(kRsrcFile + 0x200, '\0');
    image[0] = 'M';
    image[1] = 'Z';
    put32(image, 0x3C, kPeHeader);
    image.replace(kPeHeader, 4, QByteArray("PE\0\0", 4));

    put16(image, kCoffHeader, o.pe32Plus ? 0x8664 : 0x014C);
    put16(image, kCoffHeader + 2, 2);
    put16(image, kCoffHeader + 16, std::uint16_t(optionalHeaderSize(o.pe32Plus)));
    put16(image, kCoffHeader + 18, o.pe32Plus ? 0x0022 : 0x0102);

    const int opt = kOptionalHeader;
    put16(image, opt, o.pe32Plus ? 0x20B : 0x10B);
    put32(image, opt + 16, kTextRva); // entry point
    put32(image, opt + 32, 0x1000);   // section alignment
    put32(image, opt + 36, 0x200);    // file alignment
    put32(image, opt + 56, 0x3000);   // size of image
    put32(image, opt + 60, 0x200);    // size of headers
    put16(image, opt + 68, 3);        // console subsystem
    const int count = opt + (o.pe32Plus ? 108 : 92);
    put32(image, count, 16);
    put32(image, count + 4 + 2 * 8, kRsrcRva);
    put32(image, count + 4 + 2 * 8 + 4, kRsrcUsed);

    const int sections = sectionTable(o.pe32Plus);
    putSection(image, sections, ".text", 0x10, kTextRva, 0x200, kTextFile);
    putSection(image, sections + 40, ".rsrc", kRsrcUsed, kRsrcRva, 0x200, kRsrcFile);
    image[kTextFile] = char(0xC3); // ret

    // The named entry's string offset (0x10) would, if its name bit were
    // ignored, read as ID 16 and lead to the empty icon directory.
    putDirectory(image, kRootDir, 1, o.withVersion ? 2 : 1);
    putEntry(image, kRootDir, 0, 0x80000000u | 16, kSubdir | 0x28);
    putEntry(image, kRootDir, 1, 3, kSubdir | 0x28);
    if (o.withVersion)
        putEntry(image, kRootDir, 2, 16, kSubdir | kNameDir);
    putDirectory(image, 0x28, 0, 0);
    putDirectory(image, kNameDir, 0, 1);
    putEntry(image, kNameDir, 0, 1, kSubdir | kLanguageDir);
    putDirectory(image, kLanguageDir, 0, 1);
    putEntry(image, kLanguageDir, 0, 0x409, kDataEntry);
    put32(image, kRsrcFile + kDataEntry, kRsrcRva + kVersionBlock);
    put32(image, kRsrcFile + kDataEntry + 4, kVersionBlockSize);

    const int block = kRsrcFile + kVersionBlock;
    put16(image, block, kVersionBlockSize);
    put16(image, block + 2, 52);
    const char16_t key[] = u"VS_VERSION_INFO";
    for (int i = 0; key[i]; ++i)
        put16(image, block + 6 + 2 * i, key[i]);
    const int fixed = block + 40;
    put32(image, fixed, 0xFEEF04BDu);
    put32(image, fixed + 4, 0x00010000u);
    put32(image, fixed + 8, (std::uint32_t(o.version[0]) << 16) | o.version[1]);
    put32(image, fixed + 12, (std::uint32_t(o.version[2]) << 16) | o.version[3]);
    return image;
}

} // namespace orvex::test::pe
