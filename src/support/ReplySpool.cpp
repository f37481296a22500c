#include "support/ReplySpool.h"

#include <QDir>

#include <algorithm>

namespace orvex {
namespace {

constexpr qint64 kBlock = qint64(1) << 20;
const QString kPattern = QStringLiteral(".orvex-reply-*");

// Removes the spools a killed run left in `folder`. A spool of this run is
// never harmed: where the system names it, it is open and cannot be removed
// (Windows) or stays readable through its handle when unlinked (POSIX), and
// on Linux it has no name at all until someone asks for one.
void sweep(const QString &folder)
{
    const QDir dir(folder);
    for (const QString &name : dir.entryList({kPattern}, QDir::Files | QDir::Hidden))
        QFile::remove(dir.absoluteFilePath(name));
}

} // namespace

std::unique_ptr<ReplySpool> ReplySpool::create(const QString &folder)
{
    sweep(folder);
    std::unique_ptr<ReplySpool> spool(new ReplySpool(folder));
    if (!spool->m_file.open())
        return nullptr;
    return spool;
}

ReplySpool::ReplySpool(const QString &folder)
    : m_file(folder + QStringLiteral("/.orvex-reply-XXXXXX"))
{}

// QTemporaryFile removes the file as it goes.
ReplySpool::~ReplySpool() = default;

bool ReplySpool::append(QByteArrayView bytes)
{
    if (!m_file.seek(m_size) || m_file.write(bytes.data(), bytes.size()) != bytes.size())
        return false;
    m_size += bytes.size();
    return true;
}

QByteArray ReplySpool::read(qint64 from, qint64 n) const
{
    n = std::clamp<qint64>(n, 0, std::max<qint64>(m_size - from, 0));
    if (n == 0 || !m_file.seek(from))
        return {};
    return m_file.read(n);
}

qint64 ReplySpool::indexOf(QByteArrayView what, qint64 from) const
{
    // Blocks overlap by one byte less than `what`, so that an occurrence
    // across two blocks is whole in one of them.
    const qint64 overlap = std::max<qint64>(what.size() - 1, 0);
    for (qint64 at = std::max<qint64>(from, 0); at < m_size; at += kBlock) {
        const QByteArray block = read(at, kBlock + overlap);
        const qsizetype found = block.indexOf(what);
        if (found >= 0)
            return at + found;
    }
    return -1;
}

bool ReplySpool::copyTo(QIODevice &out, qint64 from) const
{
    for (qint64 at = std::max<qint64>(from, 0); at < m_size; at += kBlock) {
        const QByteArray block = read(at, kBlock);
        if (block.isEmpty() || out.write(block) != block.size())
            return false;
    }
    return true;
}

} // namespace orvex
