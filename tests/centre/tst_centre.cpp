#include "centre/CentreServer.h"
#include "common/TestSupport.h"
#include "support/helpers/PeImageWriter.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkDatagram>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QtTest>

using namespace orvex;
using namespace orvex::centre;
using namespace Qt::StringLiterals;

namespace {

CentreOptions options(const QString &folder)
{
    CentreOptions o;
    o.dataFolder = folder;
    o.keepAlivePort = o.datagramPort = o.delaysPort = o.homePort = 0;
    return o;
}

// Sends `raw` and reads the reply until the centre closes, the event loop
// running meanwhile (the centre is in this process).
QByteArray exchange(quint16 port, const QByteArray &raw)
{
    QTcpSocket s;
    QByteArray reply;
    QObject::connect(&s, &QTcpSocket::readyRead, [&] { reply += s.readAll(); });
    QSignalSpy closed(&s, &QTcpSocket::disconnected);
    s.connectToHost(QHostAddress::LocalHost, port);
    s.write(raw);
    closed.wait(20000);
    return reply + s.readAll();
}

// As the agent asks: HTTP/1.0, its headers, no Host.
QByteArray get(quint16 port, const QByteArray &target)
{
    return exchange(port, "GET " + target +
                              " HTTP/1.0\r\nAccept: text/plain\r\nAccept-Language: "
                              "en-us\r\nConnection: Keep-Alive\r\n\r\n");
}

QByteArray body(const QByteArray &reply)
{
    return reply.mid(reply.indexOf("\r\n\r\n") + 4);
}

QJsonObject providers(quint16 port)
{
    return QJsonDocument::fromJson(body(get(port, "/status.json")))
        .object()[u"providers"_s]
        .toObject();
}

} // namespace

class TestCentre : public QObject
{
    Q_OBJECT
private slots:
    void requests_data()
    {
        QTest::addColumn<QByteArray>("raw");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QByteArray>("target");
        QTest::newRow("the agent's keep-alive")
            << "GET /DynIP?CMD=KEEPALIVE&&DOMAINNAME=prov1&&REMOTEIP=192.168.0.1 HTTP/1.0\r\n"
               "Accept: text/plain\r\nConnection: Keep-Alive\r\n\r\n"_ba
            << int(ParsedRequest::Complete)
            << "/DynIP?CMD=KEEPALIVE&&DOMAINNAME=prov1&&REMOTEIP=192.168.0.1"_ba;
        QTest::newRow("no headers at all")
            << "GET / HTTP/1.1\r\n\r\n"_ba << int(ParsedRequest::Complete) << "/"_ba;
        QTest::newRow("half sent") << "GET /ox/uploadconfiguration.cgi?content=41"_ba
                                   << int(ParsedRequest::NeedMore) << QByteArray();
        QTest::newRow("headers half sent")
            << "GET / HTTP/1.0\r\nAccept: x\r\n"_ba << int(ParsedRequest::NeedMore) << QByteArray();
        QTest::newRow("not HTTP") << "HELO centro\r\n\r\n"_ba << int(ParsedRequest::Malformed)
                                  << QByteArray();
        QTest::newRow("blank in the target")
            << "GET /a b HTTP/1.0\r\n\r\n"_ba << int(ParsedRequest::Malformed) << QByteArray();
        QTest::newRow("header without a colon") << "GET / HTTP/1.0\r\nbroken\r\n\r\n"_ba
                                                << int(ParsedRequest::Malformed) << QByteArray();
        QTest::newRow("endless headers") << "GET / HTTP/1.0\r\n" + QByteArray(70000, 'h')
                                         << int(ParsedRequest::TooLarge) << QByteArray();
    }
    void requests()
    {
        QFETCH(QByteArray, raw);
        qsizetype scanned = 0;
        // Fed in two pieces, as a socket may deliver it.
        ParsedRequest p = parseRequest(QByteArrayView(raw).first(raw.size() / 2), scanned);
        if (p.kind == ParsedRequest::NeedMore)
            p = parseRequest(raw, scanned);
        QTEST(int(p.kind), "kind");
        if (p.kind == ParsedRequest::Complete) {
            QTEST(p.request.target, "target");
            QCOMPARE(p.consumed, raw.size());
        }
    }

