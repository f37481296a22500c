#pragma once
// Builds small but complete Windows PE images (PE32 or PE32+) with a .text
// and a .rsrc section holding a version resource, for the version reader's
// tests. The layout is fixed so tests can patch single fields.
#include <QByteArray>
#include <QtEndian>

#include <array>
#include <cstdint>

namespace orvex::test::pe {

constexpr int kPeHeader = 0x80;                   // "PE\0\0"
constexpr int kCoffHeader = kPeHeader + 4;        // 20 bytes
constexpr int kOptionalHeader = kCoffHeader + 20; // magic first
constexpr int kRsrcFile = 0x400;                  // .rsrc raw data
constexpr std::uint32_t kRsrcRva = 0x2000;
// Offsets inside .rsrc.
constexpr int kRootDir = 0x00;     // types: 1 named + 2 ID entries (3 = icon, 16 = version)
constexpr int kLanguageDir = 0x50; // languages of the version's one name: one entry, 0x409
constexpr int kDataEntry = 0x68;
constexpr int kVersionBlock = 0x78;
constexpr int kVersionBlockSize = 92; // header, key, padding, VS_FIXEDFILEINFO

constexpr int kSectionTable = kOptionalHeader + 224; // PE32+: 16 bytes further on

// A little-endian field of T's width.
template <typename T> void put(QByteArray &image, int offset, T value)
{
    qToLittleEndian(value, image.data() + offset);
}

struct ImageOptions
{
    bool pe32Plus = false;
    std::array<std::uint16_t, 4> version{1, 2, 3, 4};
};

inline QByteArray buildImage(const ImageOptions &o)
{
    constexpr std::uint32_t dir = 0x80000000u, used = kVersionBlock + kVersionBlockSize;
    const bool plus = o.pe32Plus;
    const std::uint32_t opt = kOptionalHeader, count = opt + (plus ? 108 : 92), r = kRsrcFile;
    const std::uint32_t s = kSectionTable + 16 * plus, block = r + kVersionBlock, nameDir = 0x38;
    QByteArray image(kRsrcFile + 0x200, '\0');
    image.replace(0, 2, "MZ");
    image.replace(kPeHeader, 4, QByteArray("PE\0\0", 4));
    // Pairs of offset and value, for 16-bit fields then 32-bit ones.
    const std::uint32_t halves[] = {
        // COFF header: machine, 2 sections, optional header size, flags.
        kCoffHeader, plus ? 0x8664u : 0x014Cu, kCoffHeader + 2, 2, kCoffHeader + 16, s - opt,
        kCoffHeader + 18, plus ? 0x22u : 0x102u,
        // Optional header: magic, subsystem (console).
        opt, plus ? 0x20Bu : 0x10Bu, opt + 68, 3,
        // Resource directories: named and ID entry counts. The root's named
        // entry's string offset (0x10) would, if its name bit were ignored,
        // read as ID 16 and lead to the empty icon directory at 0x28.
        r + 12, 1, r + 14, 2, r + nameDir + 14, 1, r + kLanguageDir + 14, 1,
        // Version block: length, value length.
        block, kVersionBlockSize, block + 2, 52};
    for (size_t i = 0; i < std::size(halves); i += 2)
        put(image, int(halves[i]), std::uint16_t(halves[i + 1]));
    const std::uint32_t words[] = {
        0x3C, kPeHeader,
        // Optional header: entry point, section and file alignment, image and
        // header sizes, data directory count and the resource directory.
        opt + 16, 0x1000, opt + 32, 0x1000, opt + 36, 0x200, opt + 56, 0x3000, opt + 60, 0x200,
        count, 16, count + 20, kRsrcRva, count + 24, used,
        // Section headers (.text, .rsrc): virtual size, address, raw size, raw offset.
        s + 8, 0x10, s + 12, 0x1000, s + 16, 0x200, s + 20, 0x200, s + 48, used, s + 52, kRsrcRva,
        s + 56, 0x200, s + 60, kRsrcFile,
        // Resource directory entries (name or ID, then target), the data entry.
        r + 16, dir | 16, r + 20, dir | 0x28, r + 24, 3, r + 28, dir | 0x28, r + 32, 16, r + 36,
        dir | nameDir, r + nameDir + 16, 1, r + nameDir + 20, dir | kLanguageDir,
        r + kLanguageDir + 16, 0x409, r + kLanguageDir + 20, kDataEntry, r + kDataEntry,
        kRsrcRva + kVersionBlock, r + kDataEntry + 4, kVersionBlockSize,
        // VS_FIXEDFILEINFO: signature, structure version, file version.
        block + 40, 0xFEEF04BDu, block + 44, 0x10000, block + 48,
        (std::uint32_t(o.version[0]) << 16) | o.version[1], block + 52,
        (std::uint32_t(o.version[2]) << 16) | o.version[3]};
    for (size_t i = 0; i < std::size(words); i += 2)
        put(image, int(words[i]), words[i + 1]);
    image.replace(int(s), 5, ".text").replace(int(s) + 40, 5, ".rsrc");
    image[0x200] = char(0xC3); // ret
    const char16_t key[] = u"VS_VERSION_INFO";
    for (int i = 0; key[i]; ++i)
        put(image, int(block) + 6 + 2 * i, std::uint16_t(key[i]));
    return image;
}

} // namespace orvex::test::pe
