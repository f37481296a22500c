// SocketX reads a stream partly from Qt's buffer and partly straight from
// the system. Bytes must come out in the order they were sent wherever they
// waited, and the server's close must still be noticed when the direct reads
// took everything.
#include "platform/SocketX.h"

#include <QDeadlineTimer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

using namespace orvex::platform;
using namespace Qt::StringLiterals;

namespace {

QByteArray piece(char first, qsizetype size)
{
    QByteArray out(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i)
        out[i] = static_cast<char>(first + i % 23);
    return out;
}

// Loopback delivers a flushed write at once; no events run meanwhile, so
// the bytes wait in the system, not in Qt's buffer.
bool readyCountReaches(const SocketX &socket, qint64 count)
{
    const QDeadlineTimer limit(5000);
    while (socket.ReceiveReadyCount() < count && !limit.hasExpired()) {
    }
    return socket.ReceiveReadyCount() == count;
}

} // namespace

class TestSocketX : public QObject
{
    Q_OBJECT

private slots:
    void bytesKeepTheirOrder()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost, 0));
        SocketX socket;
        socket.RemoteAddress = u"127.0.0.1"_s;
        socket.RemotePort = server.serverPort();
        QVERIFY(socket.Create());
        QVERIFY(socket.Connect());
        QTRY_COMPARE(socket.state(), SocketState::Connected);
        QTRY_VERIFY(server.hasPendingConnections());
        QTcpSocket *peer = server.nextPendingConnection();

        // The first piece goes through Qt's buffer: events run while it comes.
        const QByteArray first = piece('a', 40000);
        peer->write(first);
        QTRY_COMPARE(socket.ReceiveReadyCount(), first.size());
        // The second waits in the system behind it.
        const QByteArray second = piece('A', 60000);
        peer->write(second);
        while (peer->bytesToWrite() > 0)
            QVERIFY(peer->waitForBytesWritten(5000));
        QVERIFY(readyCountReaches(socket, first.size() + second.size()));

        QByteArray got;
        while (got.size() < first.size() + second.size())
            QVERIFY(socket.ReceiveAppend(got) > 0);
        QVERIFY(got == first + second);
        QCOMPARE(socket.ReceiveReadyCount(), 0);

        // The last piece and the close: read straight away, then the close
        // is seen once events run.
        const QByteArray last = piece('0', 5000);
        peer->write(last);
        while (peer->bytesToWrite() > 0)
            QVERIFY(peer->waitForBytesWritten(5000));
        peer->disconnectFromHost();
        QVERIFY(readyCountReaches(socket, last.size()));
        QCOMPARE(socket.Receive(), last);
        QTRY_COMPARE(socket.state(), SocketState::Closed);
        QCOMPARE(socket.ReceiveReadyCount(), 0);
        socket.Close();
    }
};

QTEST_GUILESS_MAIN(TestSocketX)
#include "tst_socketx_linux.moc"
