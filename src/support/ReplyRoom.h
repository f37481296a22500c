#pragma once
// Room at the end of a reply that is filled by reads of unknown size. It
// grows by doubling, or once to an announced length, so the bytes already
// received are seldom moved. Its pages are asked to be large, and the ones
// just ahead of the end are made present some megabytes at a time, one
// request each, instead of faulting in 4 KB at a time as the bytes land
// (most of the cost of a long reply).
#include <QByteArray>
#include <QtGlobal>

namespace orvex {

class ReplyRoom
{
public:
    explicit ReplyRoom(QByteArray &reply) : m_reply(reply) {}
    ReplyRoom(const ReplyRoom &) = delete;
    ReplyRoom &operator=(const ReplyRoom &) = delete;

    // Room for `total` bytes in all, made at once.
    void reserveTotal(qint64 total);
    // Room for `more` bytes past the current end, with its pages present.
    void makeRoomFor(qint64 more);

private:
    void grow(qsizetype capacity);

    QByteArray &m_reply;
    const char *m_base = nullptr; // where the pages counted by m_present lie
    qsizetype m_present = 0;      // bytes from the start known to be backed
};

} // namespace orvex
