#pragma once
// The centre's home server as the actions' tests script it: each request is
// answered with the reply of the first route whose path prefix it matches,
// then closed.
#include <QByteArrayList>
#include <QHostAddress>
#include <QList>
#include <QPair>
#include <QTcpServer>
#include <QTcpSocket>

namespace orvex::test {

class HomeServer
{
public:
    HomeServer()
    {
        m_server.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&m_server, &QTcpServer::newConnection, [this] {
            while (QTcpSocket *s = m_server.nextPendingConnection())
                serve(s);
        });
    }
    QString host() const { return QStringLiteral("127.0.0.1:%1").arg(m_server.serverPort()); }

    void route(const QByteArray &pathPrefix, const QByteArray &reply)
    {
        m_routes.append({pathPrefix, reply});
    }
    // The request lines received ("GET /path HTTP/1.0"), in order.
    QByteArrayList requests;

private:
    void serve(QTcpSocket *s)
    {
        QObject::connect(s, &QTcpSocket::disconnected, s, &QObject::deleteLater);
        QObject::connect(s, &QTcpSocket::readyRead, s, [this, s] {
            const QByteArray seen = s->peek(s->bytesAvailable());
            const qsizetype end = seen.indexOf("\r\n\r\n");
            if (end < 0)
                return;
            const QByteArray line = seen.left(seen.indexOf("\r\n"));
            s->read(end + 4);
            requests << line;
            const QByteArray path = line.mid(4);
            QByteArray reply = "HTTP/1.0 404 No\r\n\r\n";
            for (const auto &[prefix, answer] : m_routes) {
                if (path.startsWith(prefix)) {
                    reply = answer;
                    break;
                }
            }
            s->write(reply);
            s->disconnectFromHost();
        });
    }

    QTcpServer m_server;
    QList<QPair<QByteArray, QByteArray>> m_routes;
};

} // namespace orvex::test
