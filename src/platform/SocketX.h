#pragma once
// A TCP or UDP socket that is driven by polling: set the properties, call
// Create, Connect (or Bind), then watch state(), BytesSent() and
// ReceiveReadyCount() while the event loop runs. Nothing here blocks; Qt does
// the connecting, the writing and the name resolution while events are
// processed. The HTTP routine and the datagram keep-alive share one instance
// owned by the main form, hence the busy flag.
#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>

namespace orvex::platform {

enum class SocketState { Closed, Created, Connecting, Connected, Closing };

// Values as the callers know them: 0 stream (TCP), 1 datagram (UDP).
enum class SocketKind { Stream = 0, Datagram = 1 };

class SocketX
{
public:
    SocketX();
    virtual ~SocketX();
    SocketX(const SocketX &) = delete;
    SocketX &operator=(const SocketX &) = delete;

    // Properties, read when Create, Connect, Bind or Close run.
    SocketKind SocketType = SocketKind::Stream;
    // With LingerEnabled, Close lets unsent data go out for at most
    // LingerTime seconds and then resets the connection (0: reset at once).
    // Without it, Close waits for unsent data as long as it takes.
    bool LingerEnabled = false;
    qint32 LingerTime = 0;
    bool ReuseAddressEnabled = false;
    // True: connect to RemoteName, which Qt resolves. False: RemoteAddress is
    // a numeric address and is used as it is, without any lookup.
    bool RemoteNameAddrXlate = false;
    QString RemoteName;
    QString RemoteAddress;
    qint32 RemotePort = 0;
    qint32 LocalPort = 0;
    QString LocalAddress; // empty, "0.0.0.0" or "::" mean any

    virtual SocketState state() const;

    virtual bool Create();
    virtual bool Connect();
    virtual bool Bind();
    virtual void Close();
    // Queues the whole of `data` on a connected stream socket; BytesSent()
    // then counts what has reached the system.
    virtual bool Send(const QByteArray &data);
    // One datagram. `address` may be a host name: it is resolved first, and
    // BytesSent() stays 0 until the datagram has gone.
    virtual bool SendTo(const QByteArray &data, const QString &address, qint32 port);
    virtual qint64 BytesSent() const;
    // On a stream: what Qt has taken in plus what the system still holds.
    virtual qint64 ReceiveReadyCount() const;
    virtual QByteArray Receive();
    // Receive, appending to `to`. On a stream, bytes still held by the system
    // are read straight into `to` (where the system allows), so a long reply
    // costs one copy, and at most about a megabyte is taken per call; returns
    // the number of bytes added. Making room in `to` beforehand
    // (ReceiveReadyCount() bytes) spares it a reallocation.
    virtual qint64 ReceiveAppend(QByteArray &to);

    // The run-time error raised by the last failing method: 0 when none.
    // Numbers are the usual socket error numbers (10061 refused, ...).
    // Conditions that arrive later on their own (a refused or reset
    // connection) only change state(); LastSocketError() tells them for logs.
    int ErrorNumber() const;
    QString ErrorDescription() const;
    bool ErrorPending() const { return ErrorNumber() != 0; }
    void ClearError();
    QString LastSocketError() const;

    // Set by whoever is using the socket, so that a call arriving through
    // event processing can see it must not start.
    bool Busy() const;
    void SetBusy(bool busy);
    // Runs `then` from the event loop once nobody uses the socket: at the
    // next turn when it is free, else after the one using it lets go. (Who
    // finds it busy runs inside that user's wait, which cannot end before
    // the finder returns, so waiting there would never end.)
    void WhenFree(std::function<void()> then);

protected:
    void raiseError(int number, const QString &description);

private:
    // Connect and SendTo need a created socket of their kind and a valid
    // remote port; the first condition missing raises its error.
    bool readyToReach(SocketKind kind, qint32 port);

    struct Impl;
    std::unique_ptr<Impl> d;
};

} // namespace orvex::platform
