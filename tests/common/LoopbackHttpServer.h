#pragma once
// An HTTP server on a loopback address for the tests that need one: the
// centre's home server, a dynamic-IP server, a server that misbehaves. Each
// request is answered by the first route whose prefix it matches (a prefix
// starting with "/" is matched against the path, any other against the
// request line, "POST /ox" say), else by `otherwise`. An answer is a script
// of steps: send bytes, pause, close, reset. Every request is kept as it
// arrived, body included.
#include <QByteArrayList>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <functional>
#include <list>
#include <sys/socket.h>

namespace orvex::test {

struct Answer
{
    struct Step
    {
        enum Kind { Send, Pause, Close, Reset } kind = Send;
        QByteArray bytes;
        int ms = 0;
    };
    QList<Step> steps;
    // Answer once this many bytes of the request are in, as a server that
    // refuses a request line before its end does (0: after the request).
    qsizetype after = 0;

    Answer &send(const QByteArray &b) { return steps.append({Step::Send, b, 0}), *this; }
    Answer &pause(int ms) { return steps.append({Step::Pause, {}, ms}), *this; }
    Answer &close() { return steps.append({Step::Close, {}, 0}), *this; }
    // Closes so that the system sends RST instead of FIN.
    Answer &reset() { return steps.append({Step::Reset, {}, 0}), *this; }
    // `bytes` in pieces of `piece` bytes, `ms` apart.
    Answer &trickle(const QByteArray &bytes, qsizetype piece, int ms)
    {
        for (qsizetype at = 0; at < bytes.size(); at += piece)
            (at > 0 ? pause(ms) : *this).send(bytes.mid(at, piece));
        return *this;
    }

    // The whole reply at once, then the end of the connection.
    static Answer reply(const QByteArray &bytes) { return Answer().send(bytes).close(); }
    // "HTTP/1.0 200 OK", `headers` (each ending in CR LF), an empty line, `body`.
    static Answer ok(const QByteArray &body, const QByteArray &headers = {})
    {
        return reply("HTTP/1.0 200 OK\r\n" + headers + "\r\n" + body);
    }
};

class LoopbackHttpServer
{
public:
    explicit LoopbackHttpServer(const QHostAddress &address = QHostAddress::LocalHost,
                                quint16 port = 0)
    {
        m_server.listen(address, port);
        QObject::connect(&m_server, &QTcpServer::newConnection, [this] {
            while (QTcpSocket *s = m_server.nextPendingConnection())
                serve(s);
        });
    }
    // One that answers every request with `steps`.
    explicit LoopbackHttpServer(QList<Answer::Step> steps) : LoopbackHttpServer()
    {
        otherwise.steps = std::move(steps);
    }
    bool isListening() const { return m_server.isListening(); }
    quint16 port() const { return m_server.serverPort(); }
    // "127.0.0.1:port", as a URL's host part.
    QString host() const
    {
        return m_server.serverAddress().toString() + u':' + QString::number(port());
    }

    // Adds a route, or replaces the one with the same prefix.
    void route(const QByteArray &prefix, const Answer &answer)
    {
        for (auto &r : m_routes)
            if (r.first == prefix)
                return void(r.second = answer);
        m_routes.append({prefix, answer});
    }
    Answer otherwise = Answer::reply("HTTP/1.0 404 No existe\r\n\r\n");

    // Called with each request once it is whole (or once an early answer
    // starts), before the answer goes out.
    std::function<void(const QByteArray &request)> onRequest;

    QByteArrayList requests;  // whole, as they arrived
    qint64 bytesReceived = 0; // all that arrived, also after an answer
    QByteArrayList requestLines() const
    {
        QByteArrayList lines;
        for (const QByteArray &r : requests)
            lines << r.left(r.indexOf("\r\n"));
        return lines;
    }

private:
    struct Connection
    {
        explicit Connection(QTcpSocket *s) : socket(s) {}
        QTcpSocket *socket;
        QByteArray seen;
        qsizetype searchedUpTo = 0;
        qsizetype headEnd = -1;
        qsizetype length = 0; // head and body
        bool answered = false;
    };

