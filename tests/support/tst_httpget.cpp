// NET_HTTPget and SocketX_UDP against servers on 127.0.0.1 that the tests
// start themselves; URLs naming other hosts go to a socket that only records
// where it was sent.
#include "common/MessageLog.h"
#include "helpers/LoopbackHttpServer.h"
#include "platform/SocketX.h"
#include "support/AddsHttp.h"
#include "support/ProgressCaption.h"
#include "support/ReplyScanner.h"

#include <QElapsedTimer>
#include <QNetworkDatagram>
#include <QUdpSocket>
#include <QtTest>

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

const qsizetype kPieces[] = {1, 2, 3, 5, 7, 16, 17, 1 << 20};

const QByteArray kHead("HTTP/1.0 200 OK\r\n\r\n");
const QByteArray kOk = kHead + "R:OK\r\n.END.\r\n";

struct CaptionLog final : ProgressCaption
{
    QStringList captions;
    void setCaption(const QString &caption) override { captions << caption; }
};

struct RecordingSocket final : SocketX
{
    QString peer;
    bool Connect() override
    {
        peer = (RemoteNameAddrXlate ? u"name "_s + RemoteName : u"address "_s + RemoteAddress) +
               u':' + QString::number(RemotePort);
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

QString withPort(QString text, quint16 port)
{
    return text.replace(u"%1"_s, QString::number(port));
}

} // namespace

class TestHttpGet : public QObject
{
    Q_OBJECT

    AddsHttp m_http;
    SocketX m_socket; // one socket for all calls, as the main form has

    QString get(quint16 port, int seconds, ProgressCaption *progress = nullptr)
    {
        return m_http.NET_HTTPget(m_socket, u"http://127.0.0.1:%1/"_s.arg(port), {}, {}, seconds,
                                  {}, progress);
    }

private slots:
    // The scanner on its own, fed in pieces of every size in kPieces.
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
        QTest::newRow("html close unfinished") << "<html></HTML"_ba << false << 0;
        QTest::newRow("announced")
            << status + "Content-length: 20480\r\n\r\nbody" << false << 20480;
        QTest::newRow("blanks, then text") << status + "Content-length:  42 B\r\n" << false << 42;
        QTest::newRow("first one counts")
            << "Content-length: 5\r\nContent-length: 9\r\n"_ba << false << 5;
        QTest::newRow("zero") << status + "Content-length: 0\r\n\r\n" << false << -1;
        QTest::newRow("beyond 32 bits") << status + "Content-length: 4294967296\r\n" << false << -1;
        QTest::newRow("usual spelling") << status + "Content-Length: 20\r\n\r\nbody" << false << 0;
        QTest::newRow("line not finished") << status + "Content-length: 20" << false << 0;
    }
    void scanner()
    {
        QFETCH(QByteArray, reply);
        QFETCH(bool, ends);
        QFETCH(int, length);
        for (const qsizetype piece : kPieces) {
            const ReplyScanner scanner = scanInPieces(reply, piece);
            QCOMPARE(scanner.endMarkerSeen(), ends);
            QCOMPARE(scanner.contentLength(), length);
            QCOMPARE(scanner.received(), reply.size());
            // Every marker stands at the end of its row: one byte short is none.
            QVERIFY(!scanInPieces(QByteArrayView(reply).chopped(1), piece).endMarkerSeen());
        }
    }

    void headerlessLimit()
    {
        const QByteArray filler(99999, 'x');
        ReplyScanner scanner;
        scanner.feed(filler);
        QCOMPARE(scanner.contentLength(), 0);
        scanner.feed("C");
        QCOMPARE(scanner.contentLength(), -1);
        scanner.feed("ontent-length: 7\r\n");
        QCOMPARE(scanner.contentLength(), -1);

        // All of what arrived is looked at before the size rule applies.
        ReplyScanner big;
        big.feed(QByteArray(filler + filler + "Content-length: 7\r\n"));
        QCOMPARE(big.contentLength(), 7);
    }

