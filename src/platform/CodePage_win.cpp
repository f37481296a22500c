#include "platform/CodePage.h"

#include <windows.h>

namespace orvex::platform {

std::string encodeAnsi(std::u16string_view text)
{
    if (text.empty())
        return {};
    const auto *wide = reinterpret_cast<const wchar_t *>(text.data());
    const int length = static_cast<int>(text.size());
    // No best fit: a character the code page lacks becomes the default '?'.
    const DWORD flags = WC_NO_BEST_FIT_CHARS;
    const int bytes =
        WideCharToMultiByte(CP_ACP, flags, wide, length, nullptr, 0, nullptr, nullptr);
    if (bytes <= 0)
        return {};
    std::string out(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_ACP, flags, wide, length, out.data(), bytes, nullptr, nullptr);
    return out;
}

std::size_t decodeAnsiTo(std::string_view bytes, char16_t *out)
{
    if (bytes.empty())
        return 0;
    const int length = static_cast<int>(bytes.size());
    const int chars = MultiByteToWideChar(CP_ACP, 0, bytes.data(), length,
                                          reinterpret_cast<wchar_t *>(out), length);
    return chars > 0 ? static_cast<std::size_t>(chars) : 0;
}

std::u16string decodeAnsi(std::string_view bytes)
{
    std::u16string out(bytes.size(), u'\0');
    out.resize(decodeAnsiTo(bytes, out.data()));
    return out;
}

} // namespace orvex::platform
