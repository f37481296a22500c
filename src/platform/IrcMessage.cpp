#include "platform/IrcMessage.h"

namespace orvex::platform::irc {

LineCut cutLine(QByteArrayView buffer, bool skipping)
{
    if (buffer.isEmpty())
        return {};
    const qsizetype lf = buffer.indexOf('\n');
    if (skipping) {
        // The rest of a dropped line goes, up to its end if it has come.
        return {LineCut::TooLong, {}, lf < 0 ? buffer.size() : lf + 1};
    }
    const bool tagged = !buffer.isEmpty() && buffer.front() == '@';
    const qsizetype limit = kMaxLine + (tagged ? kMaxTags : 0);
    if (lf < 0) {
        if (buffer.size() >= limit)
            return {LineCut::TooLong, {}, buffer.size()};
        return {};
    }
    if (lf + 1 > limit)
        return {LineCut::TooLong, {}, lf + 1};
    QByteArrayView line = buffer.first(lf);
    if (line.endsWith('\r'))
        line.chop(1);
    return {LineCut::Line, line, lf + 1};
}

QByteArray Message::nick() const
{
    qsizetype end = prefix.indexOf('!');
    if (end < 0)
        end = prefix.indexOf('@');
    return end < 0 ? prefix : prefix.first(end);
}

std::optional<Message> parse(QByteArrayView line)
{
    // Words are separated by one or more blanks.
    const auto skipBlanks = [&line] {
        while (!line.isEmpty() && line.front() == ' ')
            line = line.sliced(1);
    };
    const auto word = [&line] {
        const qsizetype blank = line.indexOf(' ');
        const QByteArrayView w = blank < 0 ? line : line.first(blank);
        line = blank < 0 ? QByteArrayView() : line.sliced(blank);
        return w.toByteArray();
    };

    Message m;
    skipBlanks();
    if (line.startsWith('@')) { // IRCv3 tags: not used here
        word();
        skipBlanks();
    }
    if (line.startsWith(':')) {
        line = line.sliced(1);
        m.prefix = word();
        skipBlanks();
    }
    m.command = word();
    if (m.command.isEmpty())
        return std::nullopt;
    for (;;) {
        skipBlanks();
        if (line.isEmpty())
            break;
        // RFC 2812: after 14 middle parameters the rest is the trailing one,
        // colon or not.
        if (line.front() == ':' || m.params.size() == 14) {
            m.params.append((line.front() == ':' ? line.sliced(1) : line).toByteArray());
            m.hasTrailing = true;
            break;
        }
        m.params.append(word());
    }
    return m;
}

QByteArray safeField(QByteArray field)
{
    for (char &c : field) {
        if (c == '\r' || c == '\n' || c == '\0')
            c = ' ';
    }
    return field;
}

} // namespace orvex::platform::irc
