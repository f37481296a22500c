#pragma once
// Watches an HTTP reply as it arrives for the two things the receive loop
// needs: whether an end marker has come ("</HTML>" or ".END." CR LF, in any
// letter case) and what a "Content-length: " header announced. It is fed only
// the bytes that are new and keeps the few last bytes a marker or the header
// can straddle, so every byte is looked at a bounded number of times however
// long the reply grows. No I/O: the socket side only buffers and feeds it.
#include <QByteArray>
#include <QByteArrayView>
#include <QtGlobal>

#include <optional>

namespace orvex {

class ReplyScanner
{
public:
    void feed(QByteArrayView chunk);

    bool endMarkerSeen() const { return m_endMarker; }
    qint64 received() const { return m_received; }

    // 0 while nothing is known; the announced length once the header line is
    // complete and its value is above 0; -1 when the value is not a positive
    // 32-bit number, or when the reply grew past 99999 bytes without the
    // header. Only the exact spelling "Content-length: " counts. Decided once.
    qint32 contentLength() const { return m_contentLength; }

private:
    void scanLength(QByteArrayView chunk);
    // Where the length header's value starts in `chunk`, when the header
    // ends in it.
    std::optional<qsizetype> findLengthValue(QByteArrayView chunk) const;

    QByteArray m_tail;  // the last bytes seen, for matches across chunks
    QByteArray m_value; // the start of what followed the length header
    qint64 m_received = 0;
    qint32 m_contentLength = 0;
    bool m_headerFound = false;
    bool m_endMarker = false;
};

// The status code of the reply whose first bytes are `reply` (200, 414...),
// or 0 when they are not an HTTP status line.
int httpStatus(QByteArrayView reply);

} // namespace orvex
