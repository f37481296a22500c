#include "platform/SocketX.h"

#include "platform/DirectRead.h"

#include <QHostAddress>
#include <QHostInfo>
#include <QTcpSocket>
#include <QTimer>
#include <QUdpSocket>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace orvex::platform {
namespace {

// The socket error numbers support staff know from Windows.
constexpr int kInvalidArgument = 10022;
constexpr int kMessageSize = 10040;
constexpr int kNotSupported = 10045;
constexpr int kAddressInUse = 10048;
constexpr int kAddressNotAvailable = 10049;
constexpr int kNetworkDown = 10050;
constexpr int kConnectionReset = 10054;
constexpr int kNoBuffers = 10055;
constexpr int kNotConnected = 10057;
constexpr int kTimedOut = 10060;
constexpr int kRefused = 10061;
constexpr int kAccess = 10013;
constexpr int kInProgress = 10036;
constexpr int kHostNotFound = 11001;

// ReceiveAppend takes at most this much at once, so a caller looks at each
// slice while it is still in the cache and keeps its turns short.
constexpr qint64 kReceiveSlice = qint64(1) << 20;

int errorNumber(QAbstractSocket::SocketError e)
{
    switch (e) {
    case QAbstractSocket::ConnectionRefusedError:
        return kRefused;
    case QAbstractSocket::RemoteHostClosedError:
        return kConnectionReset;
    case QAbstractSocket::HostNotFoundError:
        return kHostNotFound;
    case QAbstractSocket::SocketAccessError:
        return kAccess;
    case QAbstractSocket::SocketResourceError:
        return kNoBuffers;
    case QAbstractSocket::SocketTimeoutError:
        return kTimedOut;
    case QAbstractSocket::DatagramTooLargeError:
        return kMessageSize;
    case QAbstractSocket::NetworkError:
        return kNetworkDown;
    case QAbstractSocket::AddressInUseError:
        return kAddressInUse;
    case QAbstractSocket::SocketAddressNotAvailableError:
        return kAddressNotAvailable;
    case QAbstractSocket::UnsupportedSocketOperationError:
        return kNotSupported;
    case QAbstractSocket::UnfinishedSocketOperationError:
        return kInProgress;
    default:
        return kInvalidArgument;
    }
}

bool isAny(const QString &address)
{
    return address.isEmpty() || address == u"0.0.0.0" || address == u"::";
}

bool validPort(qint32 port)
{
    return port > 0 && port <= 0xFFFF;
}

} // namespace

struct SocketX::Impl
{
    std::unique_ptr<QTcpSocket> tcp;
    std::unique_ptr<QUdpSocket> udp;
    SocketKind kind = SocketKind::Stream;
    bool created = false;
    bool connectIssued = false;
    qint64 bytesSent = 0;
    int lookupId = -1;
    QTimer linger;
    int errorNumber = 0;
    QString errorDescription;
    QString lastSocketError;
    bool busy = false;
    std::vector<std::function<void()>> whenFree;
    QObject context; // queued calls die with the socket

    // Queues the calls waiting for a free socket; each looks again when it runs.
    void scheduleWhenFree()
    {
        if (busy || whenFree.empty())
            return;
        QTimer::singleShot(0, &context, [this] {
            if (busy)
                return; // taken again meanwhile: its release schedules them
            auto calls = std::exchange(whenFree, {});
            for (auto &call : calls)
                call();
            scheduleWhenFree();
        });
    }

    QAbstractSocket *active() const
    {
        return kind == SocketKind::Stream ? static_cast<QAbstractSocket *>(tcp.get()) : udp.get();
    }

    void watch(QAbstractSocket *s)
    {
        QObject::connect(
            s, &QAbstractSocket::errorOccurred, s,
            [this, s](QAbstractSocket::SocketError) { lastSocketError = s->errorString(); });
        QObject::connect(s, &QIODevice::bytesWritten, s, [this](qint64 n) { bytesSent += n; });
    }

    // The system's socket while a connection is open, else -1.
    qintptr liveDescriptor() const
    {
        const auto state = tcp ? tcp->state() : QAbstractSocket::UnconnectedState;
        return state == QAbstractSocket::ConnectedState || state == QAbstractSocket::ClosingState
                   ? tcp->socketDescriptor()
                   : -1;
    }

    // Appends what Qt has already taken in, then up to `limit` bytes in all
    // straight from the system into `to`, without a stop in Qt's buffer.
    qint64 appendReady(QByteArray &to, qint64 limit)
    {
        if (!tcp)
            return 0;
        const qint64 buffered = tcp->bytesAvailable();
        const qintptr descriptor = liveDescriptor();
        const qint64 pending =
            std::min<qint64>(systemPendingBytes(descriptor), std::max<qint64>(limit - buffered, 0));
        const qsizetype old = to.size();
        to.resize(old + buffered + pending);
        qint64 n = std::max<qint64>(tcp->read(to.data() + old, buffered), 0);
        n += receivePending(descriptor, to.data() + old + n, pending);
        to.resize(old + n);
        return n;
    }

