#include "support/PeVersion.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace orvex {
namespace {

// Layout constants of the PE/COFF format (Microsoft's PE/COFF format document,
// sections 2-3 and 6.9) and of the version resource (VS_VERSIONINFO).
constexpr std::uint64_t kDosHeaderSize = 0x40;
constexpr std::uint64_t kDosNewHeaderOffset = 0x3C; // e_lfanew
constexpr std::uint64_t kCoffHeaderSize = 20;
constexpr std::uint16_t kMagicPe32 = 0x10B;
constexpr std::uint16_t kMagicPe32Plus = 0x20B;
constexpr std::uint64_t kSectionHeaderSize = 40;
constexpr std::uint32_t kResourceDirectoryIndex = 2;
constexpr std::uint64_t kResourceDirectorySize = 16;
constexpr std::uint64_t kResourceEntrySize = 8;
constexpr std::uint64_t kResourceDataEntrySize = 16;
constexpr std::uint32_t kSubdirectoryBit = 0x80000000u;
constexpr std::uint32_t kNameIsStringBit = 0x80000000u;
constexpr std::uint32_t kRtVersion = 16;
constexpr std::uint32_t kFixedFileInfoSignature = 0xFEEF04BDu;
constexpr std::uint64_t kFixedFileInfoSize = 52;
// "VS_VERSION_INFO" with its terminating zero, in UTF-16LE, after the three
// WORDs wLength, wValueLength and wType.
constexpr std::u16string_view kVersionKey{u"VS_VERSION_INFO", 16};
constexpr std::uint64_t kVersionKeyOffset = 6;

// Every read goes through here: offset and length are checked against the
// image before a byte is touched, in 64-bit arithmetic so that no sum of
// 32-bit fields read from the file can wrap.
class Bytes
{
public:
    explicit Bytes(QByteArrayView image)
        : m_data(reinterpret_cast<const unsigned char *>(image.data())),
          m_size(static_cast<std::uint64_t>(image.size()))
    {}

    bool has(std::uint64_t offset, std::uint64_t length) const
    {
        return offset <= m_size && length <= m_size - offset;
    }

    std::optional<std::uint16_t> u16(std::uint64_t offset) const
    {
        if (!has(offset, 2))
            return std::nullopt;
        return static_cast<std::uint16_t>(m_data[offset] | (m_data[offset + 1] << 8));
    }

    std::optional<std::uint32_t> u32(std::uint64_t offset) const
    {
        if (!has(offset, 4))
            return std::nullopt;
        return static_cast<std::uint32_t>(m_data[offset]) |
               (static_cast<std::uint32_t>(m_data[offset + 1]) << 8) |
               (static_cast<std::uint32_t>(m_data[offset + 2]) << 16) |
               (static_cast<std::uint32_t>(m_data[offset + 3]) << 24);
    }

private:
    const unsigned char *m_data;
    std::uint64_t m_size;
};

struct Section
{
    std::uint32_t virtualAddress;
    std::uint32_t virtualSize;
    std::uint32_t rawSize;
    std::uint32_t rawOffset;
};

class Image
{
public:
    explicit Image(QByteArrayView image) : m_bytes(image) {}

    const Bytes &bytes() const { return m_bytes; }

    // Finds the resource directory's RVA and the section table. False when
    // the headers are not those of a PE32/PE32+ image with resources.
    bool readHeaders(std::uint32_t &resourceRva)
    {
        if (!m_bytes.has(0, kDosHeaderSize) || m_bytes.u16(0) != 0x5A4D) // "MZ"
            return false;
        const std::uint64_t pe = *m_bytes.u32(kDosNewHeaderOffset);
        if (m_bytes.u32(pe) != 0x00004550u) // "PE\0\0"
            return false;
        const std::uint64_t coff = pe + 4;
        const auto sectionCount = m_bytes.u16(coff + 2);
        const auto optionalSize = m_bytes.u16(coff + 16);
        if (!sectionCount || !optionalSize)
            return false;
        const std::uint64_t optional = coff + kCoffHeaderSize;
        const auto magic = m_bytes.u16(optional);
        std::uint64_t countField = 0;
        std::uint64_t directories = 0;
        if (magic == kMagicPe32) {
            countField = 92;
            directories = 96;
        } else if (magic == kMagicPe32Plus) {
            countField = 108;
            directories = 112;
        } else {
            return false;
        }
        const std::uint64_t entry = directories + kResourceDirectoryIndex * 8;
        const auto directoryCount = m_bytes.u32(optional + countField);
        if (!directoryCount || *directoryCount <= kResourceDirectoryIndex ||
            entry + 8 > *optionalSize)
            return false;
        const auto rva = m_bytes.u32(optional + entry);
        if (!rva || *rva == 0)
            return false;
        resourceRva = *rva;

        const std::uint64_t table = optional + *optionalSize;
        if (!m_bytes.has(table, *sectionCount * kSectionHeaderSize))
            return false;
        m_sections.reserve(*sectionCount);
        for (std::uint64_t i = 0; i < *sectionCount; ++i) {
            const std::uint64_t h = table + i * kSectionHeaderSize;
            m_sections.push_back({*m_bytes.u32(h + 12), *m_bytes.u32(h + 8), *m_bytes.u32(h + 16),
                                  *m_bytes.u32(h + 20)});
        }
        return true;
    }

