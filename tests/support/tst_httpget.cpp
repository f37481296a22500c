// NET_HTTPget and SocketX_UDP against servers on 127.0.0.1 that the tests
// start themselves; URLs naming other hosts go to a socket that only records
// where it was sent.
#include "helpers/LoopbackHttpServer.h"
#include "platform/SocketX.h"
#include "support/AddsHttp.h"
#include "support/ProgressCaption.h"

#include <QElapsedTimer>
#include <QNetworkDatagram>
#include <QTcpServer>
#include <QUdpSocket>
#include <QtTest>

using namespace orvex;
using namespace orvex::test;
using namespace Qt::Literals::StringLiterals;
using platform::SocketState;
using platform::SocketX;

namespace {

const QByteArray kHeaders("Accept: text/plain\r\n"
                          "Accept-Language: en-us\r\n"
                          "Accept-Encoding: gzip, deflate\r\n"
                          "User-Agent: Mozilla/4.0 (compatible; MSIE 5.0; Windows 98; DigExt)\r\n");
const QByteArray kHead("HTTP/1.0 200 OK\r\n\r\n");
const QByteArray kOk("HTTP/1.0 200 OK\r\n\r\nR:OK\r\n.END.\r\n");

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

    AddsHttp m_http{AddsServices{}};
    SocketX m_socket; // one socket for all calls, as the main form has

