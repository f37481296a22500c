#pragma once
// Paths travel through the archiver as UTF-8 strings (command line, entry
// names, libzip's file names); std::filesystem converts at the edges so the
// same code is right on Windows, where the native form is UTF-16.
#include <filesystem>
#include <string>
#include <string_view>

namespace orvex::oxzip {

inline std::filesystem::path pathFromUtf8(std::string_view text)
{
    return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

inline std::string utf8Of(const std::filesystem::path &path)
{
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
}

// With "/" between the parts, as entry names want them.
inline std::string genericUtf8Of(const std::filesystem::path &path)
{
    const std::u8string text = path.generic_u8string();
    return std::string(text.begin(), text.end());
}

} // namespace orvex::oxzip
