#include "centre/Connection.h"

#include <QTcpSocket>

Q_LOGGING_CATEGORY(lcCentre, "orvex.centre")

namespace orvex::centre {

// "Content-length" as the centre spells it: the agent's client looks for
// that spelling to show how far a transfer got (HTTP does not mind).
QByteArray reply(int status, const QByteArray &reason, const QByteArray &body,
                 const QByteArray &type)
{
    return "HTTP/1.0 " + QByteArray::number(status) + ' ' + reason + "\r\nContent-Type: " + type +
           "\r\nContent-length: " + QByteArray::number(body.size()) +
           "\r\nConnection: close\r\n\r\n" + body;
}

bool Admission::open()
{
    if (m_open >= m_limits.maxConnections)
        return false;
    ++m_open;
    return true;
}

bool Admission::take(qint64 bytes)
{
    if (m_buffered + bytes > m_limits.memoryBudget)
        return false;
    m_buffered += bytes;
    return true;
}

Connection::Connection(QTcpSocket *socket, const Limits &limits, Admission &admission,
                       Answer answer)
    : QObject(socket), m_socket(socket), m_admission(admission), m_answer(std::move(answer)),
      m_maxRequest(limits.maxRequest)
{
    // What the socket itself reads ahead stays small; the rest waits in the
    // system until the request is read on.
    socket->setReadBufferSize(1 << 20);
    m_idle.setSingleShot(true);
    m_deadline.setSingleShot(true);
    connect(&m_idle, &QTimer::timeout, this, [this] {
        qCInfo(lcCentre).noquote() << m_socket->peerAddress().toString() << "silent: closed";
        m_socket->abort();
    });
    connect(&m_deadline, &QTimer::timeout, this, [this] {
        qCInfo(lcCentre).noquote() << m_socket->peerAddress().toString() << "too slow: closed";
        m_socket->abort();
    });
    m_idle.start(limits.idleMs);
    m_deadline.start(limits.requestMs);
    connect(socket, &QTcpSocket::readyRead, this, &Connection::read);
    // A reply on its way keeps the connection alive.
    connect(socket, &QTcpSocket::bytesWritten, &m_idle, qOverload<>(&QTimer::start));
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
}

Connection::~Connection()
{
    m_admission.give(m_charged);
    m_admission.close();
}

void Connection::read()
{
    const QByteArray incoming = m_socket->readAll();
    if (m_answered)
        return; // one request a connection: the rest is not read
    // The buffer grows by a quarter at a time rather than doubling, and what
    // it allocates is charged to the budget.
    const qint64 needed = m_buffer.size() + incoming.size();
    if (needed > m_buffer.capacity()) {
        const qint64 grown = needed + needed / 4;
        if (!m_admission.take(grown - m_charged)) {
            qCInfo(lcCentre) << m_socket->peerAddress().toString() << "refused: memory budget full";
            finish(reply(503, "Service Unavailable", "R:ERROR centro ocupado\r\n" + kEnd));
            return;
        }
        m_charged = grown;
        m_buffer.reserve(grown);
    }
    m_buffer += incoming;
    m_idle.start();
    ParsedRequest parsed = parseRequest(m_buffer, m_scanned, m_maxRequest);
    switch (parsed.kind) {
    case ParsedRequest::NeedMore:
        return;
    case ParsedRequest::Malformed:
        finish(reply(400, "Bad Request", "R:ERROR pedido mal formado\r\n" + kEnd));
        return;
    case ParsedRequest::TooLarge:
        finish(reply(413, "Too Large", "R:ERROR pedido demasiado grande\r\n" + kEnd));
        return;
    case ParsedRequest::Complete:
        break;
    }
    // The request shares the buffer's bytes, still charged while it is answered.
    m_buffer = QByteArray();
    finish(m_answer(parsed.request, m_socket->peerAddress()));
}

void Connection::finish(const QByteArray &out)
{
    m_answered = true;
    m_deadline.stop();
    m_buffer = QByteArray();
    m_admission.give(m_charged);
    m_charged = 0;
    m_socket->write(out);
    // HTTP/1.0: the reply ends where the connection does.
    m_socket->disconnectFromHost();
}

} // namespace orvex::centre