    QString get(quint16 port, int timeOut, ProgressCaption *progress = nullptr)
    {
        qint16 seconds = static_cast<qint16>(timeOut);
        return m_http.NET_HTTPget(m_socket, u"http://127.0.0.1:%1/"_s.arg(port), {}, {}, seconds,
                                  {}, progress);
    }

private slots:
    void request_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("port");
        QTest::addColumn<QString>("extra");
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("address, port and query")
            << u"http://127.0.0.1:%1/DynIP?CMD=KEEPALIVE&&DOMAINNAME=a.b"_s << QString()
            << QString() << QString()
            << QByteArray("GET /DynIP?CMD=KEEPALIVE&&DOMAINNAME=a.b HTTP/1.0\r\n");
        QTest::newRow("path argument, ANSI bytes")
            << u"127.0.0.1:%1/not/this"_s << u"demoras.cgi?Prestador=Año"_s << QString()
            << QString() << QByteArray("GET /demoras.cgi?Prestador=A\xF1o HTTP/1.0\r\n");
        QTest::newRow("port argument") << u"http://127.0.0.1:1/p"_s << QString() << u"%1"_s
                                       << QString() << QByteArray("GET /p HTTP/1.0\r\n");
        QTest::newRow("port, no path: port text is the path")
            << u"http://127.0.0.1:%1"_s << QString() << QString() << QString()
            << QByteArray("GET /%1 HTTP/1.0\r\n");
        QTest::newRow("extra header") << u"http://127.0.0.1:%1/"_s << QString() << QString()
                                      << u"Cookie: id=5"_s << QByteArray("GET / HTTP/1.0\r\n");
    }

    void request()
    {
        QFETCH(QString, url);
        QFETCH(QString, path);
        QFETCH(QString, port);
        QFETCH(QString, extra);
        QFETCH(QByteArray, line);
        LoopbackHttpServer server({ServerStep::send(kOk)});
        const QString reply = m_http.NET_HTTPget(m_socket, withPort(url, server.port()), path,
                                                 withPort(port, server.port()), 30, extra);

        QCOMPARE(reply, QString::fromLatin1(kOk));
        QByteArray expected = line.replace("%1", QByteArray::number(server.port())) + kHeaders;
        if (!extra.isEmpty())
            expected += extra.toLatin1() + "\r\n";
        expected += "Connection: Keep-Alive\r\n\r\n";
        QCOMPARE(server.requests(), QList<QByteArray>{expected});
        QCOMPARE(m_socket.state(), SocketState::Closed);
    }

    void connectionTarget_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("port");
        QTest::addColumn<QString>("peer");
        QTest::newRow("address and port")
            << u"http://10.20.30.40:8080/x?y=1"_s << QString() << u"address 10.20.30.40:8080"_s;
        QTest::newRow("name, no scheme")
            << u"centre.invalid/cgi/x"_s << QString() << u"name centre.invalid:80"_s;
        QTest::newRow("ftp, any case")
            << u"FtP://10.0.0.1"_s << QString() << u"address 10.0.0.1:21"_s;
        QTest::newRow("port 0") << u"http://centre.invalid:0/x"_s << QString()
                                << u"name centre.invalid:80"_s;
        QTest::newRow("port argument")
            << u"ftp://centre.invalid:81/x"_s << u"8081"_s << u"name centre.invalid:8081"_s;
    }

    void connectionTarget()
    {
        QFETCH(QString, url);
        QFETCH(QString, port);
        QFETCH(QString, peer);
        RecordingSocket socket;
        QCOMPARE(m_http.NET_HTTPget(socket, url, QString(), port).toString(), QString());
        QCOMPARE(socket.peer, peer);
    }

    void replyEnd_data()
    {
        QTest::addColumn<ServerScript>("script");
        QTest::addColumn<int>("timeOut");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<bool>("byDeadline");
        const ServerStep close{ServerStep::Close, {}, 0}, reset{ServerStep::Reset, {}, 0};
        const auto text = [](const char *body) -> QString {
            return QString::fromLatin1(kHead) + QLatin1String(body);
        };
        QTest::newRow("end line, server stays")
            << ServerScript{ServerStep::send(kOk)} << 30 << QString::fromLatin1(kOk) << false;
        QTest::newRow("html page, ANSI byte")
            << ServerScript{ServerStep::send(kHead + "<html>A\xF1o</html>")} << 30
            << text("<html>") + u"Año</html>"_s << false;
        QTest::newRow("dripped, marker split")
            << dripped(kOk, 3, 5) << 30 << QString::fromLatin1(kOk) << false;
        QTest::newRow("no marker, server closes")
            << ServerScript{ServerStep::send(kHead + "R:OK"), ServerStep::pause(50), close} << 30
            << text("R:OK") << false;
        QTest::newRow("reset in the body")
            << ServerScript{ServerStep::send(kHead + "half"), ServerStep::pause(100), reset} << 30
            << text("half") << false;
        QTest::newRow("no marker, server silent")
            << ServerScript{ServerStep::send(kHead + "part")} << 1 << text("part") << true;
    }

    void replyEnd()
    {
        QFETCH(ServerScript, script);
        QFETCH(int, timeOut);
        QFETCH(QString, expected);
        QFETCH(bool, byDeadline);
        LoopbackHttpServer server(script);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(get(server.port(), timeOut), expected);
        if (byDeadline)
            QVERIFY(clock.elapsed() >= timeOut * 1000);
        else // ended by the reply itself, nowhere near the 30 s deadline
            QVERIFY(clock.elapsed() < 10000);
        QCOMPARE(m_socket.state(), SocketState::Closed);
    }

    void progress_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("last");
        const QByteArray body = "R:OK\r\n.END.\r\n";
        QTest::newRow("announced")
            << QByteArray("HTTP/1.0 200 OK\r\nContent-length: 13\r\n\r\n" + body) << u"52/13"_s;
        QTest::newRow("usual spelling is not read")
            << QByteArray("HTTP/1.0 200 OK\r\nContent-Length: 13\r\n\r\n" + body) << u"52/0"_s;
        QTest::newRow("long, never announced")
            << QByteArray(kHead + QByteArray(120000, 'x') + body) << u"120032/-1"_s;
    }

    void progress()
    {
        QFETCH(QByteArray, reply);
        QFETCH(QString, last);
        LoopbackHttpServer server(dripped(reply, 20000, 10));
        CaptionLog log;
        get(server.port(), 30, &log);
        QVERIFY(log.captions.size() >= 2);
        QCOMPARE(log.captions.constLast(), QString());
        QCOMPARE(log.captions.at(log.captions.size() - 2), last);
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
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(get(port, 30, &log), QString());
        QVERIFY(clock.elapsed() < 5000); // the refusal is seen, not waited out
        QCOMPARE(log.captions, QStringList{QString()});
        QCOMPARE(m_socket.state(), SocketState::Closed);
    }

    void callDuringCallReturnsEmpty()
    {
        LoopbackHttpServer server({ServerStep::pause(300), ServerStep::send(kOk)});
        QString inner = u"not called"_s;
        bool innerDatagram = true;
        QTimer::singleShot(100, [&] {
            inner = m_http.NET_HTTPget(m_socket, u"http://127.0.0.1:%1/"_s.arg(server.port()));
            innerDatagram = m_http.SocketX_UDP(m_socket, u"127.0.0.1"_s, u"9"_s, u"x"_s);
        });
        QCOMPARE(get(server.port(), 30), QString::fromLatin1(kOk));
        QCOMPARE(inner, QString());
        QVERIFY(!innerDatagram);
        QCOMPARE(server.requests().size(), 1);
        QVERIFY(!m_socket.Busy());
    }

    void runTimeErrorBecomesErrorText()
    {
        LoopbackHttpServer server({ServerStep::send(kHead + "R:")});
        FailingSocket socket;
        CaptionLog log;
        QCOMPARE(m_http
                     .NET_HTTPget(socket, u"127.0.0.1"_s, u"/x"_s, QString::number(server.port()),
                                  30, {}, &log)
                     .toString(),
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
        QTest::newRow("host:port") << u"127.0.0.1:%1"_s << QString() << u"centro.example"_s
                                   << QByteArray("centro.example");
        QTest::newRow("host and port, ANSI bytes")
            << u"127.0.0.1"_s << u"%1"_s << u"Año"_s << QByteArray("A\xF1o");
        QTest::newRow("name") << u"localhost:%1"_s << QString() << u"d"_s << QByteArray("d");
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
        QCOMPARE(m_http.SocketX_UDP(m_socket, withPort(destination, receiver.localPort()),
                                    withPort(port, receiver.localPort()), data),
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