    void request_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("port");
        QTest::addColumn<QString>("extra");
        QTest::addColumn<QByteArray>("line");
        const auto row = [](const char *name, const QString &url, const QString &path,
                            const QString &port, const QString &extra, const char *line) {
            QTest::newRow(name) << url << path << port << extra << QByteArray(line);
        };
        row("address, port and query", u"http://127.0.0.1:%1/DynIP?CMD=KEEPALIVE&&DOMAINNAME=a.b"_s,
            {}, {}, {}, "GET /DynIP?CMD=KEEPALIVE&&DOMAINNAME=a.b");
        row("path argument, ANSI bytes", u"127.0.0.1:%1/not/this"_s, u"demoras.cgi?Prestador=Año"_s,
            {}, {}, "GET /demoras.cgi?Prestador=A\xF1o");
        row("port argument", u"http://127.0.0.1:1/p"_s, {}, u"%1"_s, {}, "GET /p");
        row("port, no path: port text is the path", u"http://127.0.0.1:%1"_s, {}, {}, {},
            "GET /%1");
        row("extra header", u"http://127.0.0.1:%1/"_s, {}, {}, u"Cookie: id=5"_s, "GET /");
    }
    void request()
    {
        QFETCH(QString, url);
        QFETCH(QString, path);
        QFETCH(QString, port);
        QFETCH(QString, extra);
        QFETCH(QByteArray, line);
        LoopbackHttpServer server({send(kOk)});
        QCOMPARE(m_http.NET_HTTPget(m_socket, withPort(url, server.port()), path,
                                    withPort(port, server.port()), 30, extra),
                 QString::fromLatin1(kOk));
        const QByteArray expected =
            line.replace("%1", QByteArray::number(server.port())) +
            " HTTP/1.0\r\nAccept: text/plain\r\nAccept-Language: en-us\r\n"
            "Accept-Encoding: gzip, deflate\r\n"
            "User-Agent: Mozilla/4.0 (compatible; MSIE 5.0; Windows 98; DigExt)\r\n" +
            (extra.isEmpty() ? QByteArray() : extra.toLatin1() + "\r\n") +
            "Connection: Keep-Alive\r\n\r\n";
        QCOMPARE(server.requests, QList<QByteArray>{expected});
        QCOMPARE(m_socket.state(), SocketState::Closed);
    }

    void connectionTarget_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("peer");
        QTest::newRow("address and port")
            << u"http://10.20.30.40:8080/x?y=1"_s << u"address 10.20.30.40:8080"_s;
        QTest::newRow("name, no scheme")
            << u"centre.invalid/cgi/x"_s << u"name centre.invalid:80"_s;
        QTest::newRow("ftp, any case") << u"FtP://10.0.0.1"_s << u"address 10.0.0.1:21"_s;
        QTest::newRow("port 0") << u"http://centre.invalid:0/x"_s << u"name centre.invalid:80"_s;
    }
    void connectionTarget()
    {
        QFETCH(QString, url);
        RecordingSocket socket;
        QCOMPARE(m_http.NET_HTTPget(socket, url).toString(), QString());
        QTEST(socket.peer, "peer");
    }

    // Each reply is all the script sends; the progress caption counts it
    // against the announced length (0: none seen, -1: no header in time).
    void replyEnd_data()
    {
        QTest::addColumn<ServerScript>("script");
        QTest::addColumn<int>("timeOut");
        QTest::addColumn<int>("length");
        const ServerStep close{ServerStep::Close, {}, 0}, reset{ServerStep::Reset, {}, 0};
        const QByteArray end = "R:OK\r\n.END.\r\n";
        QTest::newRow("end line, server stays") << ServerScript{send(kOk)} << 30 << 0;
        QTest::newRow("html page, ANSI byte")
            << ServerScript{send(kHead + "<html>A\xF1o</html>")} << 30 << 0;
        QTest::newRow("announced length")
            << ServerScript{send("HTTP/1.0 200 OK\r\nContent-length: 13\r\n\r\n" + end)} << 30
            << 13;
        QTest::newRow("long, never announced")
            << dripped(kHead + QByteArray(120000, 'x') + end, 20000, 10) << 30 << -1;
        QTest::newRow("no marker, server closes")
            << ServerScript{send(kHead + "R:OK"), pause(50), close} << 30 << 0;
        QTest::newRow("reset in the body")
            << ServerScript{send(kHead + "half"), pause(100), reset} << 30 << 0;
        // The only row that must wait for its deadline.
        QTest::newRow("no marker, server silent") << ServerScript{send(kHead + "part")} << 1 << 0;
    }
    void replyEnd()
    {
        QFETCH(ServerScript, script);
        QFETCH(int, timeOut);
        QFETCH(int, length);
        QByteArray sent;
        for (const ServerStep &step : script)
            sent += step.bytes;
        LoopbackHttpServer server(script);
        CaptionLog log;
        MessageLog messages("orvex.http");
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(get(server.port(), timeOut, &log), QString::fromLatin1(sent));
        // Only the deadline's end is logged: every other row was ended by
        // the reply itself.
        const bool deadline = timeOut < 30;
        QCOMPARE(messages.contains(u"no end of reply within"_s), deadline);
        if (deadline) // it did wait
            QVERIFY2(clock.elapsed() >= timeOut * 900, QByteArray::number(clock.elapsed()));
        QCOMPARE(m_socket.state(), SocketState::Closed);
        QVERIFY(log.captions.size() >= 2);
        QCOMPARE(log.captions.constLast(), QString());
        QCOMPARE(log.captions.at(log.captions.size() - 2), u"%1/%2"_s.arg(sent.size()).arg(length));
    }

    void refusedPortGivesEmptyResult()
    {
        quint16 port = 0;
        {
            QTcpServer probe;
            QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
            port = probe.serverPort();
        }
        CaptionLog log;
        QCOMPARE(get(port, 30, &log), QString());
        // The refusal itself was seen, not a connection attempt given up on.
        QVERIFY2(m_socket.LastSocketError().contains(u"refused"_s, Qt::CaseInsensitive),
                 qPrintable(m_socket.LastSocketError()));
        QCOMPARE(log.captions, QStringList{QString()});
        QCOMPARE(m_socket.state(), SocketState::Closed);
    }

    void callDuringCallReturnsEmpty()
    {
        LoopbackHttpServer server({pause(300), send(kOk)});
        QString inner = u"not called"_s;
        bool innerDatagram = true;
        QTimer::singleShot(100, [&] {
            inner = m_http.NET_HTTPget(m_socket, u"http://127.0.0.1:%1/"_s.arg(server.port()));
            innerDatagram = m_http.SocketX_UDP(m_socket, u"127.0.0.1"_s, u"9"_s, u"x"_s);
        });
        QCOMPARE(get(server.port(), 30), QString::fromLatin1(kOk));
        QCOMPARE(inner, QString());
        QVERIFY(!innerDatagram);
        QCOMPARE(server.requests.size(), 1);
        QVERIFY(!m_socket.Busy());
    }

    void runTimeErrorBecomesErrorText()
    {
        LoopbackHttpServer server({send(kHead + "R:")});
        FailingSocket socket;
        CaptionLog log;
        QCOMPARE(m_http.NET_HTTPget(socket, u"127.0.0.1"_s, u"/x"_s, QString::number(server.port()),
                                    30, {}, &log),
                 u"Error: (10054) Connection reset by peer"_s);
        QCOMPARE(log.captions, QStringList{QString()});
        QCOMPARE(socket.state(), SocketState::Closed);
    }

    void datagram_data()
    {
        QTest::addColumn<QString>("destination");
        QTest::addColumn<QString>("port");
        QTest::addColumn<QString>("data");
        QTest::addColumn<QByteArray>("received"); // empty: nothing may be sent
        QTest::newRow("host:port") << u"127.0.0.1:%1"_s << QString() << u"centro"_s << "centro"_ba;
        QTest::newRow("host and port, ANSI")
            << u"127.0.0.1"_s << u"%1"_s << u"Año"_s << "A\xF1o"_ba;
        QTest::newRow("name") << u"localhost:%1"_s << QString() << u"d"_s << "d"_ba;
        QTest::newRow("no port") << u"127.0.0.1"_s << QString() << u"x"_s << QByteArray();
    }
    void datagram()
    {
        QFETCH(QString, destination);
        QFETCH(QString, port);
        QFETCH(QString, data);
        QFETCH(QByteArray, received);
        QUdpSocket receiver;
        QVERIFY(receiver.bind(QHostAddress::LocalHost, 0));
        const quint16 to = receiver.localPort();
        QCOMPARE(m_http.SocketX_UDP(m_socket, withPort(destination, to), withPort(port, to), data),
                 !received.isEmpty());
        QCOMPARE(m_socket.state(), SocketState::Closed);
        if (received.isEmpty()) {
            QVERIFY(!receiver.hasPendingDatagrams());
        } else {
            QTRY_VERIFY(receiver.hasPendingDatagrams());
            QCOMPARE(receiver.receiveDatagram().data(), received);
        }
    }
};

QTEST_GUILESS_MAIN(TestHttpGet)
#include "tst_httpget.moc"
