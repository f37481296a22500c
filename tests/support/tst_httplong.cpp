// Long replies. The room a reply is read into keeps every byte through its
// growth and its move to a spool file, and a spool lasts exactly as long as
// the reply that holds it. NET_HTTPget reads straight from the system into
// that room: every byte arrives in order whether the server announces the
// length or not, and a server that keeps sending without an end line still
// ends at the deadline.
#include "common/CaptionLog.h"
#include "common/FakeClock.h"
#include "common/LoopbackHttpServer.h"
#include "common/TestSupport.h"
#include "platform/SocketX.h"
#include "support/AddsHttp.h"
#include "support/ReplyRoom.h"

#include <QtTest>

#include <atomic>
#include <future>
#include <thread>

using namespace orvex;
using namespace orvex::test;
using namespace Qt::Literals::StringLiterals;

namespace {

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

// Appends `n` bytes the way the socket does: into the room, then resized.
void land(ReplyRoom &room, qsizetype n, char &next)
{
    QByteArray &to = room.prepare(n);
    const qsizetype old = to.size();
    QVERIFY(to.capacity() >= old + n); // the room was made beforehand
    to.resize(old + n);
    for (qsizetype i = old; i < to.size(); ++i)
        to.data()[i] = next++;
    QVERIFY(room.commit());
}

QByteArray expectedBytes(qsizetype n)
{
    QByteArray out(n, Qt::Uninitialized);
    char c = 0;
    for (char &b : out)
        b = c++;
    return out;
}

QStringList spoolsIn(const QString &folder)
{
    return QDir(folder).entryList({u".orvex-reply-*"_s}, QDir::Files | QDir::Hidden);
}

const QByteArray kLine = "sin fin, sin marca\r\n"_ba;

// Sends a head and then lines without an end line, as fast as the
// connection takes them, from a thread of its own, until the client closes.
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
            block += kLine;
        s->write("HTTP/1.0 200 OK\r\n\r\n");
        while (!m_stop && s->state() == QAbstractSocket::ConnectedState) {
            if (s->bytesToWrite() < (256 << 10))
                s->write(block);
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

    FakeClock m_clock;
    AddsHttp m_http{&m_clock};
    platform::SocketX m_socket;

private slots:
    // Reads of these sizes, one after another, kept in memory or spooled
    // past 1 MB; sizes cross the points where the room grows or moves.
    void keepsEveryByte_data()
    {
        QTest::addColumn<QList<qsizetype>>("reads");
        QTest::addColumn<bool>("spooled");
        QTest::newRow("one byte at a time") << QList<qsizetype>(300, 1) << false;
        QTest::newRow("typical socket reads")
            << QList<qsizetype>{17, 4096, 65536, 1, 200000} << false;
        QTest::newRow("past the spool threshold")
            << QList<qsizetype>{1000, (1 << 20) - 1000, 1, 70001, 3 << 20} << true;
        QTest::newRow("nothing at all") << QList<qsizetype>{0, 0} << false;
    }
    void keepsEveryByte()
    {
        QFETCH(QList<qsizetype>, reads);
        QFETCH(bool, spooled);
        QTemporaryDir folder;
        ReplyRoom room(1 << 20, folder.path());
        char next = 0;
        qsizetype total = 0;
        for (const qsizetype n : reads) {
            land(room, n, next);
            total += n;
        }
        QCOMPARE(room.size(), total);
        {
            const AnsiText reply = room.take();
            QCOMPARE(reply.isSpooled(), spooled);
            QCOMPARE(reply.size(), total);
            QVERIFY(reply.bytes() == expectedBytes(total));
            // Read where it lies, the same bytes.
            QVERIFY(reply.mid(total / 2, 70000) == expectedBytes(total).mid(total / 2, 70000));
        }
        QVERIFY(spoolsIn(folder.path()).isEmpty()); // gone with the reply
    }

    // A spool left by a killed run goes when the next is made, one still
    // held does not; without a place for a spool the reply stays in memory.
    void spoolsAreSweptOrDoneWithout()
    {
        QTemporaryDir folder;
        QVERIFY(test::writeBytes(folder.filePath(u".orvex-reply-stale"_s), "viejo"));
        char next = 0;
        ReplyRoom room(10, folder.path());
        land(room, 20, next);
        QVERIFY(!QFile::exists(folder.filePath(u".orvex-reply-stale"_s)));
        ReplyRoom second(10, folder.path());
        land(second, 20, next);
        QVERIFY(room.take().bytes() == expectedBytes(20));

        ReplyRoom nowhere(10, folder.filePath(u"missing"_s));
        next = 0;
        land(nowhere, 20, next);
        const AnsiText reply = nowhere.take();
        QVERIFY(!reply.isSpooled());
        QVERIFY(reply.bytes() == expectedBytes(20));
    }
    // The server stays connected; only the end line ends the reply.
    void everyByteInOrder_data()
    {
        QTest::addColumn<QByteArray>("head");
        QTest::addColumn<int>("length"); // as the last progress caption shows it
        QTest::addColumn<qint64>("spoolAbove");
        const qsizetype body = (3 << 20) + 7;
        const QByteArray status("HTTP/1.0 200 OK\r\n");
        QTest::newRow("announced")
            << status + "Content-length: " + QByteArray::number(body) + "\r\n\r\n"
            << int(body) << (qint64(64) << 20);
        QTest::newRow("usual spelling, not announced")
            << status + "Content-Length: " + QByteArray::number(body) + "\r\n\r\n"
            << -1 << (qint64(64) << 20);
        QTest::newRow("spooled past 1 MB") << status + "\r\n" << -1 << (qint64(1) << 20);
    }
    void everyByteInOrder()
    {
        QFETCH(QByteArray, head);
        QFETCH(int, length);
        QFETCH(qint64, spoolAbove);
        QTemporaryDir spool;
        m_http.setReplySpool(spool.path(), spoolAbove);
        const QByteArray reply = head + numberedLines(3 << 20) + ".END.\r\n";
        // In pieces, so that some reach the client while it is reading.
        LoopbackHttpServer server;
        server.otherwise = Answer().trickle(reply, 700000, 1);
        CaptionLog log;
        const AnsiText got =
            m_http.NET_HTTPget(m_socket, u"http://"_s + server.host() + u'/', {}, {}, 60, {}, &log);
        QCOMPARE(got.isSpooled(), spoolAbove < reply.size());
        QCOMPARE(got.size(), reply.size());
        QVERIFY(got.bytes() == reply);
        QCOMPARE(log.captions.at(log.captions.size() - 2),
                 u"%1/%2"_s.arg(reply.size()).arg(length));
        QCOMPARE(m_socket.state(), platform::SocketState::Closed);
    }

    void steadyServerEndsAtDeadline()
    {
        SteadyServer server;
        QTimer time;
        connect(&time, &QTimer::timeout, this, [this] { m_clock.advanceSeconds(1); });
        time.start(20);
        const AnsiText got =
            m_http.NET_HTTPget(m_socket, u"http://127.0.0.1:%1/"_s.arg(server.port()), {}, {}, 1);
        const QByteArray bytes = got.bytes();
        QVERIFY(bytes.startsWith("HTTP/1.0 200 OK\r\n\r\n"));
        const QByteArrayView body = QByteArrayView(bytes).sliced(19);
        QVERIFY(!body.isEmpty());
        // Whole lines up to the last one, which may be cut anywhere.
        const qsizetype whole = body.size() - body.size() % kLine.size();
        for (qsizetype at = 0; at < whole; at += kLine.size())
            QVERIFY(body.sliced(at, kLine.size()) == kLine);
        QVERIFY(kLine.startsWith(body.sliced(whole)));
        QCOMPARE(m_socket.state(), platform::SocketState::Closed);
    }
};

QTEST_GUILESS_MAIN(TestHttpLong)
#include "tst_httplong.moc"
