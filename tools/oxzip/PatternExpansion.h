#pragma once
// Turns the patterns of an "-add" command line into the files and folders to
// store, with the names they get inside the archive.
//
// A pattern is a folder and a last part, split at the last "/" or "\" (both
// separate on every system). A last part with "*" or "?" is matched against
// the names of the regular files directly in that folder (letter case is
// ignored on Windows only); folders are not matched by wildcards. A last part
// without wildcards names one file, or one folder that is then stored with
// everything below it. Entry names are relative to the pattern's folder, use
// "/" and are UTF-8. A pattern that matches nothing adds nothing: that is not
// an error. When two patterns give the same entry name the first one wins.
// Links (to files or folders) are never stored nor followed: a restore would
// refuse a link entry, and what a link points to is no part of the folder.
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace orvex::oxzip {

struct ArchiveItem
{
    std::filesystem::path source;
    std::string entryName; // folders end in "/"
    bool isFolder = false;

    bool operator==(const ArchiveItem &) const = default;
};

// "*" matches any run of characters, "?" exactly one (a UTF-8 sequence counts
// as one character). Case-insensitive for ASCII and Latin-1 letters when asked.
bool wildcardMatch(std::string_view pattern, std::string_view name, bool ignoreCase);

// The pattern's folder part and last part, "\" taken as "/"; the folder is
// "." when the pattern has none. Trailing separators are dropped first.
struct PatternParts
{
    std::string folder;
    std::string last;
};
PatternParts splitPattern(std::string_view pattern);

struct Expansion
{
    std::vector<ArchiveItem> items;
    std::vector<std::filesystem::path> skippedLinks; // matched, but links
};

// Items sorted by entry name within each pattern, patterns in the given order.
// `exclude` (the archive being written) is never stored.
Expansion expandPatterns(const std::vector<std::string> &patterns,
                         const std::filesystem::path &exclude = {});

} // namespace orvex::oxzip
