#pragma once
// Where a reply is kept while it arrives. In memory, past its first megabyte
// it gets room for all it may hold before it would spool, once: address
// space that is backed as the bytes land, so what it holds is never moved
// again. Large pages are asked for, and the pages just ahead of the end are
// made present some megabytes at a time instead of faulting in 4 KB at a time.
// Once the reply passes the threshold it moves to a spool file and every
// later read goes there, so memory stays bounded whatever its length.
#include "support/AnsiText.h"

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <memory>

namespace orvex {

class ReplySpool;

class ReplyRoom
{
public:
    // Replies longer than `spoolAbove` bytes go to a spool in `spoolFolder`;
    // an empty folder, or one where no file can be made, keeps them in memory.
    ReplyRoom(qint64 spoolAbove, QString spoolFolder);
    ~ReplyRoom();
    ReplyRoom(const ReplyRoom &) = delete;
    ReplyRoom &operator=(const ReplyRoom &) = delete;

    // The array the next read appends to, with room for `more` bytes past its
    // end: the reply itself while it is in memory, else a buffer that
    // commit() empties into the spool.
    QByteArray &prepare(qint64 more);
    // Takes in what was appended since prepare(). False when the spool could
    // not be written (error() tells why).
    bool commit();

    qint64 size() const;
    QString error() const { return m_error; }
    // The reply, in memory or in its spool; the room is empty afterwards.
    AnsiText take();

private:
    void makeRoomFor(qint64 more);
    bool moveToSpool();

    const qint64 m_spoolAbove;
    QString m_spoolFolder;
    QByteArray m_reply;
    const char *m_base = nullptr; // where the pages counted by m_present lie
    qsizetype m_present = 0;      // bytes from the start known to be backed
    std::shared_ptr<ReplySpool> m_spool;
    QByteArray m_pending; // read, not yet in the spool
    QString m_error;
};

} // namespace orvex
