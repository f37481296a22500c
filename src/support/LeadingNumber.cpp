#include "support/LeadingNumber.h"

#include <limits>

namespace orvex {

namespace {

// `code(i)` is the character code at `i`, for i below `size`.
template <typename Code, typename IsBlank>
qint64 readLeadingNumber(qsizetype size, Code code, IsBlank isBlank, quint64 limit,
                         OnOverflow onOverflow)
{
    // A magnitude beyond this would not fit the signed result.
    constexpr quint64 kMaxMagnitude = quint64(std::numeric_limits<qint64>::max());
    if (limit > kMaxMagnitude)
        limit = kMaxMagnitude;
    qsizetype i = 0;
    while (i < size && isBlank(code(i)))
        ++i;
    bool negative = false;
    if (i < size && (code(i) == u'+' || code(i) == u'-')) {
        negative = code(i) == u'-';
        ++i;
    }
    quint64 magnitude = 0;
    for (; i < size && code(i) >= u'0' && code(i) <= u'9'; ++i) {
        const quint64 digit = quint64(code(i) - u'0');
        // Checked before it happens, so that nothing wraps.
        if (digit > limit || magnitude > (limit - digit) / 10) {
            if (onOverflow == OnOverflow::Saturate)
                magnitude = limit;
            else if (onOverflow == OnOverflow::Zero)
                return 0;
            break;
        }
        magnitude = magnitude * 10 + digit;
    }
    const qint64 value = static_cast<qint64>(magnitude);
    return negative ? -value : value;
}

} // namespace

qint64 leadingNumber(QStringView text, quint64 limit, OnOverflow onOverflow)
{
    return readLeadingNumber(
        text.size(), [text](qsizetype i) { return text[i].unicode(); },
        [](char16_t c) { return QChar::isSpace(c); }, limit, onOverflow);
}

qint64 leadingNumber(QByteArrayView text, quint64 limit, OnOverflow onOverflow)
{
    return readLeadingNumber(
        text.size(), [text](qsizetype i) { return char16_t(static_cast<unsigned char>(text[i])); },
        [](char16_t c) { return c == u' ' || c == u'\t'; }, limit, onOverflow);
}

} // namespace orvex
