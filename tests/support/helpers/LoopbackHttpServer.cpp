#include "LoopbackHttpServer.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>

namespace orvex::test {
namespace {

void play(QTcpSocket *s, const ServerScript &script, qsizetype from)
{
    for (qsizetype i = from; i < script.size(); ++i) {
        switch (script[i].kind) {
        case ServerStep::Send:
            s->write(script[i].bytes);
            break;
        case ServerStep::Pause:
            QTimer::singleShot(script[i].ms, s, [=] { play(s, script, i + 1); });
            return;
        case ServerStep::Close:
            return s->disconnectFromHost();
        case ServerStep::Reset:
            return s->abort();
        }
    }
}

} // namespace

ServerScript dripped(const QByteArray &bytes, int piece, int ms)
{
    ServerScript script;
    for (qsizetype at = 0; at < bytes.size(); at += piece)
        script << ServerStep::pause(at > 0 ? ms : 0) << ServerStep::send(bytes.mid(at, piece));
    return script;
}

struct LoopbackHttpServer::Impl
{
    QTcpServer server;
    ServerScript script;
    QList<QByteArray> requests;

    void serve(QTcpSocket *s)
    {
        QObject::connect(s, &QTcpSocket::disconnected, s, &QObject::deleteLater);
        const bool resets = std::any_of(script.cbegin(), script.cend(),
                                        [](const ServerStep &st) { return st.kind == st.Reset; });
        if (resets) // reads one byte only and answers at once
            s->setReadBufferSize(1);
        QObject::connect(s, &QTcpSocket::readyRead, s, [this, s, resets] {
            if (s->property("started").toBool())
                return;
            QByteArray seen = s->property("seen").toByteArray();
            seen.append(resets ? QByteArray() : s->readAll());
            s->setProperty("seen", seen);
            const qsizetype end = seen.indexOf("\r\n\r\n");
            if (resets || end >= 0) {
                s->setProperty("started", true);
                if (end >= 0)
                    requests << seen.left(end + 4);
                play(s, script, 0);
            }
        });
    }
};

LoopbackHttpServer::LoopbackHttpServer(ServerScript script) : d(std::make_unique<Impl>())
{
    d->script = std::move(script);
    d->server.listen(QHostAddress::LocalHost, 0);
    QObject::connect(&d->server, &QTcpServer::newConnection, [impl = d.get()] {
        while (QTcpSocket *s = impl->server.nextPendingConnection())
            impl->serve(s);
    });
}

LoopbackHttpServer::~LoopbackHttpServer() = default;

quint16 LoopbackHttpServer::port() const
{
    return d->server.serverPort();
}

QList<QByteArray> LoopbackHttpServer::requests() const
{
    return d->requests;
}

} // namespace orvex::test