    void abortLookup()
    {
        if (lookupId >= 0) {
            QHostInfo::abortHostLookup(lookupId);
            lookupId = -1;
        }
    }
};

SocketX::SocketX() : d(std::make_unique<Impl>())
{
    d->linger.setSingleShot(true);
    QObject::connect(&d->linger, &QTimer::timeout, [impl = d.get()] {
        if (impl->tcp)
            impl->tcp->abort();
    });
}

SocketX::~SocketX()
{
    d->abortLookup();
}

SocketState SocketX::state() const
{
    if (d->kind == SocketKind::Datagram)
        return d->created ? SocketState::Created : SocketState::Closed;
    if (!d->tcp)
        return d->created ? SocketState::Created : SocketState::Closed;
    switch (d->tcp->state()) {
    case QAbstractSocket::HostLookupState:
    case QAbstractSocket::ConnectingState:
        return SocketState::Connecting;
    case QAbstractSocket::ConnectedState:
        return SocketState::Connected;
    case QAbstractSocket::ClosingState:
        return SocketState::Closing;
    default:
        return d->created && !d->connectIssued ? SocketState::Created : SocketState::Closed;
    }
}

bool SocketX::Create()
{
    if (state() != SocketState::Closed && state() != SocketState::Closing) {
        raiseError(kInvalidArgument, QStringLiteral("Socket already created"));
        return false;
    }
    d->abortLookup();
    d->linger.stop();
    d->kind = SocketType;
    if (d->kind == SocketKind::Stream) {
        if (!d->tcp) {
            d->tcp = std::make_unique<QTcpSocket>();
            d->watch(d->tcp.get());
        }
    } else if (!d->udp) {
        d->udp = std::make_unique<QUdpSocket>();
        d->watch(d->udp.get());
    }
    // A connection still lingering from the last Close gives way to the new one.
    if (d->active()->state() != QAbstractSocket::UnconnectedState)
        d->active()->abort();
    d->created = true;
    d->connectIssued = false;
    d->bytesSent = 0;
    d->lastSocketError.clear();
    return true;
}

bool SocketX::Bind()
{
    if (state() != SocketState::Created) {
        raiseError(kInvalidArgument, QStringLiteral("Socket not created"));
        return false;
    }
    const QHostAddress local =
        LocalAddress.isEmpty() ? QHostAddress(QHostAddress::Any) : QHostAddress(LocalAddress);
    if (local.isNull() || LocalPort < 0 || LocalPort > 0xFFFF) {
        raiseError(kAddressNotAvailable, QStringLiteral("Cannot assign requested address"));
        return false;
    }
    const auto mode = ReuseAddressEnabled
                          ? QAbstractSocket::ShareAddress | QAbstractSocket::ReuseAddressHint
                          : QAbstractSocket::DefaultForPlatform;
    QAbstractSocket *s = d->active();
    if (!s->bind(local, static_cast<quint16>(LocalPort), mode)) {
        raiseError(errorNumber(s->error()), s->errorString());
        return false;
    }
    return true;
}

bool SocketX::readyToReach(SocketKind kind, qint32 port)
{
    if (d->kind != kind) {
        raiseError(kNotSupported, QStringLiteral("Operation not supported"));
        return false;
    }
    if (state() != SocketState::Created) {
        raiseError(kInvalidArgument, QStringLiteral("Socket not created"));
        return false;
    }
    if (!validPort(port)) {
        raiseError(kAddressNotAvailable, QStringLiteral("Cannot assign requested address"));
        return false;
    }
    return true;
}

bool SocketX::Connect()
{
    if (!readyToReach(SocketKind::Stream, RemotePort))
        return false;
    // Binding to the "any" address would tie the socket to IPv4; leaving it
    // unbound lets the system pick, as it would for any client.
    if ((LocalPort != 0 || !isAny(LocalAddress)) && !Bind())
        return false;
    const auto port = static_cast<quint16>(RemotePort);
    if (RemoteNameAddrXlate) {
        d->connectIssued = true;
        d->tcp->connectToHost(RemoteName, port);
        return true;
    }
    const QHostAddress address(RemoteAddress);
    if (address.isNull()) {
        raiseError(kAddressNotAvailable, QStringLiteral("Cannot assign requested address"));
        return false;
    }
    d->connectIssued = true;
    d->tcp->connectToHost(address, port);
    return true;
}

