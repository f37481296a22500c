#include "support/ReplyRoom.h"

#include "platform/PageBacking.h"

#include <algorithm>

namespace orvex {
namespace {

// Pages are requested this far ahead of the end at a time: few requests,
// and a reply that stops early leaves little memory committed for nothing.
constexpr qsizetype kPrefaultStep = qsizetype(8) << 20;

} // namespace

void ReplyRoom::reserveTotal(qint64 total)
{
    if (total > m_reply.capacity())
        grow(static_cast<qsizetype>(total));
}

void ReplyRoom::grow(qsizetype capacity)
{
    // A fresh block and one copy, not a reallocation: moving large pages to
    // an address not aligned as before would break them up again.
    QByteArray bigger;
    bigger.reserve(capacity);
    // Large pages matter most where every page is first touched twice, by
    // the system's copy and by the marker scan.
    platform::adviseLargePages(bigger.data(), bigger.capacity());
    bigger.append(m_reply);
    m_reply.swap(bigger);
}

void ReplyRoom::makeRoomFor(qint64 more)
{
    if (more <= 0)
        return;
    const qsizetype need = m_reply.size() + static_cast<qsizetype>(more);
    if (need > m_reply.capacity())
        grow(std::max(need, 2 * m_reply.capacity()));
    char *data = m_reply.data();
    if (data != m_base) {
        // Moved: only the bytes carried over are known to be backed.
        m_base = data;
        m_present = m_reply.size();
    }
    if (need <= m_present)
        return;
    const qsizetype upTo = std::min(m_reply.capacity(), std::max(need, m_present + kPrefaultStep));
    platform::prefaultForWriting(data + m_present, upTo - m_present);
    m_present = upTo;
}

} // namespace orvex
