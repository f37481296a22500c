#pragma once
// An HTTP server on 127.0.0.1 for the HTTP client's tests. It records every
// request as it arrived and answers each one with the same script of steps.
#include <QByteArray>
#include <QList>
#include <QMetaType>

#include <memory>

namespace orvex::test {

struct ServerStep
{
    // Reset closes with the request still unread, so the system sends RST.
    enum Kind { Send, Pause, Close, Reset } kind = Send;
    QByteArray bytes;
    int ms = 0;
    static ServerStep send(const QByteArray &b) { return {Send, b, 0}; }
    static ServerStep pause(int ms) { return {Pause, {}, ms}; }
};
using ServerScript = QList<ServerStep>;

// `bytes` in pieces of `piece` bytes, `ms` apart.
ServerScript dripped(const QByteArray &bytes, int piece, int ms);

class LoopbackHttpServer
{
public:
    explicit LoopbackHttpServer(ServerScript script);
    ~LoopbackHttpServer();
    quint16 port() const;
    // Each request up to and including its empty line.
    QList<QByteArray> requests() const;

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

} // namespace orvex::test

Q_DECLARE_METATYPE(orvex::test::ServerScript)
