#include "platform/CodePage.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace orvex::platform {
namespace {

// Windows-1252 differs from Latin-1 only in 0x80..0x9F. The five holes of the
// code page (81, 8D, 8F, 90, 9D) map to the C1 control of the same value, as
// Windows' own conversion does.
constexpr std::array<char16_t, 32> kHigh = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

char toCp1252(char16_t c)
{
    if (c < 0x80 || (c >= 0xA0 && c <= 0xFF))
        return static_cast<char>(c);
    for (std::size_t i = 0; i < kHigh.size(); ++i) {
        if (kHigh[i] == c)
            return static_cast<char>(0x80 + i);
    }
    return '?';
}

} // namespace

std::string encodeAnsi(std::u16string_view text)
{
    // One byte per UTF-16 unit, as Windows does: a character outside the
    // basic plane is two units and two question marks.
    std::string out(text.size(), '\0');
    std::transform(text.begin(), text.end(), out.begin(), toCp1252);
    return out;
}

std::size_t decodeAnsiTo(std::string_view bytes, char16_t *out)
{
    // A plain widening loop, which the compiler vectorises; only bytes in
    // 0x80..0x9F need the table, and most text has none.
    const auto *p = reinterpret_cast<const unsigned char *>(bytes.data());
    unsigned char high = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        out[i] = p[i];
        high |= static_cast<unsigned char>((p[i] & 0xE0) == 0x80);
    }
    if (high) {
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            if (out[i] >= 0x80 && out[i] <= 0x9F)
                out[i] = kHigh[out[i] - 0x80];
        }
    }
    return bytes.size();
}

std::u16string decodeAnsi(std::string_view bytes)
{
    std::u16string out(bytes.size(), u'\0');
    out.resize(decodeAnsiTo(bytes, out.data()));
    return out;
}

} // namespace orvex::platform
