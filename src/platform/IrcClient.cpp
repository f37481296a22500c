#include "platform/IrcClient.h"

#include "platform/CodePage.h"
#include "platform/IrcMessage.h"

#include <QLoggingCategory>
#include <QStringDecoder>

Q_LOGGING_CATEGORY(lcChat, "orvex.chat")

namespace orvex::platform {
namespace {

constexpr int kDefaultIdleMs = 90 * 1000;
constexpr int kDefaultAnswerMs = 30 * 1000;
constexpr int kReportMs = 60 * 1000;
// How long an attempt to connect and register may take before a new one
// replaces it.
constexpr qint64 kAttemptMs = 30 * 1000;
// The longest host name a server may put in the prefix it adds when it
// passes a message on (RFC 1035).
constexpr qsizetype kMaxHost = 63;

QByteArray ansi(const QString &text)
{
    return QByteArray::fromStdString(encodeAnsi(
        std::u16string_view(reinterpret_cast<const char16_t *>(text.utf16()), text.size())));
}

// Nicknames and channel names compare without case, and RFC 2812 2.2 has
// "{}|^" as the lower case of "[]\~".
QString nickKey(const QString &nick)
{
    QString key = nick.toLower();
    for (QChar &c : key) {
        const qsizetype upper = QStringView(u"[]\\~").indexOf(c);
        if (upper >= 0)
            c = u"{}|^"[upper];
    }
    return key;
}

bool sameNick(const QString &a, const QString &b)
{
    return nickKey(a) == nickKey(b);
}

// A nickname of a NAMES reply without its channel mode sign.
QString withoutModeSign(QString nick)
{
    while (!nick.isEmpty() && QStringLiteral("@+%&~").contains(nick.front()))
        nick.remove(0, 1);
    return nick;
}

} // namespace

IrcClient::IrcClient(QObject *parent) : QObject(parent)
{
    m_idle.setSingleShot(true);
    m_answer.setSingleShot(true);
    m_report.setSingleShot(true);
    m_report.setInterval(kReportMs);
    connect(&m_report, &QTimer::timeout, this, &IrcClient::reportDropped);
    setLinkCheck(kDefaultIdleMs, kDefaultAnswerMs);
    connect(&m_socket, &QTcpSocket::connected, this, &IrcClient::onConnected);
    connect(&m_socket, &QTcpSocket::readyRead, this, &IrcClient::onReadyRead);
    connect(&m_socket, &QTcpSocket::disconnected, this, [this] {
        qCInfo(lcChat).noquote() << "chat link to" << m_serverHost << "closed";
        setRegistered(false);
    });
    connect(&m_socket, &QAbstractSocket::errorOccurred, this, [this] {
        qCInfo(lcChat).noquote() << "chat link to" << m_serverHost << ":" << m_socket.errorString();
        setRegistered(false);
    });
    connect(&m_idle, &QTimer::timeout, this, [this] {
        // RFC 2812 3.7.2: any token will do; the server sends it back.
        sendLine("PING :orvex");
        m_answer.start();
    });
    connect(&m_answer, &QTimer::timeout, this, [this] {
        qCInfo(lcChat).noquote() << "chat link to" << m_serverHost << "silent: dropped";
        m_socket.abort();
        setRegistered(false);
    });
}

IrcClient::~IrcClient()
{
    // The socket says it disconnected while it is destroyed, after the
    // timers its handlers use are gone: it is not listened to any more.
    m_socket.disconnect(this);
    m_socket.abort();
}

void IrcClient::setLinkCheck(int idleMs, int answerMs)
{
    m_idle.setInterval(idleMs);
    m_answer.setInterval(answerMs);
}

void IrcClient::Connect()
{
    // The scan asks every second while the chat is not up: an attempt on
    // its way is left to finish, unless it has hung for too long.
    if (!m_registered && m_socket.state() != QAbstractSocket::UnconnectedState &&
        m_attempt.isValid() && !m_attempt.hasExpired(kAttemptMs))
        return;
    m_attempt.start();
    m_socket.abort();
    m_idle.stop();
    m_answer.stop();
    m_buffer.clear();
    m_skipping = false;
    m_nickAttempt = 0;
    m_nicknames.clear();
    setRegistered(false);
    if (m_serverHost.isEmpty() || m_nickName.isEmpty())
        return;
    m_currentNick = m_nickName;
    m_socket.connectToHost(m_serverHost, m_port);
}

bool IrcClient::isConnected() const
{
    return m_registered && m_socket.state() == QAbstractSocket::ConnectedState;
}

QString IrcClient::CurrentNick() const
{
    return m_currentNick.isEmpty() ? m_nickName : m_currentNick;
}

QStringList IrcClient::takeReceived()
{
    return std::exchange(m_received, {});
}

QStringList IrcClient::Nicknames() const
{
    QStringList others;
    const QString own = nickKey(CurrentNick());
    for (auto it = m_nicknames.begin(); it != m_nicknames.end(); ++it) {
        if (it.key() != own)
            others.append(it.value());
    }
    others.sort(Qt::CaseInsensitive);
    return others;
}

void IrcClient::setRegistered(bool registered)
{
    if (!registered) {
        m_idle.stop();
        m_answer.stop();
    }
    if (m_registered == registered)
        return;
    m_registered = registered;
    emit connectedChanged(registered);
}

void IrcClient::onConnected()
{
    // RFC 2812 3.1: the nickname, then the user with mode 0 and a real name.
    const QByteArray user =
        irc::safeField(ansi(m_userName.isEmpty() ? m_nickName : m_userName)).replace(' ', '_');
    sendLine("NICK " + irc::safeField(ansi(m_currentNick)).replace(' ', '_'));
    sendLine("USER " + user + " 0 * :" + user);
    m_idle.start();
}

void IrcClient::sendLine(const QByteArray &line)
{
    m_socket.write(line + "\r\n");
}

bool IrcClient::SendPrivMsg(const QString &nick, const QString &text)
{
    if (!isConnected() || text.isEmpty())
        return false;
    const QByteArray target = irc::safeField(ansi(nick)).replace(' ', '_');
    const QByteArray head = "PRIVMSG " + target + " :";
    // The line a server passes on carries its prefix ":nick!user@host " too,
    // and must still fit in 512 bytes with its CR LF.
    const qsizetype prefix = 1 + ansi(CurrentNick()).size() + 1 +
                             ansi(m_userName.isEmpty() ? m_nickName : m_userName).size() + 1 +
                             kMaxHost + 1;
    const qsizetype room = std::max<qsizetype>(irc::kMaxLine - 2 - head.size() - prefix, 16);
    // Each character on its own, so that none of a multi-byte code page is
    // cut in two.
    QList<QByteArray> characters;
    for (qsizetype i = 0; i < text.size();) {
        const qsizetype units =
            (text[i].isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate()) ? 2
                                                                                               : 1;
        characters.append(irc::safeField(ansi(text.mid(i, units))));
        i += units;
    }
    for (const QByteArray &piece : irc::splitText(characters, room))
        sendLine(head + piece);
    return true;
}

void IrcClient::onReadyRead()
{
    m_buffer += m_socket.readAll();
    m_idle.start();
    m_answer.stop();
    qsizetype at = 0;
    while (at < m_buffer.size()) {
        const irc::LineCut cut = irc::cutLine(QByteArrayView(m_buffer).sliced(at), m_skipping);
        if (cut.kind == irc::LineCut::NeedMore)
            break;
        at += cut.consumed;
        if (cut.kind == irc::LineCut::TooLong) {
            // Dropped whole, up to its line end, which may come later.
            if (!m_skipping)
                qCInfo(lcChat) << "over-long line from" << m_serverHost << "skipped";
            m_skipping = !QByteArrayView(m_buffer).sliced(0, at).endsWith('\n');
            continue;
        }
        m_skipping = false;
        handleLine(cut.line);
    }
    m_buffer.remove(0, at);
}

QString IrcClient::decodeField(const QByteArray &bytes, bool utf8) const
{
    if (utf8)
        return QString::fromUtf8(bytes);
    const std::u16string text = decodeAnsi(std::string_view(bytes.data(), bytes.size()));
    return QString(reinterpret_cast<const QChar *>(text.data()), qsizetype(text.size()));
}

void IrcClient::addItem(const QStringList &fields)
{
    QStringList clean;
    for (QString f : fields)
        clean.append(f.replace(u'\t', u' ')); // the tab separates the fields
    m_received.append(clean.join(u'\t'));
    if (m_received.size() > kMaxWaiting) {
        m_received.removeFirst();
        if (m_dropped++ == 0)
            m_report.start();
    }
}

void IrcClient::reportDropped()
{
    qCInfo(lcChat).noquote() << m_dropped << "chat items from" << m_serverHost << "dropped";
    m_dropped = 0;
}

void IrcClient::handleLine(QByteArrayView line)
{
    const std::optional<irc::Message> parsed = irc::parse(line);
    if (!parsed)
        return;
    const irc::Message &m = *parsed;
    if (const char *why = irc::unusable(m)) {
        qCInfo(lcChat) << "line ignored:" << why << QString::fromLatin1(line).left(80);
        return;
    }
    // Peers write UTF-8 or their ANSI code page; a line that is valid UTF-8
    // is read as such.
    QStringDecoder probe(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString probed = probe.decode(line); // the decoder works only when read
    const bool utf8 = !probe.hasError();
    const auto field = [&](qsizetype i) { return decodeField(m.param(i), utf8); };
    const QString from = decodeField(m.nick(), utf8);
    const QByteArray &cmd = m.command;

    if (cmd == "PING") {
        sendLine("PONG :" + m.param(0));
    } else if (cmd == "001") {
        m_currentNick = field(0);
        setRegistered(true);
        if (!m_channel.isEmpty())
            sendLine("JOIN " + irc::safeField(ansi(m_channel)));
        qCInfo(lcChat).noquote() << "chat with" << m_serverHost << "as" << m_currentNick;
    } else if (cmd == "433" && !m_registered) {
        // The nickname is taken: the same with "_", then with "__".
        if (++m_nickAttempt > 2) {
            qCInfo(lcChat).noquote() << "no free nickname on" << m_serverHost;
            m_socket.disconnectFromHost();
            return;
        }
        m_currentNick = m_nickName + QString(m_nickAttempt, u'_');
        sendLine("NICK " + irc::safeField(ansi(m_currentNick)).replace(' ', '_'));
    } else if (cmd == "PRIVMSG" && sameNick(field(0), CurrentNick())) {
        QString text = field(1);
        // CTCP: an action is shown as text, other requests are not messages.
        if (text.startsWith(u'\x01')) {
            if (!text.startsWith(QStringLiteral("\x01"
                                                "ACTION ")))
                return;
            text = QStringLiteral("* ") + from + u' ' + text.mid(8).remove(u'\x01');
        }
        const QByteArray host = m.prefix.mid(m.nick().size() + 1);
        addItem({QStringLiteral("PRIVMSG"), from, decodeField(host, utf8), text, field(0)});
    } else if (cmd == "353") {
        if (sameNick(field(m.params.size() - 2), m_channel)) {
            for (const QString &n : field(m.params.size() - 1).split(u' ', Qt::SkipEmptyParts)) {
                const QString nick = withoutModeSign(n);
                if (!nick.isEmpty())
                    m_nicknames.insert(nickKey(nick), nick);
            }
        }
    } else if (cmd == "JOIN") {
        if (sameNick(field(0), m_channel))
            m_nicknames.insert(nickKey(from), from);
    } else if (cmd == "PART") {
        if (sameNick(field(0), m_channel))
            m_nicknames.remove(nickKey(from));
    } else if (cmd == "KICK") {
        if (sameNick(field(0), m_channel))
            m_nicknames.remove(nickKey(field(1)));
    } else if (cmd == "QUIT") {
        m_nicknames.remove(nickKey(from));
    } else if (cmd == "NICK") {
        const QString renamed = field(0);
        if (m_nicknames.remove(nickKey(from)))
            m_nicknames.insert(nickKey(renamed), renamed);
        if (sameNick(from, CurrentNick()))
            m_currentNick = renamed;
    } else if (cmd.size() == 3 &&
               std::all_of(cmd.begin(), cmd.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        // Server replies: the reply's number and its last parameter.
        addItem({QStringLiteral("DATA"), decodeField(m.prefix, utf8), QString::fromLatin1(cmd),
                 field(m.params.size() - 1), field(0)});
    } else if (cmd == "ERROR") {
        qCInfo(lcChat).noquote() << "chat server" << m_serverHost << "says:" << field(0);
    }
}

} // namespace orvex::platform
