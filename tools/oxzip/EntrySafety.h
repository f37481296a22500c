#pragma once
// The checks that decide, from an archive's central directory alone, whether
// it may be extracted at all. Archives come from the network: one bad entry
// refuses the whole archive before anything is written.
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvex::oxzip {

// Whole archive: more than this uncompressed is refused, as declared and as
// actually inflated.
constexpr std::uint64_t kMaxTotalSize = std::uint64_t(1) << 30;

// The relative parts of an entry name, "/" and "\" both separating, empty and
// "." parts dropped; no part at all names the target folder itself ("./").
// std::nullopt when the name is empty or absolute ("/x", "\x"), carries a
// drive letter ("C:x"), has a ".." part, or holds a control byte (NUL, CR, LF,
// any below 0x20, DEL). On Windows a ":" anywhere is refused too (it would
// name a data stream).
std::optional<std::vector<std::string>> safeEntryParts(std::string_view name);

// True when the external attributes written on a Unix host mark a symbolic link.
bool isSymlinkEntry(std::uint8_t hostSystem, std::uint32_t externalAttributes);

// The permission bits of an entry written on a Unix host, 0 when it has none.
unsigned unixPermissions(std::uint8_t hostSystem, std::uint32_t externalAttributes);

// The name of a compression method for a message: "Deflate64" for 9.
std::string compressionMethodName(std::uint16_t method);

// Where `parts` lands below `root` once links already on disk are resolved;
// std::nullopt when that is not strictly inside `root`. `root` must be
// absolute and resolved (weakly_canonical).
std::optional<std::filesystem::path> resolvedInside(const std::filesystem::path &root,
                                                    const std::vector<std::string> &parts);

} // namespace orvex::oxzip
