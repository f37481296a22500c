#include "oxzip/PatternExpansion.h"

#include "oxzip/NameKey.h"
#include "oxzip/Utf8Path.h"

#include <algorithm>
#include <set>
#include <system_error>

namespace fs = std::filesystem;

namespace orvex::oxzip {
namespace {

// Decodes UTF-8 leniently: a byte that does not start a well-formed sequence
// stands for itself, so any name can still be matched.
std::u32string codePoints(std::string_view text)
{
    std::u32string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        size_t length = lead < 0x80    ? 1
                        : lead >= 0xF0 ? 4
                        : lead >= 0xE0 ? 3
                        : lead >= 0xC0 ? 2
                                       : 0;
        char32_t value = length == 1   ? lead
                         : length == 2 ? lead & 0x1Fu
                         : length == 3 ? lead & 0x0Fu
                                       : lead & 0x07u;
        bool wellFormed = length > 0 && i + length <= text.size();
        for (size_t k = 1; wellFormed && k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            wellFormed = (next & 0xC0) == 0x80;
            value = (value << 6) | (next & 0x3Fu);
        }
        if (!wellFormed) {
            out.push_back(lead);
            ++i;
            continue;
        }
        out.push_back(value);
        i += length;
    }
    return out;
}

char32_t folded(char32_t c)
{
    if ((c >= U'A' && c <= U'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7))
        return c + 32;
    return c;
}

bool hasWildcards(std::string_view text)
{
    return text.find_first_of("*?") != std::string_view::npos;
}

void addFolderTree(const fs::path &base, const fs::path &folder, const fs::path &exclude,
                   Expansion &found)
{
    if (folder != base)
        found.items.push_back({folder, genericUtf8Of(folder.lexically_relative(base)) + "/", true});
    std::error_code ec;
    // Links are not followed: their targets are no part of the folder.
    for (auto it = fs::recursive_directory_iterator(folder, ec);
         !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
        const fs::path path = it->path();
        const std::string name = genericUtf8Of(path.lexically_relative(base));
        const fs::file_status status = it->symlink_status(ec);
        if (fs::is_symlink(status))
            found.skippedLinks.push_back(path);
        else if (fs::is_directory(status))
            found.items.push_back({path, name + "/", true});
        else if (fs::is_regular_file(status) && !fs::equivalent(path, exclude, ec))
            found.items.push_back({path, name, false});
    }
}

void expandOne(const std::string &pattern, const fs::path &exclude, Expansion &found)
{
    const PatternParts parts = splitPattern(pattern);
    const fs::path folder = pathFromUtf8(parts.folder);
    std::error_code ec;
    if (parts.last.empty() || parts.last == "." || parts.last == "..") {
        // "/", "x/." or "x/..": the folder's contents, named from the folder itself.
        const fs::path named = (folder / pathFromUtf8(parts.last)).lexically_normal();
        if (fs::is_directory(named, ec))
            addFolderTree(named, named, exclude, found);
        return;
    }
    if (!hasWildcards(parts.last)) {
        const fs::path path = folder / pathFromUtf8(parts.last);
        const fs::file_status status = fs::symlink_status(path, ec);
        if (fs::is_symlink(status))
            found.skippedLinks.push_back(path);
        else if (fs::is_directory(status))
            addFolderTree(folder, path, exclude, found);
        else if (fs::is_regular_file(status) && !fs::equivalent(path, exclude, ec))
            found.items.push_back({path, parts.last, false});
        return;
    }
    for (auto it = fs::directory_iterator(folder, ec); !ec && it != fs::directory_iterator();
         it.increment(ec)) {
        const std::string name = utf8Of(it->path().filename());
        std::error_code typeError;
        const fs::file_status status = it->symlink_status(typeError);
        if (!wildcardMatch(parts.last, name, kNamesIgnoreCase))
            continue;
        if (fs::is_symlink(status))
            found.skippedLinks.push_back(it->path());
        else if (fs::is_regular_file(status) && !fs::equivalent(it->path(), exclude, typeError))
            found.items.push_back({it->path(), name, false});
    }
}

} // namespace

bool wildcardMatch(std::string_view pattern, std::string_view name, bool ignoreCase)
{
    const std::u32string p = codePoints(pattern);
    const std::u32string n = codePoints(name);
    auto same = [ignoreCase](char32_t a, char32_t b) {
        return a == b || (ignoreCase && folded(a) == folded(b));
    };
    // Greedy with one backtrack point: the last "*" seen.
    size_t pi = 0, ni = 0, starP = std::u32string::npos, starN = 0;
    while (ni < n.size()) {
        if (pi < p.size() && (p[pi] == U'?' || (p[pi] != U'*' && same(p[pi], n[ni])))) {
            ++pi;
            ++ni;
        } else if (pi < p.size() && p[pi] == U'*') {
            starP = pi++;
            starN = ni;
        } else if (starP != std::u32string::npos) {
            pi = starP + 1;
            ni = ++starN;
        } else {
            return false;
        }
    }
    while (pi < p.size() && p[pi] == U'*')
        ++pi;
    return pi == p.size();
}

PatternParts splitPattern(std::string_view pattern)
{
    std::string text(pattern);
    std::replace(text.begin(), text.end(), '\\', '/');
    while (text.size() > 1 && text.back() == '/' && text[text.size() - 2] != ':')
        text.pop_back();
    const size_t slash = text.rfind('/');
    if (slash == std::string::npos)
        return {".", text};
    std::string folder = text.substr(0, slash);
    // The root keeps its separator: "/x" and "C:/x" do not live in "" or "C:"
    // (the current folder of drive C).
    if (folder.empty() || (folder.size() == 2 && folder[1] == ':'))
        folder += '/';
    return {folder, text.substr(slash + 1)};
}

Expansion expandPatterns(const std::vector<std::string> &patterns, const fs::path &exclude)
{
    Expansion expansion;
    std::set<std::string> names;
    for (const std::string &pattern : patterns) {
        Expansion found;
        expandOne(pattern, exclude, found);
        std::sort(
            found.items.begin(), found.items.end(),
            [](const ArchiveItem &a, const ArchiveItem &b) { return a.entryName < b.entryName; });
        for (ArchiveItem &item : found.items) {
            if (names.insert(item.entryName).second)
                expansion.items.push_back(std::move(item));
        }
        expansion.skippedLinks.insert(expansion.skippedLinks.end(), found.skippedLinks.begin(),
                                      found.skippedLinks.end());
    }
    return expansion;
}

} // namespace orvex::oxzip
