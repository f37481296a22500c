#pragma once
// Builds archive bytes field by field, so the tests can write what no honest
// archiver would: names that climb out, link entries, sizes that lie.
#include <QByteArray>
#include <QList>
#include <QtGlobal>

namespace orvex::test {

struct CraftedEntry
{
    QByteArray name;
    QByteArray data;    // exactly as stored
    quint16 method = 0; // 0 stored, 8 deflated
    quint32 crc = 0;
    quint32 size = 0;        // declared uncompressed size
    quint32 external = 0;    // external attributes
    quint16 madeBy = 0x031E; // Unix host, version 3.0
};

quint32 crc32Of(const QByteArray &data);
// The raw deflate stream of `data`.
QByteArray deflated(const QByteArray &data);

// An honest entry: stored or deflated, with the right size and checksum.
CraftedEntry storedEntry(const QByteArray &name, const QByteArray &content);
CraftedEntry deflatedEntry(const QByteArray &name, const QByteArray &content);

QByteArray craftArchive(const QList<CraftedEntry> &entries);

} // namespace orvex::test