    const Answer &answerFor(QByteArrayView request) const
    {
        request = request.first(std::min<qsizetype>(request.size(), 1024)); // prefixes are short
        const QByteArrayView target = request.sliced(request.indexOf(' ') + 1);
        for (const auto &[prefix, answer] : m_routes)
            if ((prefix.startsWith('/') ? target : request).startsWith(prefix))
                return answer;
        return otherwise;
    }

    void serve(QTcpSocket *s)
    {
        auto c = m_connections.emplace(m_connections.end(), s);
        QObject::connect(s, &QTcpSocket::disconnected, s, &QObject::deleteLater);
        QObject::connect(s, &QObject::destroyed, &m_server, [this, c] { m_connections.erase(c); });
        QObject::connect(s, &QTcpSocket::readyRead, s, [this, c] { take(*c); });
    }

    void take(Connection &c)
    {
        const QByteArray more = c.socket->readAll();
        bytesReceived += more.size();
        c.seen += more;
        if (c.answered)
            return;
        if (c.headEnd < 0) {
            const qsizetype end =
                c.seen.indexOf("\r\n\r\n", std::max<qsizetype>(c.searchedUpTo - 3, 0));
            c.searchedUpTo = c.seen.size();
            if (end >= 0) {
                c.headEnd = end + 4;
                c.length = c.headEnd + contentLength(c.seen.first(end));
            }
        }
        const Answer &answer = answerFor(c.seen);
        const bool whole = c.headEnd >= 0 && c.seen.size() >= c.length;
        if (!whole && !(answer.after > 0 && c.seen.size() >= answer.after))
            return;
        c.answered = true;
        requests << (whole ? c.seen.left(c.length) : c.seen);
        if (onRequest)
            onRequest(requests.last());
        play(c.socket, answer.steps, 0);
    }

    static qsizetype contentLength(QByteArrayView head)
    {
        for (const QByteArray &line : head.toByteArray().split('\n')) {
            const qsizetype colon = line.indexOf(':');
            if (colon > 0 &&
                line.left(colon).trimmed().compare("content-length", Qt::CaseInsensitive) == 0)
                return line.mid(colon + 1).trimmed().toLongLong();
        }
        return 0;
    }

    void play(QTcpSocket *s, QList<Answer::Step> steps, qsizetype from)
    {
        for (qsizetype i = from; i < steps.size(); ++i) {
            switch (steps[i].kind) {
            case Answer::Step::Send:
                s->write(steps[i].bytes);
                break;
            case Answer::Step::Pause:
                QTimer::singleShot(steps[i].ms, s, [=, this] { play(s, steps, i + 1); });
                return;
            case Answer::Step::Close:
                return closeGracefully(s);
            case Answer::Step::Reset: {
                const linger now{1, 0};
                ::setsockopt(int(s->socketDescriptor()), SOL_SOCKET, SO_LINGER, &now, sizeof now);
                return s->abort();
            }
            }
        }
    }

    // Once the answer is out, the end of sending (FIN), while what the client
    // still sends is read and dropped: closing with bytes unread would reset
    // the connection and lose the answer, which stock servers avoid too.
    static void closeGracefully(QTcpSocket *s)
    {
        if (s->bytesToWrite() > 0) {
            QObject::connect(s, &QTcpSocket::bytesWritten, s, [s] {
                if (s->bytesToWrite() == 0)
                    ::shutdown(int(s->socketDescriptor()), SHUT_WR);
            });
            return;
        }
        ::shutdown(int(s->socketDescriptor()), SHUT_WR);
    }

    QTcpServer m_server;
    QList<std::pair<QByteArray, Answer>> m_routes;
    std::list<Connection> m_connections;
};

} // namespace orvex::test

Q_DECLARE_METATYPE(orvex::test::Answer)
