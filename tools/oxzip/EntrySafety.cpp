#include "oxzip/EntrySafety.h"

#include "oxzip/Utf8Path.h"

#include <algorithm>
#include <system_error>

namespace fs = std::filesystem;

namespace orvex::oxzip {
namespace {

constexpr std::uint8_t kHostUnix = 3;
constexpr std::uint32_t kFileTypeMask = 0170000;
constexpr std::uint32_t kSymlinkType = 0120000;

bool isAsciiLetter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool isControl(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
}

} // namespace

std::optional<std::vector<std::string>> safeEntryParts(std::string_view name)
{
    if (name.empty() || name.front() == '/' || name.front() == '\\')
        return std::nullopt;
    if (name.size() >= 2 && isAsciiLetter(name[0]) && name[1] == ':')
        return std::nullopt;
#ifdef _WIN32
    if (name.find(':') != std::string_view::npos)
        return std::nullopt;
#endif
    if (std::any_of(name.begin(), name.end(), isControl))
        return std::nullopt;
    std::vector<std::string> parts;
    size_t start = 0;
    while (start <= name.size()) {
        const size_t end = std::min(name.find_first_of("/\\", start), name.size());
        const std::string_view part = name.substr(start, end - start);
        if (part == "..")
            return std::nullopt;
        if (!part.empty() && part != ".")
            parts.emplace_back(part);
        start = end + 1;
    }
    return parts;
}

bool isSymlinkEntry(std::uint8_t hostSystem, std::uint32_t externalAttributes)
{
    return hostSystem == kHostUnix && ((externalAttributes >> 16) & kFileTypeMask) == kSymlinkType;
}

unsigned unixPermissions(std::uint8_t hostSystem, std::uint32_t externalAttributes)
{
    return hostSystem == kHostUnix ? (externalAttributes >> 16) & 0777u : 0u;
}

std::string compressionMethodName(std::uint16_t method)
{
    switch (method) {
    case 9:
        return "Deflate64";
    case 12:
        return "BZIP2";
    case 14:
        return "LZMA";
    case 93:
        return "Zstandard";
    case 95:
        return "XZ";
    case 98:
        return "PPMd";
    default:
        return "número " + std::to_string(method);
    }
}

std::optional<fs::path> resolvedInside(const fs::path &root, const std::vector<std::string> &parts)
{
    fs::path target = root;
    for (const std::string &part : parts)
        target /= pathFromUtf8(part);
    std::error_code ec;
    const fs::path resolved = fs::weakly_canonical(target, ec);
    if (ec)
        return std::nullopt;
    const fs::path relative = resolved.lexically_relative(root);
    if (relative.empty() || relative == "." || *relative.begin() == "..")
        return std::nullopt;
    return resolved;
}

} // namespace orvex::oxzip
