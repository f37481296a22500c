#pragma once
// The number at the start of a text, read as the old BASIC runtime's Val()
// reads it: optional blanks, an optional sign, then decimal digits up to the
// first character that is not one. No digits reads as 0. The callers differ
// only in how large a number they take and what an over-long one becomes.
#include <QByteArrayView>
#include <QStringView>
#include <QtGlobal>

namespace orvex {

enum class OnOverflow {
    // The value is the limit itself.
    Saturate,
    // The value is 0, as for a text without a number.
    Zero,
    // The digits read before the limit would be passed are the value.
    KeepDigitsRead,
};

// `limit` bounds the magnitude (the number without its sign). A text skips
// leading white space of any kind, as trimming would.
qint64 leadingNumber(QStringView text, quint64 limit, OnOverflow onOverflow);

// Bytes of a protocol line: only blanks and tabs are skipped.
qint64 leadingNumber(QByteArrayView text, quint64 limit, OnOverflow onOverflow);

} // namespace orvex
