// NET_HTTPget, NET_HTTPform and SocketX_UDP against servers on 127.0.0.1
// that the tests start themselves; URLs naming other hosts go to a socket
// that only records where it was sent. The clock is the test's: deadlines
// pass when the test moves it. Long replies are also tested on the room they
// are read into, which keeps every byte through its growth and its move to a
// spool file, and keeps a spool as long as its reply.
#include "common/CaptionLog.h"
#include "common/FakeClock.h"
#include "common/LoopbackHttpServer.h"
#include "common/MessageLog.h"
#include "platform/SocketX.h"
#include "support/AddsHttp.h"
#include "support/ReplyRoom.h"
#include "support/ReplyScanner.h"

#include <QtTest>

#include <numeric>

using namespace orvex;
using namespace orvex::test;
using namespace Qt::Literals::StringLiterals;
using platform::SocketState;
using platform::SocketX;

namespace {

// Feeds `bytes` in pieces of `piece` bytes.
ReplyScanner scanInPieces(QByteArrayView bytes, qsizetype piece)
{
    ReplyScanner scanner;
    for (qsizetype at = 0; at < bytes.size(); at += piece)
        scanner.feed(bytes.sliced(at, std::min(piece, bytes.size() - at)));
    return scanner;
}

const QByteArray kHead("HTTP/1.0 200 OK\r\n\r\n");
const QByteArray kOk = kHead + "R:OK\r\n.END.\r\n";
// The headers every request carries, in their order.
const QByteArray kHeaders =
    "Accept: text/plain\r\nAccept-Language: en-us\r\n"
    "Accept-Encoding: gzip, deflate\r\n"
    "User-Agent: Mozilla/4.0 (compatible; MSIE 5.0; Windows 98; DigExt)\r\n";

struct RecordingSocket final : SocketX
{
    QString peer;
    bool Connect() override
    {
        peer =
            (RemoteNameAddrXlate ? RemoteName : RemoteAddress) + u':' + QString::number(RemotePort);
        return true;
    }
};

// Fails the way a system call would, on the first receive.
struct FailingSocket final : SocketX
{
    qint64 ReceiveAppend(QByteArray &to) override
    {
        raiseError(10054, u"Connection reset by peer"_s);
        return SocketX::ReceiveAppend(to);
    }
};

// Byte i is char(i): a lost or repeated piece shows.
QByteArray counting(qsizetype n)
{
    QByteArray out(n, Qt::Uninitialized);
    std::iota(out.begin(), out.end(), char(0));
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

} // namespace

class TestHttpGet : public QObject
{
    Q_OBJECT

    FakeClock m_clock;
    AddsHttp m_http{&m_clock};
    SocketX m_socket; // one socket for all calls, as the main form has

    AnsiText get(const LoopbackHttpServer &server)
    {
        return m_http.NET_HTTPget(m_socket, u"http://"_s + server.host() + u'/');
    }

private slots:
    // The scanner on its own, fed in pieces of every size.
    void scanner_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<bool>("ends");
        QTest::addColumn<int>("length");
        const QByteArray status("HTTP/1.0 200 OK\r\n");
        QTest::newRow("end line") << kOk << true << 0;
        QTest::newRow("end line, lower case") << "R:OK\r\n.end.\r\n"_ba << true << 0;
        QTest::newRow("html close, any case") << "A\xF1o</p></HtMl>"_ba << true << 0;
        QTest::newRow("end without CR") << "R:OK\r\n.END.\n"_ba << false << 0;
        QTest::newRow("end without LF") << "R:OK\r\n.END.\r"_ba << false << 0;
        QTest::newRow("blanks, then text") << status + "Content-length:  42 B\r\n" << false << 42;
        QTest::newRow("twice") << "Content-length: 5\r\nContent-length: 9\r\n"_ba << false << 5;
        QTest::newRow("zero") << status + "Content-length: 0\r\n\r\n" << false << -1;
        QTest::newRow("one") << status + "Content-length: 1\r\n\r\nbody" << false << 1;
        QTest::newRow("beyond 32 bits") << status + "Content-length: 4294967296\r\n" << false << -1;
        QTest::newRow("Content-Length") << status + "Content-Length: 20\r\n\r\n" << false << 0;
        QTest::newRow("line not finished") << status + "Content-length: 20" << false << 0;
    }
    void scanner()
    {
        QFETCH(QByteArray, reply);
        for (const qsizetype piece : {1, 2, 3, 5, 7, 16, 17, 1 << 20}) {
            const ReplyScanner scanner = scanInPieces(reply, piece);
            QTEST(scanner.endMarkerSeen(), "ends");
            QTEST(scanner.contentLength(), "length");
            QCOMPARE(scanner.received(), reply.size());
            // Every marker stands at the end of its row: one byte short is none.
            QVERIFY(!scanInPieces(QByteArrayView(reply).chopped(1), piece).endMarkerSeen());
        }
    }

