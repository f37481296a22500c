#pragma once
// Entry names read from an archive's central directory as the bytes they are.
//
// libzip hands names out as C strings, which end at the first NUL byte: an
// entry "a\0b" would reach the disk as "a". These readers keep each name's
// declared length so the whole name can be judged (APPNOTE.TXT 4.3.12 central
// header, 4.3.14-4.3.16 end records, 4.6.9 Info-ZIP Unicode Path field).
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvex::oxzip {

// The most an archive's end holds: the end record with the longest comment,
// the Zip64 locator and the Zip64 end record before it.
constexpr std::uint64_t kDirectoryTailSize = 22 + 0xFFFF + 20 + 56;

struct DirectoryExtent
{
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    std::uint64_t entries = 0;
};

// Where the central directory lies, from the last end record in `tail` (the
// archive's last bytes, starting at `tailOffset` in the file) and, when a
// Zip64 locator precedes it, from the Zip64 end record. std::nullopt when
// there is no end record or the directory would not end before it.
std::optional<DirectoryExtent> findCentralDirectory(std::string_view tail,
                                                    std::uint64_t tailOffset);

struct RawEntryName
{
    std::string name;                       // the header's name field
    std::optional<std::string> unicodeName; // its first Unicode Path field's name
};

// The names of the first `entries` headers of `directory`; std::nullopt when
// a header is cut short or does not start with its signature.
std::optional<std::vector<RawEntryName>> readEntryNames(std::string_view directory,
                                                        std::uint64_t entries);

// Both steps on a file; throws Failure when the archive has no readable
// central directory.
std::vector<RawEntryName> entryNamesOf(const std::filesystem::path &archive);

} // namespace orvex::oxzip
