#include "support/ReplyScanner.h"

#include "support/LeadingNumber.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>

namespace orvex {
namespace {

constexpr QByteArrayView kLengthHeader("Content-length: ");
// Replies that have not announced a length within this many bytes never will.
constexpr qint64 kHeaderlessLimit = 99999;
// Both end markers are seven bytes long.
constexpr qsizetype kMarkerSize = 7;
constexpr qsizetype kMarkerTail = kMarkerSize - 1;
constexpr qsizetype kKeep = kLengthHeader.size() - 1;
// Only the start of the header's value can hold the number.
constexpr qsizetype kValueLimit = 64;

QByteArray joined(QByteArrayView a, QByteArrayView b)
{
    QByteArray out;
    out.reserve(a.size() + b.size());
    out.append(a).append(b);
    return out;
}

bool equalsUpper(const char *p, const char *upper, qsizetype n)
{
    for (qsizetype i = 0; i < n; ++i) {
        char c = p[i];
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - ('a' - 'A'));
        if (c != upper[i])
            return false;
    }
    return true;
}

// True when `data` holds a whole marker equal to the seven bytes `upper` in
// any letter case. Only the places where the marker's first byte (never a
// letter) stands are compared, so a reply without dots or angle brackets is
// passed over at memchr speed.
bool hasMarker(QByteArrayView data, const char *upper)
{
    if (data.size() < kMarkerSize)
        return false;
    const char *p = data.data();
    const char *last = p + data.size() - kMarkerSize; // the last place a marker can start
    while ((p = static_cast<const char *>(
                std::memchr(p, upper[0], static_cast<size_t>(last - p + 1))))) {
        if (equalsUpper(p + 1, upper + 1, kMarkerSize - 1))
            return true;
        if (p++ == last)
            return false;
    }
    return false;
}

bool hasEndMarker(QByteArrayView data)
{
    // Block by block, so the second search finds the bytes still in the
    // cache. A marker that starts in a block is whole in it and its overlap.
    constexpr qsizetype kBlock = qsizetype(32) << 10;
    for (qsizetype at = 0; at < data.size(); at += kBlock) {
        const QByteArrayView block =
            data.sliced(at, std::min(kBlock + kMarkerTail, data.size() - at));
        if (hasMarker(block, ".END.\r\n") || hasMarker(block, "</HTML>"))
            return true;
    }
    return false;
}

// The leading decimal number of `text` after blanks, as a positive 32-bit
// value; -1 for anything else.
qint32 positiveNumber(QByteArrayView text)
{
    const qint64 value = leadingNumber(text, std::numeric_limits<qint32>::max(), OnOverflow::Zero);
    return value > 0 ? static_cast<qint32>(value) : -1;
}

} // namespace

void ReplyScanner::feed(QByteArrayView chunk)
{
    if (chunk.isEmpty())
        return;
    if (!m_endMarker) {
        // A marker split between the last chunk and this one lies within the
        // kept tail and this chunk's first bytes; anything else lies within
        // this chunk alone.
        const QByteArray seam =
            joined(QByteArrayView(m_tail).last(std::min(m_tail.size(), kMarkerTail)),
                   chunk.first(std::min(chunk.size(), kMarkerTail)));
        m_endMarker = hasEndMarker(seam) || hasEndMarker(chunk);
    }
    if (m_contentLength == 0)
        scanLength(chunk);
    m_received += chunk.size();
    m_tail.append(chunk.last(std::min(chunk.size(), kKeep)));
    m_tail = m_tail.right(kKeep);
}

void ReplyScanner::scanLength(QByteArrayView chunk)
{
    QByteArrayView value = chunk;
    bool crBefore = false;
    if (m_headerFound) {
        crBefore = m_tail.endsWith('\r');
    } else {
        const std::optional<qsizetype> valueStart = findLengthValue(chunk);
        if (!valueStart) {
            if (m_received + chunk.size() > kHeaderlessLimit)
                m_contentLength = -1;
            return;
        }
        m_headerFound = true;
        value = chunk.sliced(*valueStart);
    }
    m_value.append(value.first(std::min(value.size(), kValueLimit - m_value.size())));
    // The value is only read once its line is complete, so a header that
    // arrives in two pieces is not mistaken for a shorter number.
    if (!(crBefore && value.startsWith('\n')) && !value.contains("\r\n"))
        return;
    // The number ends at the first byte that is no digit, the line's CR at
    // the latest.
    m_contentLength = positiveNumber(m_value);
    m_value.clear();
}

std::optional<qsizetype> ReplyScanner::findLengthValue(QByteArrayView chunk) const
{
    // A header that starts in the kept tail ends in this chunk's first bytes.
    const QByteArray seam = joined(m_tail, chunk.first(std::min(chunk.size(), kKeep)));
    const qsizetype inSeam = QByteArrayView(seam).indexOf(kLengthHeader);
    if (inSeam >= 0)
        return inSeam + kLengthHeader.size() - m_tail.size();
    const qsizetype at = chunk.indexOf(kLengthHeader);
    if (at >= 0)
        return at + kLengthHeader.size();
    return std::nullopt;
}

int httpStatus(QByteArrayView reply)
{
    // RFC 1945 section 6.1: "HTTP/" digits "." digits SP three-digit code SP.
    const QByteArrayView line = reply.first(std::min<qsizetype>(reply.size(), 64));
    if (!line.startsWith("HTTP/"))
        return 0;
    const qsizetype blank = line.indexOf(' ');
    if (blank < 0 || line.size() < blank + 4)
        return 0;
    int code = 0;
    for (const char c : line.sliced(blank + 1, 3)) {
        if (c < '0' || c > '9')
            return 0;
        code = code * 10 + (c - '0');
    }
    return code;
}

} // namespace orvex
