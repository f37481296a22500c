// NET_HTTPget on long replies, which the socket reads straight from the
// system into the reply: every byte arrives in order whether the server
// announces the length or not, and a server that keeps sending without an
// end line still ends at the deadline.
#include "helpers/LoopbackHttpServer.h"
#include "platform/SocketX.h"
#include "support/AddsHttp.h"
#include "support/ProgressCaption.h"

#include <QtTest>

#include <atomic>
#include <future>
#include <thread>

using namespace orvex;
using namespace orvex::test;
using namespace Qt::Literals::StringLiterals;

namespace {

struct CaptionLog final : ProgressCaption
{
    QStringList captions;
    void setCaption(const QString &caption) override { captions << caption; }
};

// Lines that differ from each other, so a lost or repeated piece shows.
QByteArray numberedLines(qsizetype size)
{
    QByteArray out;
    out.reserve(size + 32);
    for (int i = 0; out.size() < size; ++i)
        out += "linea " + QByteArray::number(i) + "\r\n";
    out.truncate(size);
    return out;
}

// Sends a header and then lines without an end line, as fast as the
// connection takes them, from a thread of its own; after kLimit bytes it
// stays connected and silent until stopped.
class SteadyServer
{
public:
    SteadyServer()
    {
        std::promise<quint16> port;
        m_port = port.get_future();
        m_thread = std::thread([this, p = std::move(port)]() mutable { run(p); });
    }
    ~SteadyServer()
    {
        m_stop = true;
        m_thread.join();
    }
    quint16 port() { return m_port.get(); }
    static QByteArray head() { return "HTTP/1.0 200 OK\r\n\r\n"_ba; }
    static QByteArray line() { return "sin fin, sin marca\r\n"_ba; }
    static constexpr qsizetype kLimit = qsizetype(16) << 20;

private:
    void run(std::promise<quint16> &port)
    {
        QTcpServer server;
        server.listen(QHostAddress::LocalHost, 0);
        port.set_value(server.serverPort());
        while (!m_stop && !server.waitForNewConnection(50)) {
        }
        QTcpSocket *s = server.nextPendingConnection();
        if (!s)
            return;
        QByteArray block;
        while (block.size() < (64 << 10))
            block += line();
        s->write(head());
        for (qsizetype sent = 0; !m_stop && s->state() == QAbstractSocket::ConnectedState;) {
            if (sent >= kLimit) {
                s->waitForReadyRead(50); // or the client's close
                continue;
            }
            if (s->bytesToWrite() < (256 << 10)) {
                s->write(block);
                sent += block.size();
            }
            s->waitForBytesWritten(50);
        }
        s->abort();
    }

    std::atomic<bool> m_stop{false};
    std::future<quint16> m_port;
    std::thread m_thread;
};

} // namespace

class TestHttpLong : public QObject
{
    Q_OBJECT

    AddsHttp m_http;
    platform::SocketX m_socket;

private slots:
    // The server stays connected; only the end line ends the reply.
    void everyByteInOrder_data()
    {
        QTest::addColumn<QByteArray>("head");
        QTest::addColumn<int>("length"); // as the last progress caption shows it
        const QByteArray body = numberedLines(3 << 20) + ".END.\r\n";
        const QByteArray status("HTTP/1.0 200 OK\r\n");
        QTest::newRow("announced")
            << status + "Content-length: " + QByteArray::number(body.size()) + "\r\n\r\n"
            << int(body.size());
        QTest::newRow("usual spelling, not announced")
            << status + "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n"
            << -1;
        QTest::newRow("no length at all") << status + "\r\n" << -1;
    }
    void everyByteInOrder()
    {
        QFETCH(QByteArray, head);
        QFETCH(int, length);
        const QByteArray reply = head + numberedLines(3 << 20) + ".END.\r\n";
        // In pieces, so that some reach the client while it is reading.
        ServerScript script;
        for (qsizetype at = 0; at < reply.size(); at += 700000)
            script << send(reply.mid(at, 700000)) << pause(1);
        LoopbackHttpServer server(script);
        CaptionLog log;
        const AnsiText got = m_http.NET_HTTPget(
            m_socket, u"http://127.0.0.1:%1/"_s.arg(server.port()), {}, {}, 60, {}, &log);
        QCOMPARE(got.size(), reply.size());
        QVERIFY(got.bytes() == reply);
        QCOMPARE(log.captions.at(log.captions.size() - 2),
                 u"%1/%2"_s.arg(reply.size()).arg(length));
        QCOMPARE(m_socket.state(), platform::SocketState::Closed);
    }

    void steadyServerEndsAtDeadline()
    {
        SteadyServer server;
        const AnsiText got =
            m_http.NET_HTTPget(m_socket, u"http://127.0.0.1:%1/"_s.arg(server.port()), {}, {}, 1);
        const QByteArray bytes = got.bytes();
        QVERIFY(bytes.startsWith(SteadyServer::head()));
        const QByteArrayView body = QByteArrayView(bytes).sliced(SteadyServer::head().size());
        QVERIFY(!body.isEmpty());
        // Whole lines up to the last one, which may be cut anywhere.
        const qsizetype whole = body.size() - body.size() % SteadyServer::line().size();
        for (qsizetype at = 0; at < whole; at += SteadyServer::line().size())
            QVERIFY(body.sliced(at, SteadyServer::line().size()) == SteadyServer::line());
        QVERIFY(SteadyServer::line().startsWith(body.sliced(whole)));
        QCOMPARE(m_socket.state(), platform::SocketState::Closed);
    }
};

QTEST_GUILESS_MAIN(TestHttpLong)
#include "tst_httplong.moc"