    // A status is read only from a whole status line.
    void statusLine()
    {
        QCOMPARE(httpStatus("HTTP/1.1 431\r\n"), 431);
        QCOMPARE(httpStatus("R:OK 200\r\n"), 0);
        QCOMPARE(httpStatus("HTTP/1.0 41"), 0);
        QCOMPARE(httpStatus("HTTP/1.0 OK!\r\n"), 0);
    }

    // Reads of these sizes, kept in memory or spooled past 1 MB; sizes cross
    // the points where the room grows or moves.
    void keepsEveryByte()
    {
        // The reads, whether the reply is spooled.
        for (const auto &[reads, spooled] :
             {std::pair{QList<qsizetype>(300, 1), false}, // one byte at a time
              {QList<qsizetype>{1000, (1 << 20) - 1000, 1, 70001, 3 << 20}, true},
              {QList<qsizetype>{0, 0}, false}}) { // nothing at all
            QTemporaryDir folder;
            ReplyRoom room(1 << 20, folder.path());
            qsizetype total = 0;
            for (const qsizetype n : reads)
                land(room, n, total);
            QCOMPARE(room.size(), total);
            // A short reply takes short room, not a long one's block up front.
            if (total < 1000)
                QVERIFY(room.prepare(0).capacity() < (1 << 20));
            {
                const AnsiText reply = room.take();
                QCOMPARE(reply.isSpooled(), spooled);
                QCOMPARE(reply.size(), total);
                QVERIFY(reply.bytes() == counting(total));
                QVERIFY(reply.mid(total / 2, 70000) == counting(total).mid(total / 2, 70000));
                QBuffer full; // a write that fails is told, in memory and spooled alike
                QVERIFY(full.open(QIODevice::ReadOnly));
                QVERIFY(total == 0 || !reply.writeTo(full, 0));
            }
            QVERIFY(QDir(folder.path())
                        .isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
        }
    }

    // Every request as the server gets it, byte for byte, after the settle
    // pause alone.
    void request()
    {
        // The URL, the path and port arguments ("%1": the port), the request line's start.
        for (auto [url, path, port, expected] :
             {std::tuple{u"http://127.0.0.1:%1/DynIP?CMD=KEEPALIVE&&REMOTEIP=192.168.0.1"_s,
                         QString(), QString(), "GET /DynIP?CMD=KEEPALIVE&&REMOTEIP=192.168.0.1"_ba},
              {u"127.0.0.1:1/not/this"_s, u"demoras.cgi?Prestador=Año"_s, u"%1"_s,
               "GET /demoras.cgi?Prestador=A\xF1o"_ba},                          // ANSI bytes
              {u"http://127.0.0.1:%1"_s, QString(), QString(), "GET /%1"_ba}}) { // port, no path
            LoopbackHttpServer server;
            server.otherwise = Answer().send(kOk);
            const QString p = QString::number(server.port());
            const QDateTime start = m_clock.now();
            QCOMPARE(m_http.NET_HTTPget(m_socket, url.replace(u"%1"_s, p), path,
                                        port.replace(u"%1"_s, p), 30, u"Cookie: id=5"_s),
                     QString::fromLatin1(kOk));
            QCOMPARE(start.msecsTo(m_clock.now()), 500);
            QCOMPARE(server.requests,
                     QByteArrayList{expected.replace("%1", p.toLatin1()) + " HTTP/1.0\r\n" +
                                    kHeaders + "Cookie: id=5\r\nConnection: Keep-Alive\r\n\r\n"});
        }
    }

    // Names are looked up, addresses not; the scheme gives the default port.
    void connectionTarget()
    {
        // The URL, the peer connected to, whether by name.
        for (const auto &[url, peer, byName] :
             {std::tuple{u"http://10.20.30.40:8080/x?y=1"_s, u"10.20.30.40:8080"_s, false},
              {u"centre.invalid/cgi/x"_s, u"centre.invalid:80"_s, true}, // no scheme
              {u"FtP://10.0.0.1"_s, u"10.0.0.1:21"_s, false},            // any case
              {u"http://centre.invalid:0/x"_s, u"centre.invalid:80"_s, true}}) {
            RecordingSocket socket;
            QCOMPARE(m_http.NET_HTTPget(socket, url).toString(), QString());
            QCOMPARE(std::pair(socket.peer, socket.RemoteNameAddrXlate), std::pair(peer, byName));
        }
    }

    // Each reply is all the server sends, one past 100000 bytes spooled; the
    // progress caption counts it against the announced length (0: none seen,
    // -1: no header in time), then is cleared.
    void replyEnd_data()
    {
        QTest::addColumn<Answer>("answer");
        QTest::addColumn<int>("length");
        QTest::addColumn<bool>("deadline"); // the one row that must wait for it
        const QByteArray end = "R:OK\r\n.END.\r\n";
        QTest::newRow("announced length")
            << Answer().send("HTTP/1.0 200 OK\r\nContent-length: 13\r\n\r\n" + end) << 13 << false;
        QTest::newRow("long, never announced, spooled")
            << Answer().trickle(kHead + QByteArray(120000, 'x') + end, 20000, 10) << -1 << false;
        QTest::newRow("no marker, server closes")
            << Answer().send(kHead + "R:OK").pause(50).close() << 0 << false;
        QTest::newRow("no marker, server silent") << Answer().send(kHead + "part") << 0 << true;
    }
    void replyEnd()
    {
        QFETCH(Answer, answer);
        QFETCH(int, length);
        QFETCH(bool, deadline);
        QByteArray sent;
        for (const Answer::Step &step : answer.steps)
            sent += step.bytes;
        LoopbackHttpServer server;
        server.otherwise = answer;
        QTemporaryDir spool;
        m_http.setReplySpool(spool.path(), 100000);
        QTimer time;
        connect(&time, &QTimer::timeout, this, [this] { m_clock.advanceSeconds(5); });
        if (deadline)
            time.start(20);
        CaptionLog log;
        MessageLog messages("orvex.http");
        const AnsiText got =
            m_http.NET_HTTPget(m_socket, u"http://"_s + server.host() + u'/', {}, {}, 30, {}, &log);
        QVERIFY(got.bytes() == sent);
        QCOMPARE(got.isSpooled(), sent.size() > 100000);
        // Only the deadline's end is logged: every other row was ended by
        // the reply itself.
        QCOMPARE(messages.contains(u"no end of reply in"_s), deadline);
        QCOMPARE(m_socket.state(), SocketState::Closed);
        QCOMPARE(log.captions.mid(log.captions.size() - 2),
                 QStringList({u"%1/%2"_s.arg(sent.size()).arg(length), QString()}));
    }

    // An error of the system while reading gives its number and text, a
    // refused connection an empty text; the caption is cleared.
    void failures()
    {
        LoopbackHttpServer server;
        server.otherwise = Answer().send(kHead + "R:");
        FailingSocket failing;
        CaptionLog log;
        QCOMPARE(m_http.NET_HTTPget(failing, server.host(), {}, {}, 30, {}, &log),
                 u"Error: (10054) Connection reset by peer"_s);
        QCOMPARE(failing.state(), SocketState::Closed);
        const QString refusing = [] { return LoopbackHttpServer().host(); }(); // closed again
        QCOMPARE(m_http.NET_HTTPget(m_socket, refusing, {}, {}, 30, {}, &log), QString());
        QCOMPARE(log.captions, QStringList(2, QString()));
    }

    // A local address that is taken fails the connect at once; a send
    // counts its bytes as they reach the system, not before.
    void socketOfItsOwn()
    {
        LoopbackHttpServer server;
        SocketX clash, plain;
        for (SocketX *s : {&clash, &plain}) {
            s->LocalAddress = s->RemoteAddress = u"127.0.0.1"_s;
            s->RemotePort = server.port();
            QVERIFY(s->Create());
        }
        clash.LocalPort = server.port();
        QVERIFY(!clash.Connect());
        QCOMPARE(clash.ErrorNumber(), 10048);
        QVERIFY(!plain.Send("GET") && plain.ErrorNumber() == 10057); // not connected yet
        plain.ClearError();
        QVERIFY(plain.ErrorDescription().isEmpty());
        QVERIFY(plain.Connect());
        QTRY_COMPARE(plain.state(), SocketState::Connected);
        QVERIFY(plain.Send("GET"));
        QCOMPARE(plain.BytesSent(), 0);
        QTRY_COMPARE(plain.BytesSent(), 3);
        SocketX datagram; // to a name: nothing counts while it is looked up
        datagram.SocketType = platform::SocketKind::Datagram;
        QVERIFY(datagram.Create() && datagram.SendTo("x", u"localhost"_s, server.port()));
        QCOMPARE(datagram.BytesSent(), 0);
        QTRY_COMPARE(datagram.BytesSent(), 1);
        QVERIFY(datagram.SendTo({}, u"127.0.0.1"_s, server.port()) && !datagram.ErrorPending());
    }

    // A call that arrives through events while one runs returns at once;
    // whoever waits for the socket is told when it is free again.
    void callDuringCallReturnsEmpty()
    {
        LoopbackHttpServer server;
        server.otherwise = Answer().pause(50).send(kOk);
        QString inner = u"not called"_s;
        bool innerDatagram = true, freeDuringCall = false, told = false;
        server.onRequest = [&](const QByteArray &) {
            inner = get(server);
            innerDatagram = m_http.SocketX_UDP(m_socket, u"127.0.0.1"_s, u"9"_s, u"x"_s);
            m_socket.WhenFree([&] {
                freeDuringCall = m_socket.Busy();
                told = true;
            });
        };
        QCOMPARE(get(server), QString::fromLatin1(kOk));
        QCOMPARE(inner, QString());
        QVERIFY(!innerDatagram);
        QCOMPARE(server.requests.size(), 1);
        QVERIFY(!told); // not while the call still held the socket
        QTRY_VERIFY(told && !freeDuringCall);

        // The same while a datagram's settle pause runs events; a socket
        // left open by someone is closed before the next use.
        QTimer::singleShot(0, [&] { inner = get(server); });
        QVERIFY(m_http.SocketX_UDP(m_socket, u"127.0.0.1"_s, u"9"_s, u"x"_s));
        QCOMPARE(inner, QString());
        QVERIFY(m_socket.Create());
        QCOMPARE(get(server), QString::fromLatin1(kOk));
    }

    // A server that answers before the request is whole has refused it:
    // the rest is not sent, and its answer is the reply.
    void anEarlyAnswerStopsTheSending()
    {
        LoopbackHttpServer server;
        const QByteArray refusal = "HTTP/1.0 414 Request-URI Too Long\r\n\r\n";
        server.otherwise = Answer::reply(refusal);
        server.otherwise.after = 8192;
        const QString url = u"http://"_s + server.host() + u"/x?c="_s + QString(4 << 20, u'a');
        QCOMPARE(m_http.NET_HTTPget(m_socket, url), QString::fromLatin1(refusal));
        QVERIFY2(server.bytesReceived < (2 << 20), QByteArray::number(server.bytesReceived));
    }
};

QTEST_GUILESS_MAIN(TestHttpGet)
#include "tst_httpget.moc"
