#include "oxzip/CentralDirectory.h"

#include "oxzip/Failure.h"
#include "oxzip/Utf8Path.h"

#include <fstream>
#include <system_error>

namespace orvex::oxzip {
namespace {

constexpr std::uint32_t kEndSignature = 0x06054b50;
constexpr std::uint32_t kZip64LocatorSignature = 0x07064b50;
constexpr std::uint32_t kZip64EndSignature = 0x06064b50;
constexpr std::uint32_t kHeaderSignature = 0x02014b50;
constexpr std::uint16_t kUnicodePathField = 0x7075;
constexpr std::size_t kEndSize = 22, kLocatorSize = 20, kZip64EndSize = 56, kHeaderSize = 46;

// Little-endian field of `width` bytes at `at`; the caller has checked the length.
std::uint64_t field(std::string_view bytes, std::size_t at, int width)
{
    std::uint64_t value = 0;
    for (int i = width - 1; i >= 0; --i)
        value = (value << 8) | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

std::optional<DirectoryExtent> zip64Extent(std::string_view tail, std::uint64_t tailOffset,
                                           std::size_t locatorAt)
{
    const std::uint64_t recordOffset = field(tail, locatorAt + 8, 8);
    if (recordOffset < tailOffset || recordOffset - tailOffset > locatorAt - kZip64EndSize)
        return std::nullopt;
    const auto at = static_cast<std::size_t>(recordOffset - tailOffset);
    if (field(tail, at, 4) != kZip64EndSignature)
        return std::nullopt;
    DirectoryExtent extent{field(tail, at + 48, 8), field(tail, at + 40, 8),
                           field(tail, at + 32, 8)};
    if (extent.offset > recordOffset || extent.size > recordOffset - extent.offset)
        return std::nullopt;
    return extent;
}

} // namespace

std::optional<DirectoryExtent> findCentralDirectory(std::string_view tail, std::uint64_t tailOffset)
{
    if (tail.size() < kEndSize)
        return std::nullopt;
    for (std::size_t at = tail.size() - kEndSize + 1; at-- > 0;) {
        if (field(tail, at, 4) != kEndSignature ||
            at + kEndSize + field(tail, at + 20, 2) > tail.size())
            continue;
        if (at >= kLocatorSize + kZip64EndSize &&
            field(tail, at - kLocatorSize, 4) == kZip64LocatorSignature)
            return zip64Extent(tail, tailOffset, at - kLocatorSize);
        DirectoryExtent extent{field(tail, at + 16, 4), field(tail, at + 12, 4),
                               field(tail, at + 10, 2)};
        if (extent.offset + extent.size > tailOffset + at)
            return std::nullopt;
        return extent;
    }
    return std::nullopt;
}

std::optional<std::vector<RawEntryName>> readEntryNames(std::string_view directory,
                                                        std::uint64_t entries)
{
    std::vector<RawEntryName> names;
    std::size_t at = 0;
    for (std::uint64_t i = 0; i < entries; ++i) {
        if (directory.size() - at < kHeaderSize || field(directory, at, 4) != kHeaderSignature)
            return std::nullopt;
        const auto nameLength = static_cast<std::size_t>(field(directory, at + 28, 2));
        const auto extraLength = static_cast<std::size_t>(field(directory, at + 30, 2));
        const auto commentLength = static_cast<std::size_t>(field(directory, at + 32, 2));
        const std::size_t headerLength = kHeaderSize + nameLength + extraLength + commentLength;
        if (directory.size() - at < headerLength)
            return std::nullopt;
        RawEntryName entry{std::string(directory.substr(at + kHeaderSize, nameLength)), {}};
        // Extra fields: a 2-byte id and a 2-byte length before each one's data.
        std::string_view extra = directory.substr(at + kHeaderSize + nameLength, extraLength);
        while (extra.size() >= 4) {
            const auto id = field(extra, 0, 2);
            const auto length = static_cast<std::size_t>(field(extra, 2, 2));
            if (extra.size() - 4 < length)
                break;
            // Version (1 byte) and the CRC of the name field (4 bytes) come
            // first; like libzip, only the first such field counts.
            if (id == kUnicodePathField && length >= 5 && !entry.unicodeName)
                entry.unicodeName = std::string(extra.substr(9, length - 5));
            extra.remove_prefix(4 + length);
        }
        names.push_back(std::move(entry));
        at += headerLength;
    }
    return names;
}

std::vector<RawEntryName> entryNamesOf(const std::filesystem::path &archive)
{
    const std::string name = utf8Of(archive);
    const auto broken = [&name] { return Failure("\"" + name + "\" no es un zip válido"); };
    std::error_code ec;
    const std::uint64_t fileSize = std::filesystem::file_size(archive, ec);
    std::ifstream in(archive, std::ios::binary);
    if (ec || !in)
        throw Failure("no se pudo leer \"" + name + "\"");
    const auto read = [&in](std::uint64_t offset, std::uint64_t size) {
        std::string bytes(static_cast<std::size_t>(size), '\0');
        in.seekg(static_cast<std::streamoff>(offset));
        in.read(bytes.data(), static_cast<std::streamsize>(size));
        return in ? bytes : std::string();
    };
    const std::uint64_t tailOffset =
        fileSize > kDirectoryTailSize ? fileSize - kDirectoryTailSize : 0;
    const auto extent = findCentralDirectory(read(tailOffset, fileSize - tailOffset), tailOffset);
    if (!extent)
        throw broken();
    const std::string directory = read(extent->offset, extent->size);
    auto names = readEntryNames(directory, extent->entries);
    if (directory.size() != extent->size || !names)
        throw broken();
    return std::move(*names);
}

} // namespace orvex::oxzip
