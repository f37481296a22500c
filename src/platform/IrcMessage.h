#pragma once
// IRC's wire format (RFC 2812 section 2.3.1), apart from any socket: lines
// cut out of the byte stream, and a line split into prefix, command and
// parameters. The client feeds what its socket reads.
#include <QByteArray>
#include <QByteArrayView>
#include <QList>

#include <optional>

namespace orvex::platform::irc {

// RFC 2812 2.3: a message is at most 512 bytes with its CR LF. IRCv3 message
// tags in front may add up to 8191 bytes more.
constexpr qsizetype kMaxLine = 512;
constexpr qsizetype kMaxTags = 8191;

// What the front of a buffer holds.
struct LineCut
{
    enum Kind {
        NeedMore, // no line end yet, and nothing too long
        Line,     // a line, without its CR LF (or bare LF)
        TooLong,  // bytes of an over-long line, to be dropped up to its end
    } kind = NeedMore;
    QByteArrayView line;
    // How many bytes of the buffer this takes up (line end included).
    qsizetype consumed = 0;
};

// Cuts the next line off `buffer`. `skipping` says that an over-long line is
// being dropped: everything up to and including its line end goes. Anything
// but NeedMore consumes at least one byte.
LineCut cutLine(QByteArrayView buffer, bool skipping);

struct Message
{
    QByteArray prefix; // without its ':'; empty when the line had none
    QByteArray command;
    QList<QByteArray> params; // the trailing one, if any, last
    bool hasTrailing = false;

    // The prefix's nickname: what stands before '!' or '@'.
    QByteArray nick() const;
    QByteArray param(qsizetype i) const
    {
        return i >= 0 && i < params.size() ? params[i] : QByteArray();
    }
};

// Splits one line; nothing for a line with no command (empty, blanks only,
// or a prefix alone). Tags in front are read past and dropped.
std::optional<Message> parse(QByteArrayView line);

// Why a message that parsed cannot be used, or nothing when it can: one that
// the protocol has come from someone (a relayed message, a numeric reply)
// needs a sender in its prefix, and each needs its parameters (RFC 2812 2.3,
// 2.4 and section 3).
const char *unusable(const Message &m);

// A field as it may go out: CR, LF and NUL would end or break the line, so
// they become blanks.
QByteArray safeField(QByteArray field);

// A text cut into pieces of at most `room` bytes, given as the bytes of each
// of its characters (a character of a multi-byte code page is never cut).
// A cut falls on the last run of blanks that fits, which is left out; a word
// longer than a piece is cut where the piece is full.
QList<QByteArray> splitText(const QList<QByteArray> &characters, qsizetype room);

} // namespace orvex::platform::irc
