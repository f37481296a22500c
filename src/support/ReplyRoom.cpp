#include "support/ReplyRoom.h"

#include "platform/PageBacking.h"
#include "support/ReplySpool.h"

#include <QLoggingCategory>

#include <algorithm>
#include <utility>

Q_DECLARE_LOGGING_CATEGORY(lcHttp)

namespace orvex {
namespace {

// Pages are requested this far ahead of the end at a time: few requests,
// and a reply that stops early leaves little memory committed for nothing.
constexpr qsizetype kPrefaultStep = qsizetype(8) << 20;
// Past this size a reply gets, once, room for all it may hold in memory:
// address space only, backed page by page as the bytes land, so nothing
// is moved again.
constexpr qsizetype kSmallReply = qsizetype(1) << 20;
// Room beyond the spool threshold for the read that crosses it.
constexpr qsizetype kLastRead = qsizetype(2) << 20;
// Address space taken at once at most; a larger threshold grows by doubling.
constexpr qint64 kMostUpFront = qint64(256) << 20;

} // namespace

ReplyRoom::ReplyRoom(qint64 spoolAbove, QString spoolFolder)
    : m_spoolAbove(spoolAbove), m_spoolFolder(std::move(spoolFolder))
{}

ReplyRoom::~ReplyRoom() = default;

QByteArray &ReplyRoom::prepare(qint64 more)
{
    if (m_spool) {
        m_pending.clear();
        m_pending.reserve(static_cast<qsizetype>(std::max<qint64>(more, 0)));
        return m_pending;
    }
    makeRoomFor(more);
    return m_reply;
}

bool ReplyRoom::commit()
{
    if (m_spool) {
        if (m_spool->append(m_pending))
            return true;
        m_error = m_spool->errorString();
        return false;
    }
    if (m_reply.size() <= m_spoolAbove || m_spoolFolder.isEmpty())
        return true;
    return moveToSpool();
}

bool ReplyRoom::moveToSpool()
{
    std::shared_ptr<ReplySpool> spool = ReplySpool::create(m_spoolFolder);
    if (!spool) {
        // Without a spool the reply stays in memory, as it always could.
        qCWarning(lcHttp) << "no spool in" << m_spoolFolder << "; the reply stays in memory";
        m_spoolFolder.clear();
        return true;
    }
    if (!spool->append(m_reply)) {
        m_error = spool->errorString();
        return false;
    }
    qCDebug(lcHttp) << "reply spooled to" << spool->fileName() << "after" << m_reply.size();
    m_spool = std::move(spool);
    m_reply = QByteArray();
    m_base = nullptr;
    m_present = 0;
    return true;
}

qint64 ReplyRoom::size() const
{
    return m_spool ? m_spool->size() : m_reply.size();
}

AnsiText ReplyRoom::take()
{
    if (m_spool)
        return AnsiText(std::shared_ptr<const ReplySpool>(std::exchange(m_spool, nullptr)));
    m_base = nullptr;
    m_present = 0;
    return AnsiText(std::exchange(m_reply, QByteArray()));
}

void ReplyRoom::makeRoomFor(qint64 more)
{
    if (more <= 0)
        return;
    const qsizetype need = m_reply.size() + static_cast<qsizetype>(more);
    if (need > m_reply.capacity()) {
        qsizetype room = std::max(need, 2 * m_reply.capacity());
        if (room > kSmallReply && !m_spoolFolder.isEmpty() && m_spoolAbove <= kMostUpFront)
            room = std::max(need, static_cast<qsizetype>(m_spoolAbove) + kLastRead);
        m_reply.reserve(room);
        // Large pages matter most where every page is first touched twice,
        // by the system's copy and by the marker scan.
        platform::adviseLargePages(m_reply.data(), m_reply.capacity());
    }
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
