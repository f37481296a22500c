#pragma once
// Builds small but complete Windows PE images (PE32 or PE32+) with a .text
// and a .rsrc section holding a version resource, for the version reader's
// tests. The layout is fixed so tests can patch single fields.
#include <QByteArray>

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
constexpr int kNameDir = 0x38;     // names of the version type: one entry, 1
constexpr int kLanguageDir = 0x50; // languages of that name: one entry, 0x409
constexpr int kDataEntry = 0x68;
constexpr int kVersionBlock = 0x78;
constexpr int kVersionBlockSize = 92; // header, key, padding, VS_FIXEDFILEINFO

int optionalHeaderSize(bool pe32Plus);
int sectionTable(bool pe32Plus);

struct ImageOptions
{
    bool pe32Plus = false;
    std::array<std::uint16_t, 4> version{1, 2, 3, 4};
    bool withVersion = true; // false: the root lists only the icon type
};

QByteArray buildImage(const ImageOptions &options);

void put16(QByteArray &image, int offset, std::uint16_t value);
void put32(QByteArray &image, int offset, std::uint32_t value);

} // namespace orvex::test::pe
