#include "platform/IrcMessage.h"

#include <algorithm>

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

const char *unusable(const Message &m)
{
    struct Rule
    {
        QByteArrayView command;
        qsizetype params; // the first of them not empty
        bool sender;
    };
    static constexpr Rule kRules[] = {
        {"PRIVMSG", 2, true}, {"JOIN", 1, true}, {"PART", 1, true},  {"KICK", 2, true},
        {"NICK", 1, true},    {"QUIT", 0, true}, {"PING", 1, false}, {"353", 3, true},
    };
    const bool numeric =
        m.command.size() == 3 && std::all_of(m.command.begin(), m.command.end(),
                                             [](char c) { return c >= '0' && c <= '9'; });
    // A numeric reply: the server, the number, and the reply's target.
    Rule rule{{}, numeric ? 1 : 0, numeric};
    for (const Rule &r : kRules) {
        if (m.command == r.command)
            rule = r;
    }
    if (rule.sender && m.nick().isEmpty())
        return "no sender";
    if (m.params.size() < rule.params || (rule.params > 0 && m.params.front().isEmpty()))
        return "parameters missing";
    return nullptr;
}

QByteArray safeField(QByteArray field)
{
    for (char &c : field) {
        if (c == '\r' || c == '\n' || c == '\0')
            c = ' ';
    }
    return field;
}

QList<QByteArray> splitText(const QList<QByteArray> &characters, qsizetype room)
{
    QList<QByteArray> pieces;
    QByteArray piece;
    // The last run of blanks in `piece`; one at its very start is no place
    // to cut (the piece would be empty).
    qsizetype runFrom = -1, runTo = -1;
    bool atCut = false; // the blanks of a cut are left out
    for (const QByteArray &c : characters) {
        const bool blank = c == " ";
        if (blank && atCut)
            continue;
        atCut = false;
        if (!piece.isEmpty() && piece.size() + c.size() > room) {
            if (blank) { // the cut is here
                pieces.append(runFrom > 0 && runTo == piece.size() ? piece.first(runFrom) : piece);
                piece.clear();
            } else if (runFrom > 0) {
                pieces.append(piece.first(runFrom));
                piece.remove(0, runTo);
            } else {
                pieces.append(std::exchange(piece, {}));
            }
            runFrom = runTo = -1;
            atCut = blank;
            if (blank)
                continue;
        }
        if (blank && runTo != piece.size())
            runFrom = runTo = piece.size();
        if (blank)
            ++runTo;
        piece += c;
    }
    if (!piece.isEmpty())
        pieces.append(piece);
    return pieces;
}

} // namespace orvex::platform::irc
