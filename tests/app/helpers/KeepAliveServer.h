#pragma once
// A dynamic-IP server on a loopback address for the scan cycle's tests:
// answers each keep-alive as `accepting` says at that moment, or never.
#include <QByteArrayList>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

namespace orvex::test {

class KeepAliveServer
{
public:
    enum class Answer { Accept, Refuse, Silent };

    explicit KeepAliveServer(const QHostAddress &address = QHostAddress::LocalHost,
                             quint16 port = 0)
    {
        m_server.listen(address, port);
        QObject::connect(&m_server, &QTcpServer::newConnection, [this] {
            while (QTcpSocket *s = m_server.nextPendingConnection())
                serve(s);
        });
    }
    bool isListening() const { return m_server.isListening(); }
    quint16 port() const { return m_server.serverPort(); }

    Answer answer = Answer::Accept;
    // How long each answer takes.
    int delayMs = 0;
    QByteArrayList requests; // each up to its empty line

private:
    void serve(QTcpSocket *s)
    {
        QObject::connect(s, &QTcpSocket::disconnected, s, &QObject::deleteLater);
        QObject::connect(s, &QTcpSocket::readyRead, s, [this, s] {
            const qsizetype end = s->peek(s->bytesAvailable()).indexOf("\r\n\r\n");
            if (end < 0)
                return;
            requests << s->read(end + 4);
            if (answer == Answer::Silent)
                return;
            const QByteArray reply = answer == Answer::Accept
                                         ? "HTTP/1.0 200 OK\r\n\r\nR:OK Lumaris\r\n.END.\r\n"
                                         : "HTTP/1.0 503 Ocupado\r\n\r\nR:ERR\r\n.END.\r\n";
            QTimer::singleShot(delayMs, s, [s, reply] {
                s->write(reply);
                s->disconnectFromHost();
            });
        });
    }

    QTcpServer m_server;
};

} // namespace orvex::test
