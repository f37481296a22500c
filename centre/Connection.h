#pragma once
// One client's connection to the centre: its one request read within the
// limits, answered, and the connection closed (HTTP/1.0).
#include "centre/HttpRequest.h"

#include <QHostAddress>
#include <QLoggingCategory>
#include <QObject>
#include <QTimer>

#include <functional>

class QTcpSocket;

Q_DECLARE_LOGGING_CATEGORY(lcCentre)

namespace orvex::centre {

// What the centre gives to clients. A request line of the configuration
// upload holds a whole archive, escaped (three bytes for each of its bytes).
struct Limits
{
    int maxConnections = 64;
    // Requests still arriving, all connections together.
    qint64 memoryBudget = qint64(512) << 20;
    // One request: line, headers and body.
    qint64 maxRequest = qint64(256) << 20;
    // A client that sends nothing for this long is closed...
    int idleMs = 30 * 1000;
    // ...and so is one whose request is not whole this long after it connected.
    int requestMs = 5 * 60 * 1000;
};

// How many connections are open and how many bytes of requests they hold,
// against the limits.
class Admission
{
public:
    explicit Admission(const Limits &limits) : m_limits(limits) {}
    bool open();
    void close() { --m_open; }
    bool take(qint64 bytes);
    void give(qint64 bytes) { m_buffered -= bytes; }

private:
    const Limits &m_limits;
    int m_open = 0;
    qint64 m_buffered = 0;
};

class Connection : public QObject
{
    Q_OBJECT
public:
    using Answer = std::function<QByteArray(const HttpRequest &, const QHostAddress &)>;

    // Lives as long as `socket`, which it closes when it is done. The caller
    // has opened it with `admission`.
    Connection(QTcpSocket *socket, const Limits &limits, Admission &admission, Answer answer);
    ~Connection() override;

private:
    void read();
    void finish(const QByteArray &reply);

    QTcpSocket *m_socket;
    Admission &m_admission;
    Answer m_answer;
    qint64 m_maxRequest;
    QByteArray m_buffer;
    qint64 m_charged = 0;    // of the budget
    qsizetype m_scanned = 0; // how far the request line was searched
    bool m_answered = false;
    QTimer m_idle;
    QTimer m_deadline;
};

// A whole reply: status line, the content's type and length, and the body.
QByteArray reply(int status, const QByteArray &reason, const QByteArray &body,
                 const QByteArray &type = "text/plain; charset=windows-1252");

// The agent stops reading at this line, or when the connection closes.
inline const QByteArray kEnd = ".END.\r\n";

} // namespace orvex::centre