    // The file offset of `length` bytes at `rva`, when they all lie in the
    // file-backed part of one section. The loader zero-fills the rest of a
    // section, but a resource living there would not be in the file at all.
    std::optional<std::uint64_t> fileOffset(std::uint64_t rva, std::uint64_t length) const
    {
        for (const Section &s : m_sections) {
            if (rva < s.virtualAddress)
                continue;
            const std::uint64_t delta = rva - s.virtualAddress;
            const std::uint64_t extent =
                s.virtualSize != 0 ? std::min(s.virtualSize, s.rawSize) : s.rawSize;
            if (delta > extent || length > extent - delta)
                continue;
            const std::uint64_t offset = std::uint64_t{s.rawOffset} + delta;
            if (m_bytes.has(offset, length))
                return offset;
        }
        return std::nullopt;
    }

private:
    Bytes m_bytes;
    std::vector<Section> m_sections;
};

// Reads one directory of the resource tree at `rva` and returns the
// OffsetToData of the entry chosen: the one with the given integer ID, or,
// with no ID, the first entry. The directory and all its entries must lie in
// one section, which also bounds the work for absurd entry counts.
std::optional<std::uint32_t> resourceEntry(const Image &image, std::uint64_t rva,
                                           std::optional<std::uint32_t> id)
{
    const auto header = image.fileOffset(rva, kResourceDirectorySize);
    if (!header)
        return std::nullopt;
    const Bytes &b = image.bytes();
    const std::uint64_t count = std::uint64_t{*b.u16(*header + 12)} + *b.u16(*header + 14);
    const auto table = image.fileOffset(rva, kResourceDirectorySize + count * kResourceEntrySize);
    if (!table || count == 0)
        return std::nullopt;
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t e = *table + kResourceDirectorySize + i * kResourceEntrySize;
        const std::uint32_t name = *b.u32(e);
        if (!id || ((name & kNameIsStringBit) == 0 && name == *id))
            return *b.u32(e + 4);
    }
    return std::nullopt;
}

std::optional<PeFileVersion> fixedFileVersion(const Bytes &b, std::uint64_t block,
                                              std::uint64_t size)
{
    const auto declared = b.u16(block);
    const auto valueLength = b.u16(block + 2);
    if (!declared || !valueLength)
        return std::nullopt;
    const std::uint64_t extent = std::min<std::uint64_t>(*declared, size);
    for (std::size_t i = 0; i < kVersionKey.size(); ++i) {
        if (b.u16(block + kVersionKeyOffset + 2 * i) != kVersionKey[i])
            return std::nullopt;
    }
    // The value starts at the next 32-bit boundary after the key, counted
    // from the start of the block.
    const std::uint64_t value =
        (kVersionKeyOffset + 2 * kVersionKey.size() + 3) & ~std::uint64_t{3};
    if (*valueLength < kFixedFileInfoSize || value + kFixedFileInfoSize > extent)
        return std::nullopt;
    if (b.u32(block + value) != kFixedFileInfoSignature)
        return std::nullopt;
    const std::uint32_t ms = *b.u32(block + value + 8);
    const std::uint32_t ls = *b.u32(block + value + 12);
    return PeFileVersion{static_cast<std::uint16_t>(ms >> 16), static_cast<std::uint16_t>(ms),
                         static_cast<std::uint16_t>(ls >> 16), static_cast<std::uint16_t>(ls)};
}

} // namespace

std::optional<PeFileVersion> peFileVersion(QByteArrayView bytes)
{
    Image image(bytes);
    std::uint32_t root = 0;
    if (!image.readHeaders(root))
        return std::nullopt;

    // Three fixed levels: type, name, language. The walk never goes deeper,
    // so a tree whose entries point back at a parent cannot make it loop.
    std::uint64_t rva = root;
    const std::optional<std::uint32_t> picks[] = {kRtVersion, std::nullopt, std::nullopt};
    for (int level = 0; level < 3; ++level) {
        const auto entry = resourceEntry(image, rva, picks[level]);
        if (!entry)
            return std::nullopt;
        const bool subdirectory = (*entry & kSubdirectoryBit) != 0;
        if (subdirectory != (level < 2))
            return std::nullopt;
        rva = std::uint64_t{root} + (*entry & ~kSubdirectoryBit);
    }

    // Unlike the offsets inside the tree, the data entry holds a plain RVA.
    const auto dataEntry = image.fileOffset(rva, kResourceDataEntrySize);
    if (!dataEntry)
        return std::nullopt;
    const Bytes &b = image.bytes();
    const std::uint32_t dataRva = *b.u32(*dataEntry);
    const std::uint32_t dataSize = *b.u32(*dataEntry + 4);
    const auto block = image.fileOffset(dataRva, dataSize);
    if (!block)
        return std::nullopt;
    return fixedFileVersion(b, *block, dataSize);
}

} // namespace orvex
