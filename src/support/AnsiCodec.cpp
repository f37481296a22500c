#include "support/AnsiCodec.h"

#include "platform/CodePage.h"

#include <QStringDecoder>
#include <QStringEncoder>

#include <algorithm>
#include <array>

namespace orvex::ansi {
namespace {

// Windows-1252 differs from Latin-1 only in 0x80..0x9F. The five holes of the
// code page (81, 8D, 8F, 90, 9D) map to the C1 control of the same value, as
// the system's own conversion does.
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

// Whether any byte falls in 0x80..0x9F. Written as a branch-free reduction
// so that the compiler vectorises it: most text has no such byte and then
// needs no second pass.
bool hasWindowsOnlyBytes(QByteArrayView bytes)
{
    const auto *p = reinterpret_cast<const unsigned char *>(bytes.data());
    const qsizetype n = bytes.size();
    constexpr qsizetype kBlock = 4096;
    for (qsizetype start = 0; start < n; start += kBlock) {
        const qsizetype end = std::min(n, start + kBlock);
        unsigned char hit = 0;
        for (qsizetype i = start; i < end; ++i)
            hit |= static_cast<unsigned char>((p[i] & 0xE0) == 0x80);
        if (hit)
            return true;
    }
    return false;
}

bool useSystemCodePage()
{
    static const bool system = platform::systemAnsiCodePageIsNative();
    return system;
}

} // namespace

QByteArray encode(const QString &text)
{
    if (useSystemCodePage()) {
        QStringEncoder enc(QStringConverter::System);
        return enc.encode(text);
    }
    QByteArray out;
    out.resize(text.size());
    char *dst = out.data();
    const char16_t *src = reinterpret_cast<const char16_t *>(text.utf16());
    for (qsizetype i = 0; i < text.size(); ++i)
        dst[i] = toCp1252(src[i]);
    return out;
}

QString decode(QByteArrayView bytes)
{
    if (useSystemCodePage()) {
        QStringDecoder dec(QStringConverter::System);
        return dec.decode(bytes);
    }
    // Latin-1 conversion is vectorised in Qt; only the 0x80..0x9F range needs
    // a second look, and a single pass over the result finds it.
    QString out = QString::fromLatin1(bytes.data(), bytes.size());
    if (!hasWindowsOnlyBytes(bytes))
        return out;
    char16_t *p = reinterpret_cast<char16_t *>(out.data());
    const qsizetype n = out.size();
    for (qsizetype i = 0; i < n; ++i) {
        const char16_t c = p[i];
        if (c >= 0x80 && c <= 0x9F)
            p[i] = kHigh[c - 0x80];
    }
    return out;
}

} // namespace orvex::ansi