void SocketX::Close()
{
    d->abortLookup();
    d->created = false;
    d->connectIssued = false;
    if (d->udp)
        d->udp->close();
    if (!d->tcp)
        return;
    QTcpSocket *t = d->tcp.get();
    switch (t->state()) {
    case QAbstractSocket::ConnectedState:
    case QAbstractSocket::ClosingState:
        if (LingerEnabled && LingerTime <= 0) {
            t->abort();
        } else {
            t->close(); // graceful: unsent data still goes out
            if (LingerEnabled && t->state() != QAbstractSocket::UnconnectedState)
                d->linger.start(LingerTime * 1000);
        }
        break;
    case QAbstractSocket::UnconnectedState:
        t->close(); // drops what the peer sent before it closed
        break;
    default:
        t->abort();
        break;
    }
}

bool SocketX::Send(const QByteArray &data)
{
    if (d->kind == SocketKind::Datagram)
        return SendTo(data, RemoteNameAddrXlate ? RemoteName : RemoteAddress, RemotePort);
    if (state() != SocketState::Connected) {
        raiseError(kNotConnected, QStringLiteral("Socket is not connected"));
        return false;
    }
    d->bytesSent = 0;
    if (d->tcp->write(data) < 0) {
        raiseError(errorNumber(d->tcp->error()), d->tcp->errorString());
        return false;
    }
    return true;
}

bool SocketX::SendTo(const QByteArray &data, const QString &address, qint32 port)
{
    if (!readyToReach(SocketKind::Datagram, port))
        return false;
    d->bytesSent = 0;
    QUdpSocket *u = d->udp.get();
    const auto send = [this, u, data, port](const QHostAddress &to) {
        const qint64 n = u->writeDatagram(data, to, static_cast<quint16>(port));
        if (n < 0)
            raiseError(errorNumber(u->error()), u->errorString());
        else
            d->bytesSent = n;
    };
    const QHostAddress numeric(address);
    if (!numeric.isNull()) {
        send(numeric);
        return !ErrorPending();
    }
    d->abortLookup();
    // A socket bound to the IPv4 "any" address can only reach IPv4 peers.
    const bool ipv4Only = u->state() == QAbstractSocket::BoundState &&
                          u->localAddress().protocol() == QAbstractSocket::IPv4Protocol;
    d->lookupId = QHostInfo::lookupHost(address, u, [this, send, ipv4Only](const QHostInfo &info) {
        d->lookupId = -1;
        for (const QHostAddress &a : info.addresses()) {
            if (!ipv4Only || a.protocol() == QAbstractSocket::IPv4Protocol) {
                send(a);
                return;
            }
        }
        raiseError(kHostNotFound, info.errorString());
    });
    return true;
}

qint64 SocketX::BytesSent() const
{
    return d->bytesSent;
}

qint64 SocketX::ReceiveReadyCount() const
{
    if (d->kind == SocketKind::Datagram)
        return d->udp && d->udp->hasPendingDatagrams() ? d->udp->pendingDatagramSize() : 0;
    if (!d->tcp)
        return 0;
    return d->tcp->bytesAvailable() + systemPendingBytes(d->liveDescriptor());
}

qint64 SocketX::ReceiveAppend(QByteArray &to)
{
    if (d->kind == SocketKind::Datagram) {
        const QByteArray datagram = Receive();
        to.append(datagram);
        return datagram.size();
    }
    return d->appendReady(to, kReceiveSlice);
}

QByteArray SocketX::Receive()
{
    if (d->kind == SocketKind::Stream) {
        QByteArray bytes;
        d->appendReady(bytes, std::numeric_limits<qint64>::max());
        return bytes;
    }
    if (!d->udp || !d->udp->hasPendingDatagrams())
        return {};
    QByteArray datagram(d->udp->pendingDatagramSize(), Qt::Uninitialized);
    const qint64 n = d->udp->readDatagram(datagram.data(), datagram.size());
    datagram.truncate(std::max<qint64>(n, 0));
    return datagram;
}

int SocketX::ErrorNumber() const
{
    return d->errorNumber;
}

QString SocketX::ErrorDescription() const
{
    return d->errorDescription;
}

void SocketX::ClearError()
{
    d->errorNumber = 0;
    d->errorDescription.clear();
}

QString SocketX::LastSocketError() const
{
    return d->lastSocketError;
}

bool SocketX::Busy() const
{
    return d->busy;
}

void SocketX::SetBusy(bool busy)
{
    d->busy = busy;
    d->scheduleWhenFree();
}

void SocketX::WhenFree(std::function<void()> then)
{
    d->whenFree.push_back(std::move(then));
    d->scheduleWhenFree();
}

void SocketX::raiseError(int number, const QString &description)
{
    d->errorNumber = number;
    d->errorDescription = description;
    d->lastSocketError = description;
}

} // namespace orvex::platform
