#include "support/AddsHttp.h"

#include "platform/SocketX.h"
#include "support/AddsUtilities.h"
#include "support/AnsiCodec.h"
#include "support/Clock.h"
#include "support/EventWait.h"
#include "support/FormQuery.h"
#include "support/LeadingNumber.h"
#include "support/ProgressCaption.h"
#include "support/ReplyRoom.h"
#include "support/ReplyScanner.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QEventLoop>
#include <QLoggingCategory>
#include <QScopeGuard>

#include <algorithm>
#include <climits>
#include <limits>

Q_LOGGING_CATEGORY(lcHttp, "orvex.http")

using namespace Qt::Literals::StringLiterals;

namespace orvex {

using platform::SocketKind;
using platform::SocketState;
using platform::SocketX;

namespace {

constexpr int kCreateWaitMs = 20000;
constexpr int kConnectWaitMs = 10000;
constexpr int kSendWaitMs = 10000;
// Bytes of a request handed to the socket at a time.
constexpr qsizetype kRequestPiece = 256 * 1024;
// Characters of a path the debug log shows.
constexpr qsizetype kLoggedPath = 200;
constexpr int kCloseWaitMs = 10000;
constexpr int kSettleMs = 500;
constexpr qint16 kDefaultTimeOutSeconds = 10;
// Data, a close and the deadline all wake the event loop by themselves; this
// only bounds how late a condition nobody announces could be noticed.
constexpr int kIdlePollMs = 250;
// A run-time error of the spool file; the number the old runtime gave a full disk.
constexpr int kDiskFull = 61;

// The leading number of a port text; an over-long one is the largest 32-bit value.
qint32 numericValue(QStringView text)
{
    return static_cast<qint32>(
        leadingNumber(text, std::numeric_limits<qint32>::max(), OnOverflow::Saturate));
}

struct Target
{
    QString host;
    qint32 port = 80;
    // The path is `head` followed by `tail`, a view into the URL: a request
    // may carry megabytes in its query, which are not copied.
    QString head;
    QStringView tail;
    qsizetype pathSize() const { return head.size() + tail.size(); }
};

// Cuts `w` at the first `separator`: the part before it is returned and the
// rest stays in `w`.
QStringView cutAt(QStringView &w, QStringView separator)
{
    const qsizetype p = w.indexOf(separator);
    const QStringView part = w.left(p);
    w = w.mid(p + separator.size());
    return part;
}

Target parseUrl(const QString &url, const QString &path, const QString &port)
{
    Target t;
    QStringView w = url;
    QString scheme;
    if (w.contains(u"://"))
        scheme = cutAt(w, u"://").toString().toUpper();
    if (w.contains(u':')) {
        t.host = cutAt(w, u":").toString();
        // Without a "/" the port text stays in w and so becomes the path.
        t.port = numericValue(w.contains(u'/') ? cutAt(w, u"/").toString() : w.toString());
        if (t.port == 0)
            t.port = 80;
    } else {
        if (w.contains(u'/')) {
            t.host = cutAt(w, u"/").toString();
        } else {
            t.host = w.toString();
            w = {};
        }
        // The scheme only picks the default port; the request is HTTP anyway.
        t.port = scheme == u"FTP" ? 21 : 80;
    }
    if (!w.isEmpty()) {
        t.head = u"/"_s;
        t.tail = w;
    }
    if (!port.isEmpty())
        t.port = numericValue(port);
    if (!path.isEmpty()) {
        t.head = path;
        t.tail = {};
    }
    return t;
}

// A dotted number goes to the socket as an address, so no lookup happens;
// anything else is a name for the socket to resolve.
void setPeer(SocketX &socket, const QString &host, qint32 port)
{
    if (AddsUtilities::NET_IPNumberIsValid(host)) {
        socket.RemoteNameAddrXlate = false;
        socket.RemoteName.clear();
        socket.RemoteAddress = host;
    } else {
        socket.RemoteNameAddrXlate = true;
        socket.RemoteAddress.clear();
        socket.RemoteName = host;
    }
    socket.RemotePort = port;
    socket.LocalPort = 0;
    socket.LocalAddress = u"0.0.0.0"_s;
}

void setLinger(SocketX &socket)
{
    socket.LingerEnabled = true;
    socket.LingerTime = 1;
    socket.ReuseAddressEnabled = false;
}

void closeIfOpen(SocketX &socket)
{
    if (socket.state() == SocketState::Closed)
        return;
    QCoreApplication::processEvents();
    socket.Close();
    QCoreApplication::processEvents();
}

// What goes out: the method, the target's path and, for a form, its fields
// (after "?" in a GET, as the body of a POST).
struct Outgoing
{
    HttpMethod method = HttpMethod::Get;
    const Target &target;
    const FormQuery *form = nullptr;
    QString extraHeader;
};

// RFC 1945 section 5: request line, header lines, empty line, then a POST's
// body (section 8.3, with its type and length, sections 10.4 and 10.5).
// HTTP/1.0 has no Host header, and the query is part of the path as the
// caller built it. The request goes to `send` in pieces of at most `piece`
// bytes; sending stops when `send` returns false.
template <typename Send> void sendRequest(const Outgoing &out, qsizetype piece, Send send)
{
    const Target &target = out.target;
    QString head = target.head;
    QStringView tail = target.tail;
    const QStringView first = head.isEmpty() ? tail : QStringView(head);
    if (!first.startsWith(u'/') && !first.startsWith(u'\\'))
        head.prepend(u'/');
    const bool post = out.method == HttpMethod::Post;
    if (!send(ansi::encode((post ? u"POST "_s : u"GET "_s) + head)))
        return;
    while (!tail.isEmpty()) {
        qsizetype n = std::min(piece, tail.size());
        // A character of two UTF-16 units is encoded whole.
        if (n < tail.size() && tail[n - 1].isHighSurrogate())
            ++n;
        if (!send(ansi::encode(tail.left(n).toString())))
            return;
        tail = tail.mid(n);
    }
    if (out.form && !post && (!send("?"_ba) || !out.form->forEachPiece(piece, send)))
        return;
    QByteArray rest = " HTTP/1.0\r\n"
                      "Accept: text/plain\r\n"
                      "Accept-Language: en-us\r\n"
                      "Accept-Encoding: gzip, deflate\r\n"
                      "User-Agent: Mozilla/4.0 (compatible; MSIE 5.0; Windows 98; DigExt)\r\n"_ba;
    if (!out.extraHeader.isEmpty())
        rest += ansi::encode(out.extraHeader) + "\r\n";
    if (post) {
        rest += "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: " +
                QByteArray::number(out.form ? out.form->size() : 0) + "\r\n";
    }
    rest += "Connection: Keep-Alive\r\n\r\n";
    if (send(rest) && post && out.form)
        out.form->forEachPiece(piece, send);
}

bool connectTo(SocketX &socket, const Target &target)
{
    closeIfOpen(socket);
    socket.SocketType = SocketKind::Stream;
    setLinger(socket);
    setPeer(socket, target.host, target.port);
    if (!socket.Create())
        return false;
    waitUntil([&] { return socket.state() == SocketState::Created; }, kCreateWaitMs);
    if (!socket.Connect())
        return false;
    // A refused or failed attempt leaves "connecting" long before the limit.
    waitUntil([&] { return socket.state() != SocketState::Connecting; }, kConnectWaitMs,
              kIdlePollMs);
    if (socket.state() == SocketState::Connected)
        return true;
    qCInfo(lcHttp).noquote() << "no connection to" << target.host << socket.LastSocketError();
    return false;
}

// Returns false when a run-time error stopped the transfer.
bool receiveReply(SocketX &socket, const Clock &clock, int timeOutSeconds,
                  ProgressCaption *progress, ReplyRoom &room)
{
    ReplyScanner scanner;
    // A negative time-out is a deadline already past, not an endless wait.
    const QDateTime deadline = clock.now().addSecs(std::max(timeOutSeconds, 0));
    const auto expired = [&] { return clock.now() >= deadline; };
    const auto take = [&] {
        QByteArray &to = room.prepare(socket.ReceiveReadyCount());
        const qsizetype before = to.size();
        socket.ReceiveAppend(to);
        if (socket.ErrorPending())
            return false;
        scanner.feed(QByteArrayView(to).sliced(before));
        return room.commit();
    };
    const auto connected = [&] { return socket.state() == SocketState::Connected; };
    for (;;) {
        // One slice per turn: the socket reads what the system holds straight
        // into the reply, so a fast server could otherwise keep this turn
        // going past the deadline.
        if (socket.ReceiveReadyCount() > 0) {
            if (!take())
                return false;
            if (progress)
                progress->setCaption(QString::number(scanner.received()) + u'/' +
                                     QString::number(scanner.contentLength()));
        }
        if (scanner.endMarkerSeen())
            return true;
        // The announced length never ends the wait: only a marker, the
        // deadline or the server's close do.
        if (expired() || !connected()) {
            if (socket.ReceiveReadyCount() > 0 && !take())
                return false;
            if (!connected())
                qCDebug(lcHttp) << "server closed after" << room.size() << "bytes";
            else
                qCInfo(lcHttp) << "no end of reply in" << timeOutSeconds << "s:" << room.size();
            return true;
        }
        if (socket.ReceiveReadyCount() > 0) {
            // More is waiting: timers and windows still get their turn, but
            // the socket's bytes are left for the next direct read rather
            // than copied into Qt's buffer first.
            QCoreApplication::processEvents(QEventLoop::ExcludeSocketNotifiers);
            continue;
        }
        waitUntil([&] { return socket.ReceiveReadyCount() > 0 || !connected() || expired(); },
                  static_cast<int>(std::min<qint64>(clock.now().msecsTo(deadline), INT_MAX)),
                  kIdlePollMs);
    }
}

// Where replies too long for memory go.
struct Spooling
{
    QString folder;
    qint64 above = 0;
};

Spooling spoolingOf(const QString &folder, qint64 above)
{
    // Unless told otherwise: the program's own "Instalables".
    return {folder.isNull() ? QCoreApplication::applicationDirPath() + u"/Instalables"_s : folder,
            above};
}

// One request and its reply on `Socket`, which is left closed.
AnsiText exchange(SocketX &Socket, const Outgoing &request, int TimeOutSeconds,
                  ProgressCaption *ProgressControl, const Clock &clock, const Spooling &spooling)
{
    const Target &target = request.target;
    // Events run while this waits, so a timer may try to start another
    // request on the same socket; it must not disturb this one.
    if (Socket.Busy()) {
        qCDebug(lcHttp).noquote() << "socket in use, not requesting" << target.host;
        return {};
    }
    Socket.SetBusy(true);
    const auto release = qScopeGuard([&] { Socket.SetBusy(false); });
    Socket.ClearError();

    AnsiText result;
    QString spoolError;
    if (connectTo(Socket, target)) {
        qCDebug(lcHttp).noquote() << target.host << target.head + target.tail.left(kLoggedPath);
        // Each piece waits until it is on its way, so the socket never holds
        // much of a large request. A server that answers before the request
        // is whole has refused it, and one that takes nothing for the send
        // limit is not going to: the rest is not sent.
        sendRequest(request, kRequestPiece, [&](QByteArrayView bytes) {
            if (Socket.ReceiveReadyCount() > 0 || !Socket.Send(bytes.toByteArray()))
                return false;
            return waitUntil(
                [&] {
                    return Socket.BytesSent() >= bytes.size() ||
                           Socket.state() != SocketState::Connected;
                },
                kSendWaitMs, kIdlePollMs);
        });
        Socket.ClearError();
        const int seconds = TimeOutSeconds == 0 ? kDefaultTimeOutSeconds : TimeOutSeconds;
        ReplyRoom room(spooling.above, spooling.folder);
        if (receiveReply(Socket, clock, seconds, ProgressControl, room))
            result = room.take();
        spoolError = room.error();
    }

    if (ProgressControl)
        ProgressControl->setCaption(QString());
    if (Socket.ErrorPending() || !spoolError.isEmpty()) {
        result = AnsiText::fromString(Socket.ErrorPending()
                                          ? u"Error: ("_s + QString::number(Socket.ErrorNumber()) +
                                                u") "_s + Socket.ErrorDescription()
                                          : u"Error: ("_s + QString::number(kDiskFull) + u") "_s +
                                                spoolError);
        qCWarning(lcHttp).noquote() << target.host << target.head << result.toString();
    }
    // What has arrived by now is read once and dropped; a server still
    // sending is not followed.
    Socket.Receive();
    Socket.Close();
    // Gives the system time to finish the close before the socket is reused.
    clock.pause(kSettleMs);
    if (Socket.state() != SocketState::Closed) {
        Socket.Close();
        waitUntil([&] { return Socket.state() == SocketState::Closed; }, kCloseWaitMs, kIdlePollMs);
    }
    return result;
}

} // namespace

AddsHttp::AddsHttp(const Clock *clock) : m_clock(clockOr(clock)), m_spoolAbove(kSpoolAbove) {}

AnsiText AddsHttp::NET_HTTPget(SocketX &Socket, const QString &URL, const QString &Path,
                               const QString &Port, int TimeOutSeconds, const QString &ExtraHeader,
                               ProgressCaption *ProgressControl)
{
    qint16 seconds = static_cast<qint16>(std::clamp<int>(
        TimeOutSeconds, std::numeric_limits<qint16>::min(), std::numeric_limits<qint16>::max()));
    return NET_HTTPget(Socket, URL, Path, Port, seconds, ExtraHeader, ProgressControl);
}

AnsiText AddsHttp::NET_HTTPget(SocketX &Socket, const QString &URL, const QString &Path,
                               const QString &Port, qint16 &TimeOutSeconds,
                               const QString &ExtraHeader, ProgressCaption *ProgressControl)
{
    const Target target = parseUrl(URL, Path, Port);
    return exchange(Socket, {HttpMethod::Get, target, nullptr, ExtraHeader}, TimeOutSeconds,
                    ProgressControl, m_clock, spoolingOf(m_spoolFolder, m_spoolAbove));
}

AnsiText AddsHttp::NET_HTTPform(SocketX &Socket, HttpMethod Method, const QString &URL,
                                const FormQuery &Fields, int TimeOutSeconds,
                                ProgressCaption *ProgressControl)
{
    const Target target = parseUrl(URL, {}, {});
    return exchange(Socket, {Method, target, &Fields, {}}, TimeOutSeconds, ProgressControl, m_clock,
                    spoolingOf(m_spoolFolder, m_spoolAbove));
}

void AddsHttp::setReplySpool(const QString &folder, qint64 above)
{
    m_spoolFolder = folder;
    m_spoolAbove = above;
}

bool AddsHttp::SocketX_UDP(SocketX &Socket, const QString &Destination, const QString &Port,
                           const QString &Data)
{
    QString host;
    qint32 port = 0;
    if (Port.isEmpty()) {
        if (!Destination.contains(u':'))
            return false;
        QString rest = Destination;
        host = AddsUtilities::Var_GetPart(rest, u":"_s, true);
        port = numericValue(rest);
    } else {
        host = Destination;
        port = numericValue(Port);
    }
    if (Socket.Busy())
        return false;
    Socket.SetBusy(true);
    const auto release = qScopeGuard([&] { Socket.SetBusy(false); });
    Socket.ClearError();

    closeIfOpen(Socket);
    setLinger(Socket);
    Socket.SocketType = SocketKind::Datagram;
    setPeer(Socket, host, port);
    const QByteArray data = ansi::encode(Data);
    if (Socket.Create()) {
        waitUntil([&] { return Socket.state() == SocketState::Created; }, kCreateWaitMs);
        if (Socket.Bind() && Socket.SendTo(data, host, port)) {
            waitUntil([&] { return Socket.BytesSent() >= data.size() || Socket.ErrorPending(); },
                      kSendWaitMs, kIdlePollMs);
        }
    }
    const bool ok = !Socket.ErrorPending();
    if (!ok)
        qCInfo(lcHttp).noquote() << "datagram to" << host << "failed:" << Socket.ErrorDescription();
    m_clock.pause(kSettleMs);
    Socket.Close();
    return ok;
}

} // namespace orvex
