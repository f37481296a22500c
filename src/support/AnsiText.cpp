#include "support/AnsiText.h"

#include "support/ReplySpool.h"

#include <QIODevice>

namespace orvex {

AnsiText::AnsiText(std::shared_ptr<const ReplySpool> spool) : m_spool(std::move(spool)) {}

const QByteArray &AnsiText::bytes() const
{
    if (m_spool && m_bytes.size() != m_spool->size())
        m_bytes = m_spool->read(0, m_spool->size());
    return m_bytes;
}

qsizetype AnsiText::size() const
{
    return m_spool ? m_spool->size() : m_bytes.size();
}

bool AnsiText::startsWith(const QString &text) const
{
    const QByteArray start = ansi::encode(text);
    return mid(0, start.size()) == start;
}

qsizetype AnsiText::indexOf(QByteArrayView what, qsizetype from) const
{
    return m_spool ? m_spool->indexOf(what, from) : m_bytes.indexOf(what, from);
}

QByteArray AnsiText::mid(qsizetype from, qsizetype n) const
{
    return m_spool ? m_spool->read(from, n) : m_bytes.mid(from, n);
}

bool AnsiText::writeTo(QIODevice &out, qsizetype from) const
{
    if (m_spool)
        return m_spool->copyTo(out, from);
    const QByteArrayView rest =
        QByteArrayView(m_bytes).sliced(std::clamp<qsizetype>(from, 0, m_bytes.size()));
    return out.write(rest.data(), rest.size()) == rest.size();
}

} // namespace orvex
