#include "ZipCrafter.h"

namespace orvex::test {
namespace {

void put16(QByteArray &out, quint32 value)
{
    out.append(char(value & 0xFF)).append(char((value >> 8) & 0xFF));
}

void put32(QByteArray &out, quint32 value)
{
    put16(out, value & 0xFFFF);
    put16(out, value >> 16);
}

} // namespace

quint32 crc32Of(const QByteArray &data)
{
    quint32 crc = 0xFFFFFFFFu;
    for (char c : data) {
        crc ^= quint8(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

QByteArray deflated(const QByteArray &data)
{
    // qCompress: 4 bytes of length, the 2-byte zlib header, the deflate
    // stream, the 4-byte Adler-32.
    const QByteArray zlib = qCompress(data, 9);
    return zlib.mid(6, zlib.size() - 10);
}

CraftedEntry storedEntry(const QByteArray &name, const QByteArray &content)
{
    return {name, content, 0, crc32Of(content), quint32(content.size()), 0100644u << 16};
}

CraftedEntry deflatedEntry(const QByteArray &name, const QByteArray &content)
{
    return {name, deflated(content), 8, crc32Of(content), quint32(content.size()), 0100644u << 16};
}

QByteArray craftArchive(const QList<CraftedEntry> &entries)
{
    QByteArray out, directory;
    for (const CraftedEntry &e : entries) {
        const quint32 offset = quint32(out.size());
        put32(out, 0x04034b50);
        put16(out, 20);
        put16(out, 0); // flags
        put16(out, e.method);
        put16(out, 0);    // time
        put16(out, 0x21); // 1980-01-01
        put32(out, e.crc);
        put32(out, quint32(e.data.size()));
        put32(out, e.size);
        put16(out, quint32(e.name.size()));
        put16(out, 0);
        out.append(e.name).append(e.data);

        put32(directory, 0x02014b50);
        put16(directory, e.madeBy);
        put16(directory, 20);
        put16(directory, 0);
        put16(directory, e.method);
        put16(directory, 0);
        put16(directory, 0x21);
        put32(directory, e.crc);
        put32(directory, quint32(e.data.size()));
        put32(directory, e.size);
        put16(directory, quint32(e.name.size()));
        put16(directory, 0); // extra
        put16(directory, 0); // comment
        put16(directory, 0); // disk
        put16(directory, 0); // internal attributes
        put32(directory, e.external);
        put32(directory, offset);
        directory.append(e.name);
    }
    const quint32 directoryOffset = quint32(out.size());
    out.append(directory);
    put32(out, 0x06054b50);
    put16(out, 0);
    put16(out, 0);
    put16(out, quint32(entries.size()));
    put16(out, quint32(entries.size()));
    put32(out, quint32(directory.size()));
    put32(out, directoryOffset);
    put16(out, 0);
    return out;
}

} // namespace orvex::test