    void queryValues()
    {
        HttpRequest r;
        r.target = "/x?Prestador=ab&Content=Gr%FAa+Norte%0901%3A30%09%0D%0A&&empty=&k";
        QCOMPARE(r.queryValue("Prestador"), std::optional("ab"_ba));
        QCOMPARE(unescape(*r.queryValue("Content")), std::optional("Gr\xFA"
                                                                   "a Norte\t01:30\t\r\n"_ba));
        QCOMPARE(r.queryValue("empty"), std::optional(QByteArray("")));
        QVERIFY(!r.queryValue("k"));
        QVERIFY(!unescape("%4"));
        QVERIFY(!unescape("%G0"));
    }

    void keepAlivesAreKeptAndCanBeFailed()
    {
        QTemporaryDir data;
        CentreServer c(options(data.path()));
        QVERIFY(c.start());
        const auto p = c.ports();
        const QByteArray line =
            "GET /DynIP?CMD=KEEPALIVE&&DOMAINNAME=Prov\xF1&&REMOTEIP=192.168.0.1";
        QByteArray reply = get(p.keepAlive, line.mid(4));
        QVERIFY(reply.startsWith("HTTP/1.0 200 OK\r\n"));
        QVERIFY(reply.contains("R:") && reply.contains("Lumaris") && reply.endsWith(".END.\r\n"));
        QUdpSocket udp;
        udp.writeDatagram("Prov\xF1", QHostAddress::LocalHost, p.datagram);
        QTRY_VERIFY(
            providers(p.home)[u"Provñ"_s].toObject()[u"keepalive"_s].toObject().contains(u"udp"_s));
        const QJsonObject seen =
            providers(p.home)[u"Provñ"_s].toObject()[u"keepalive"_s].toObject();
        // The whole request as it came, headers included.
        QCOMPARE(seen[u"http"_s].toObject()[u"request"_s].toString(),
                 u"GET /DynIP?CMD=KEEPALIVE&&DOMAINNAME=Provñ&&REMOTEIP=192.168.0.1 HTTP/1.0\r\n"
                 u"Accept: text/plain\r\nAccept-Language: en-us\r\nConnection: Keep-Alive"
                 u"\r\n\r\n"_s);
        QCOMPARE(seen[u"http"_s].toObject()[u"address"_s].toString(), u"127.0.0.1"_s);

        QVERIFY(body(get(p.home, "/control?fail=1")).startsWith("R:OK"));
        reply = get(p.keepAlive, line.mid(4));
        QVERIFY(reply.contains("R:") && !reply.contains("Lumaris"));
        get(p.delays, "/control?fail=0"); // any port takes it
        QVERIFY(get(p.keepAlive, line.mid(4)).contains("Lumaris"));
        QVERIFY(get(p.home, "/control?fail=maybe").startsWith("HTTP/1.0 400"));
    }

    void delaysAndConfigurationsSurviveARestart()
    {
        QTemporaryDir data;
        const QByteArray archive = QByteArray("PK\x03\x04") + QByteArray(3 << 20, '\xF1');
        QByteArray escaped;
        for (const char b : archive)
            escaped += '%' + QByteArray::number(uchar(b), 16).toUpper().rightJustified(2, '0');
        {
            CentreServer c(options(data.path()));
            QVERIFY(c.start());
            const auto p = c.ports();
            QVERIFY(body(get(p.delays, "/ox//demoras.cgi?Prestador=prov1&Content=Gr%FAa+Norte"
                                       "%0901%3A30%09%0D%0A"))
                        .startsWith("R:OK"));
            // A request line of more than 9 MB: the archive inside the query.
            QVERIFY(escaped.size() > 9'000'000);
            QVERIFY(body(get(p.home, "/ox/uploadconfiguration.cgi?empresa=Gr%FAa+Sur&pcname=PC"
                                     "%2D1&filename=Configuracion.zip&content=" +
                                         escaped))
                        .startsWith("R:OK"));
            QVERIFY(!get(p.home, "/ox/uploadconfiguration.cgi?empresa=A&pcname=B&content=")
                         .contains("R:OK"));
        }
        CentreServer again(options(data.path()));
        QVERIFY(again.start());
        const auto p = again.ports();
        QCOMPARE(test::readBytes(data.filePath(u"providers/prov1/delays.txt"_s)),
                 "Gr\xFA"
                 "a Norte\t01:30\t\r\n"_ba);
        QCOMPARE(providers(p.home)[u"prov1"_s].toObject()[u"delays"_s].toObject()[u"text"_s],
                 u"Grúa Norte\t01:30\t\r\n"_s);
        const QByteArray back =
            get(p.home, "/ox/downloadconfiguration.cgi?empresa=Gr%FAa+Sur&pcname=PC%2D1");
        const QByteArray length = "\r\nContent-length: " + QByteArray::number(archive.size());
        QVERIFY(back.contains(length));
        QCOMPARE(body(back), archive);
        QVERIFY(get(p.home, "/ox/downloadconfiguration.cgi?empresa=X&pcname=Y")
                    .startsWith("HTTP/1.0 404"));
        // The page for people lists the provider too.
        QVERIFY(QString::fromUtf8(body(get(p.home, "/"))).contains(u"Grúa Norte"_s));
    }

