#pragma once
// Text as it came over the wire: bytes in the ANSI code page, turned into a
// QString only when someone asks for one. A reply of many megabytes is
// searched for its markers where it lies instead of being widened to twice
// its size first; one too long to be held in memory stays in its spool file
// (ReplySpool) and is searched and copied from there.
#include "support/AnsiCodec.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <utility>

class QIODevice;

namespace orvex {

class ReplySpool;

class AnsiText
{
public:
    AnsiText() = default;
    explicit AnsiText(QByteArray bytes) : m_bytes(std::move(bytes)) {}
    explicit AnsiText(std::shared_ptr<const ReplySpool> spool);
    static AnsiText fromString(const QString &text) { return AnsiText(ansi::encode(text)); }

    // The whole text in memory: a spooled one is read in for this, so code
    // that may be handed a very long reply uses the reads below instead.
    const QByteArray &bytes() const;
    QString toString() const { return ansi::decode(bytes()); }
    operator QString() const { return toString(); }

    bool isSpooled() const { return m_spool != nullptr; }
    bool isEmpty() const { return size() == 0; }
    // Characters and bytes are one to one in a single-byte code page.
    qsizetype size() const;

    bool contains(const QString &text) const { return indexOf(ansi::encode(text)) >= 0; }
    bool startsWith(const QString &text) const;
    // Where `what` first occurs at or after `from`, or -1.
    qsizetype indexOf(QByteArrayView what, qsizetype from = 0) const;
    // Up to `n` bytes from `from`.
    QByteArray mid(qsizetype from, qsizetype n) const;
    // Writes the bytes from `from` to the end into `out`.
    bool writeTo(QIODevice &out, qsizetype from) const;

    friend bool operator==(const AnsiText &a, const AnsiText &b) { return a.bytes() == b.bytes(); }
    friend bool operator==(const AnsiText &a, const QString &b) { return a.toString() == b; }

private:
    // For a spooled text, filled on the first call of bytes().
    mutable QByteArray m_bytes;
    std::shared_ptr<const ReplySpool> m_spool;
};

} // namespace orvex
