#pragma once
// An HTTP server on 127.0.0.1 for the HTTP client's tests. It records every
// request as it arrived and answers each one with the same script of steps.
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>

namespace orvex::test {

struct ServerStep
{
    // Reset closes with the request still unread, so the system sends RST.
    enum Kind { Send, Pause, Close, Reset } kind = Send;
    QByteArray bytes;
    int ms = 0;
};
using ServerScript = QList<ServerStep>;
inline ServerStep send(const QByteArray &b)
{
    return {ServerStep::Send, b, 0};
}
inline ServerStep pause(int ms)
{
    return {ServerStep::Pause, {}, ms};
}

// `bytes` in pieces of `piece` bytes, `ms` apart.
inline ServerScript dripped(const QByteArray &bytes, int piece, int ms)
{
    ServerScript script;
    for (qsizetype at = 0; at < bytes.size(); at += piece)
        script << pause(at > 0 ? ms : 0) << send(bytes.mid(at, piece));
    return script;
}

class LoopbackHttpServer
{
public:
    explicit LoopbackHttpServer(ServerScript script) : m_script(std::move(script))
    {
        m_server.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&m_server, &QTcpServer::newConnection, [this] {
            while (QTcpSocket *s = m_server.nextPendingConnection())
                serve(s);
        });
    }
    quint16 port() const { return m_server.serverPort(); }
    QList<QByteArray> requests; // each up to and including its empty line

private:
    void serve(QTcpSocket *s)
    {
        QObject::connect(s, &QTcpSocket::disconnected, s, &QObject::deleteLater);
        const bool resets = std::any_of(m_script.cbegin(), m_script.cend(),
                                        [](const ServerStep &st) { return st.kind == st.Reset; });
        if (resets) // reads one byte only and answers at once
            s->setReadBufferSize(1);
        QObject::connect(s, &QTcpSocket::readyRead, s, [this, s, resets] {
            const qsizetype end = s->peek(s->bytesAvailable()).indexOf("\r\n\r\n");
            if (!resets && end < 0)
                return;
            QObject::disconnect(s, &QTcpSocket::readyRead, nullptr, nullptr);
            if (end >= 0)
                requests << s->read(end + 4);
            play(s, 0);
        });
    }
    void play(QTcpSocket *s, qsizetype from)
    {
        for (qsizetype i = from; i < m_script.size(); ++i) {
            switch (m_script[i].kind) {
            case ServerStep::Send:
                s->write(m_script[i].bytes);
                break;
            case ServerStep::Pause:
                QTimer::singleShot(m_script[i].ms, s, [=, this] { play(s, i + 1); });
                return;
            case ServerStep::Close:
                return s->disconnectFromHost();
            case ServerStep::Reset:
                return s->abort();
            }
        }
    }

    QTcpServer m_server;
    ServerScript m_script;
};

} // namespace orvex::test

Q_DECLARE_METATYPE(orvex::test::ServerScript)
