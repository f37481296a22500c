#pragma once
// UTF-8 (the seams' text) to the wide strings of the Windows API.
#include <windows.h>

#include <string>

namespace orvex::platform {

inline std::wstring toWide(const std::string &utf8)
{
    if (utf8.empty())
        return {};
    const int size = static_cast<int>(utf8.size());
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0);
    if (length <= 0)
        return {};
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, wide.data(), length);
    return wide;
}

inline std::string fromWide(const wchar_t *wide, int length = -1)
{
    if (!wide || length == 0)
        return {};
    const int size = WideCharToMultiByte(CP_UTF8, 0, wide, length, nullptr, 0, nullptr, nullptr);
    if (size <= 0)
        return {};
    std::string utf8(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide, length, utf8.data(), size, nullptr, nullptr);
    if (length < 0)
        utf8.pop_back(); // the terminator came along
    return utf8;
}

} // namespace orvex::platform
