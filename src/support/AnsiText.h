#pragma once
// Text as it came over the wire: bytes in the ANSI code page, turned into a
// QString only when someone asks for one. A reply of many megabytes is
// searched for its markers where it lies instead of being widened to twice
// its size first.
#include "support/AnsiCodec.h"

#include <QByteArray>
#include <QString>

#include <utility>

namespace orvex {

class AnsiText
{
public:
    AnsiText() = default;
    explicit AnsiText(QByteArray bytes) : m_bytes(std::move(bytes)) {}
    static AnsiText fromString(const QString &text) { return AnsiText(ansi::encode(text)); }

    const QByteArray &bytes() const { return m_bytes; }
    QString toString() const { return ansi::decode(m_bytes); }
    operator QString() const { return toString(); }

    bool isEmpty() const { return m_bytes.isEmpty(); }
    // Characters and bytes are one to one in a single-byte code page.
    qsizetype size() const { return m_bytes.size(); }

    bool contains(const QString &text) const { return m_bytes.contains(ansi::encode(text)); }
    bool startsWith(const QString &text) const { return m_bytes.startsWith(ansi::encode(text)); }

    friend bool operator==(const AnsiText &a, const AnsiText &b) { return a.m_bytes == b.m_bytes; }
    friend bool operator==(const AnsiText &a, const QString &b) { return a.toString() == b; }

private:
    QByteArray m_bytes;
};

} // namespace orvex
