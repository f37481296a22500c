// Long replies: the room a reply is read into keeps every byte through its
// growth and its move to a spool file, a spool lasts as long as its reply,
// and a server that never stops sending still ends at the deadline.
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

// Byte i is char(i): a lost or repeated piece shows.
QByteArray counting(qsizetype n)
{
    QByteArray out(n, Qt::Uninitialized);
    for (qsizetype i = 0; i < n; ++i)
        out[i] = char(i);
    return out;
}

// Appends `n` bytes the way the socket does: into the room, then resized.
void land(ReplyRoom &room, qsizetype n, qsizetype &total)
{
    QByteArray &to = room.prepare(n);
    const qsizetype old = to.size();
    QVERIFY(to.capacity() >= old + n); // the room was made beforehand
    to.resize(old + n);
    for (qsizetype i = old; i < to.size(); ++i)
        to.data()[i] = char(total++);
    QVERIFY(room.commit());
}

const QByteArray kLine = "sin fin, sin marca\r\n"_ba;

} // namespace

class TestHttpLong : public QObject
{
    Q_OBJECT

    FakeClock m_clock;
    AddsHttp m_http{&m_clock};
    platform::SocketX m_socket;

private slots:
    // Reads of these sizes, kept in memory or spooled past 1 MB; sizes cross
    // the points where the room grows or moves.
    void keepsEveryByte_data()
    {
        QTest::addColumn<QList<qsizetype>>("reads");
        QTest::addColumn<bool>("spooled");
        QTest::newRow("one byte at a time") << QList<qsizetype>(300, 1) << false;
        QTest::newRow("past the spool threshold")
            << QList<qsizetype>{1000, (1 << 20) - 1000, 1, 70001, 3 << 20} << true;
        QTest::newRow("nothing at all") << QList<qsizetype>{0, 0} << false;
    }
    void keepsEveryByte()
    {
        QFETCH(QList<qsizetype>, reads);
        QTemporaryDir folder;
        ReplyRoom room(1 << 20, folder.path());
        qsizetype total = 0;
        for (const qsizetype n : reads)
            land(room, n, total);
        QCOMPARE(room.size(), total);
        {
            const AnsiText reply = room.take();
            QTEST(reply.isSpooled(), "spooled");
            QCOMPARE(reply.size(), total);
            QVERIFY(reply.bytes() == counting(total));
            QVERIFY(reply.mid(total / 2, 70000) == counting(total).mid(total / 2, 70000));
        }
        QVERIFY(
            QDir(folder.path()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    }

    // A spool left by a killed run goes when the next is made, one still
    // held does not; without a place for a spool the reply stays in memory.
    void spoolsAreSweptOrDoneWithout()
    {
        QTemporaryDir folder;
        const QString stale = folder.filePath(u".orvex-reply-stale"_s);
        QVERIFY(writeBytes(stale, "viejo"));
        qsizetype total = 0, again = 0;
        ReplyRoom room(10, folder.path()), second(10, folder.path()),
            nowhere(10, folder.filePath(u"missing"_s));
        land(room, 20, total);
        QVERIFY(!QFile::exists(stale));
        land(second, 20, total);
        land(nowhere, 20, again);
        QVERIFY(room.take().bytes() == counting(20));
        const AnsiText reply = nowhere.take();
        QVERIFY(!reply.isSpooled() && reply.bytes() == counting(20));
    }

    // A server sending as fast as the connection takes it, from a thread
    // of its own, never lets the client idle: the deadline must end it.
    void steadyServerEndsAtDeadline()
    {
        std::atomic<bool> stop = false;
        std::promise<quint16> port;
        std::thread sender([&] {
            QTcpServer server;
            server.listen(QHostAddress::LocalHost, 0);
            port.set_value(server.serverPort());
            while (!stop && !server.waitForNewConnection(50)) {
            }
            QTcpSocket *s = server.nextPendingConnection();
            QByteArray block = "HTTP/1.0 200 OK\r\n\r\n";
            while (s && !stop && s->state() == QAbstractSocket::ConnectedState) {
                while (block.size() < (64 << 10))
                    block += kLine;
                if (s->bytesToWrite() < (256 << 10))
                    s->write(std::exchange(block, {}));
                s->waitForBytesWritten(50);
            }
        });
        QTimer time;
        connect(&time, &QTimer::timeout, this, [this] { m_clock.advanceSeconds(1); });
        time.start(20);
        const QByteArray bytes =
            m_http
                .NET_HTTPget(m_socket, u"http://127.0.0.1:%1/"_s.arg(port.get_future().get()), {},
                             {}, 1)
                .bytes();
        stop = true;
        sender.join();
        QVERIFY(bytes.startsWith("HTTP/1.0 200 OK\r\n\r\n") && bytes.size() > 19);
        const QByteArrayView body = QByteArrayView(bytes).sliced(19);
        // Whole lines up to the last one, which may be cut anywhere.
        const qsizetype whole = body.size() - body.size() % kLine.size();
        for (qsizetype at = 0; at < whole; at += kLine.size())
            QVERIFY(body.sliced(at, kLine.size()) == kLine);
        QVERIFY(kLine.startsWith(body.sliced(whole)));
    }
};

QTEST_GUILESS_MAIN(TestHttpLong)
#include "tst_httplong.moc"