    void updateFilesGoOnlyWhenNewer()
    {
        QTemporaryDir data;
        const QString module = data.filePath(u"updates/Ox"_s);
        QDir().mkpath(module + u"/bin"_s);
        test::pe::ImageOptions v2;
        v2.version = {2, 0, 0, 0};
        QVERIFY(test::writeBytes(module + u"/bin/Tool.exe"_s, test::pe::buildImage(v2)));
        QVERIFY(test::writeBytes(module + u"/Ayuda.hlp"_s, "ayuda sin version"));
        QVERIFY(test::writeBytes(module + u"/Grande.dat"_s, QByteArray(1000, 'g')));
        CentreOptions o = options(data.path());
        o.truncate = {u"Grande.dat"_s};
        CentreServer c(o);
        QVERIFY(c.start());
        const auto p = c.ports();
        QCOMPARE(body(get(p.home, "/ox/updatelistfiles.cgi?empresa=A&pcname=B&group=Ox")),
                 "Ayuda.hlp\r\nGrande.dat\r\nbin\\Tool.exe\r\n\r\n.END.\r\n"_ba);
        const auto file = [&](const QByteArray &name, const QByteArray &version) {
            return get(p.home, "/ox/updategetfile.cgi?empresa=A&group=Ox&pcname=B&filename=" +
                                   name + "&version=" + version);
        };
        QCOMPARE(body(file("bin%5CTool%2Eexe", "1%2E9%2E0%2E0")), test::pe::buildImage(v2));
        QCOMPARE(body(file("bin%5CTool%2Eexe", "2%2E0%2E0%2E0")), "OK"_ba);
        QCOMPARE(body(file("Ayuda%2Ehlp", "0%2E0%2E0%2E0")), "ayuda sin version"_ba);
        const QByteArray cut = file("Grande%2Edat", "0%2E0%2E0%2E0");
        QVERIFY(cut.contains("Content-length: 1000\r\n"));
        QCOMPARE(body(cut).size(), 500);
        QCOMPARE(body(file("..%2FOrvex%2Eini", "0")), "NO"_ba); // only listed names
    }

    void brokenAndIdleClientsDoNotStopIt()
    {
        QTemporaryDir data;
        CentreOptions o = options(data.path());
        o.idleMs = 200;
        CentreServer c(o);
        QVERIFY(c.start());
        const auto p = c.ports();
        QVERIFY(exchange(p.home, "HELO\r\n\r\n").startsWith("HTTP/1.0 400"));
        QVERIFY(exchange(p.home, "POST / HTTP/1.0\r\n\r\n").startsWith("HTTP/1.0 405"));
        // Half a request, then silence: the centre closes it.
        QTcpSocket half;
        half.connectToHost(QHostAddress::LocalHost, p.home);
        QVERIFY(half.waitForConnected(5000));
        half.write("GET /ox/uploadconfiguration.cgi?content=41");
        QTRY_COMPARE(half.state(), QAbstractSocket::UnconnectedState);
        QVERIFY(get(p.home, "/status.json").startsWith("HTTP/1.0 200"));
        QVERIFY(get(p.home, "/pkzip25.exe").startsWith("HTTP/1.0 404")); // none configured
    }
};

QTEST_GUILESS_MAIN(TestCentre)
#include "tst_centre.moc"
