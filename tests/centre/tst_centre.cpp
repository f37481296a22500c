#include "centre/CentreServer.h"
#include "common/TestSupport.h"
#include "support/helpers/PeImageWriter.h"

#include <QJsonDocument>
#include <QJsonObject>
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
        QTest::addColumn<QByteArray>("fields"); // of a whole request
        const QByteArray post = "POST /ox/x.cgi HTTP/1.0\r\nContent-Length:7\r\n\r\n";
        QTest::newRow("the agent's keep-alive")
            << "GET /DynIP?CMD=KEEPALIVE&&DOMAINNAME=prov1 HTTP/1.0\r\nAccept: text/plain\r\n\r\n"_ba
            << int(ParsedRequest::Complete) << "CMD=KEEPALIVE&&DOMAINNAME=prov1"_ba;
        QTest::newRow("no headers")
            << "GET / HTTP/1.1\r\n\r\n"_ba << int(ParsedRequest::Complete) << QByteArray();
        QTest::newRow("form POST")
            << post + "a=1&b=2" << int(ParsedRequest::Complete) << "a=1&b=2"_ba;
        QTest::newRow("body half sent")
            << post + "a=1" << int(ParsedRequest::NeedMore) << QByteArray();
        QTest::newRow("POST without a length")
            << "POST / HTTP/1.0\r\n\r\na=1"_ba << int(ParsedRequest::Malformed) << QByteArray();
        QTest::newRow("bad length") << "POST / HTTP/1.0\r\nContent-Length: -1\r\n\r\n"_ba
                                    << int(ParsedRequest::Malformed) << QByteArray();
        QTest::newRow("body over the limit") << "POST / HTTP/1.0\r\nContent-Length: 1000\r\n\r\n"_ba
                                             << int(ParsedRequest::TooLarge) << QByteArray();
        QTest::newRow("line at the limit")
            << "GET /" + QByteArray(995, 'a') << int(ParsedRequest::NeedMore) << QByteArray();
        QTest::newRow("no request line")
            << "\r\n\r\n"_ba << int(ParsedRequest::Malformed) << QByteArray();
        QTest::newRow("line over the limit")
            << "GET /" + QByteArray(1100, 'a') << int(ParsedRequest::TooLarge) << QByteArray();
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
        ParsedRequest p = parseRequest(raw.first(raw.size() / 2), scanned, 1000);
        if (p.kind == ParsedRequest::NeedMore)
            p = parseRequest(raw, scanned, 1000);
        QTEST(int(p.kind), "kind");
        if (p.kind == ParsedRequest::Complete) {
            QTEST(p.request.fields().toByteArray(), "fields");
            QCOMPARE(p.consumed, raw.size());
        }
    }

    void fieldValues()
    {
        qsizetype scanned = 0;
        const HttpRequest r =
            parseRequest("GET /x?Prestador=ab&Content=Gr%FAa+Norte%0901%3A30%09%0D%0A&&empty=&k "
                         "HTTP/1.0\r\n\r\n",
                         scanned, 1000)
                .request;
        QCOMPARE(r.value("Prestador")->toByteArray(), "ab"_ba);
        QCOMPARE(unescape(*r.value("Content")), std::optional("Gr\xFA"
                                                              "a Norte\t01:30\t\r\n"_ba));
        QVERIFY(r.value("empty") && r.value("empty")->isEmpty());
        QVERIFY(!r.value("k"));
        QVERIFY(!unescape("%4"));
        QVERIFY(!unescape("%G0"));
    }

    // Names from the wire become folder names that cannot climb out of the
    // data folder; only domains name providers.
    void names_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QString>("folder");
        QTest::addColumn<bool>("domain");
        QTest::newRow("plain") << "prov-1.ar"_ba << u"prov-1.ar"_s << true;
        QTest::newRow("code page letter") << "Prov\xF1"_ba << u"Prov%F1"_s << true;
        QTest::newRow("climbing") << "../../x"_ba << u"%2E.%2F..%2Fx"_s << false;
        QTest::newRow("blank, backslash, NUL") << "a b\\\0"_ba << u"a%20b%5C%00"_s << false;
        QTest::newRow("sign") << "a\xD7"_ba << u"a%D7"_s << false;
        QTest::newRow("empty") << QByteArray() << u"%"_s << false;
        QTest::newRow("65 bytes") << QByteArray(65, 'a') << QString(65, u'a') << false;
    }
    void names()
    {
        QFETCH(QByteArray, name);
        QTEST(CentreStore::folderName(name), "folder");
        QTEST(CentreStore::isDomain(name), "domain");
    }

    void keepAlivesAreKeptAndCanBeFailed()
    {
        QTemporaryDir data;
        CentreServer c(options(data.path()));
        QVERIFY(c.start());
        const auto p = c.ports();
        const QByteArray target = "/DynIP?CMD=KEEPALIVE&&DOMAINNAME=Prov\xF1&&REMOTEIP=192.168.0.1";
        QByteArray reply = get(p.keepAlive, target);
        QVERIFY(reply.startsWith("HTTP/1.0 200 OK\r\n"));
        QVERIFY(reply.contains("R:") && reply.contains("Lumaris") && reply.endsWith(".END.\r\n"));
        // What is not a keep-alive leaves no provider behind.
        QVERIFY(
            get(p.keepAlive, "/DynIP?CMD=KEEPALIVE&&DOMAINNAME=..%2Fx").startsWith("HTTP/1.0 400"));
        QUdpSocket udp;
        udp.writeDatagram("\x16\x03\x01 hello", QHostAddress::LocalHost, p.datagram);
        udp.writeDatagram("Prov\xF1", QHostAddress::LocalHost, p.datagram);
        QTRY_VERIFY(
            providers(p.home)[u"Provñ"_s].toObject()[u"keepalive"_s].toObject().contains(u"udp"_s));
        QCOMPARE(providers(p.home).keys(), QStringList{u"Provñ"_s});
        const QJsonObject seen =
            providers(p.home)[u"Provñ"_s].toObject()[u"keepalive"_s].toObject();
        // The whole request as it came, headers included.
        QCOMPARE(seen[u"http"_s].toObject()[u"request"_s].toString(),
                 u"GET /DynIP?CMD=KEEPALIVE&&DOMAINNAME=Provñ&&REMOTEIP=192.168.0.1 HTTP/1.0\r\n"
                 u"Accept: text/plain\r\nAccept-Language: en-us\r\nConnection: Keep-Alive"
                 u"\r\n\r\n"_s);
        QCOMPARE(seen[u"http"_s].toObject()[u"address"_s].toString(), u"127.0.0.1"_s);

        QVERIFY(body(get(p.home, "/control?fail=1")).startsWith("R:OK"));
        reply = get(p.keepAlive, target);
        QVERIFY(reply.contains("R:") && !reply.contains("Lumaris"));
        get(p.delays, "/control?fail=0"); // any port takes it
        QVERIFY(get(p.keepAlive, target).contains("Lumaris"));
        QVERIFY(get(p.home, "/control?fail=maybe").startsWith("HTTP/1.0 400"));
    }

    void delaysAndConfigurationsSurviveARestart()
    {
        QTemporaryDir data;
        const QByteArray archive = QByteArray("PK\x03\x04") + QByteArray(3 << 20, '\xF1');
        QByteArray escaped;
        for (const char b : archive)
            escaped += '%' + QByteArray::number(uchar(b), 16).toUpper().rightJustified(2, '0');
        const QByteArray fields = "empresa=Gr%FAa+Sur&pcname=PC%2D1&filename=Configuracion.zip&"
                                  "content=" +
                                  escaped;
        {
            CentreServer c(options(data.path()));
            QVERIFY(c.start());
            const auto p = c.ports();
            QVERIFY(body(get(p.delays, "/ox//demoras.cgi?Prestador=prov1&Content=Gr%FAa+Norte"
                                       "%0901%3A30%09%0D%0A"))
                        .startsWith("R:OK"));
            // A request line of more than 9 MB: the archive inside the query;
            // and the same fields as a form.
            QVERIFY(body(get(p.home, "/ox/uploadconfiguration.cgi?" + fields)).startsWith("R:OK"));
            const QByteArray form = QByteArray(fields).replace("PC%2D1", "PC2");
            QVERIFY(body(exchange(p.home, "POST /ox/uploadconfiguration.cgi HTTP/1.0\r\nContent-"
                                          "Type: application/x-www-form-urlencoded\r\nContent-"
                                          "Length: " +
                                              QByteArray::number(form.size()) + "\r\n\r\n" + form))
                        .startsWith("R:OK"));
            QVERIFY(!get(p.home, "/ox/uploadconfiguration.cgi?empresa=A&pcname=B&content=")
                         .contains("R:OK"));
            QVERIFY(exchange(p.home, "POST / HTTP/1.0\r\nContent-Length: 0\r\n\r\n")
                        .startsWith("HTTP/1.0 415"));
        }
        CentreServer again(options(data.path()));
        QVERIFY(again.start());
        const auto p = again.ports();
        QCOMPARE(test::readBytes(data.filePath(u"providers/prov1/delays.txt"_s)),
                 "Gr\xFA"
                 "a Norte\t01:30\t\r\n"_ba);
        QCOMPARE(providers(p.home)[u"prov1"_s].toObject()[u"delays"_s].toObject()[u"text"_s],
                 u"Grúa Norte\t01:30\t\r\n"_s);
        const QByteArray length = "\r\nContent-length: " + QByteArray::number(archive.size());
        for (const QByteArray pc : {"PC%2D1", "PC2"}) {
            const QByteArray back =
                get(p.home, "/ox/downloadconfiguration.cgi?empresa=Gr%FAa+Sur&pcname=" + pc);
            QVERIFY(back.startsWith("HTTP/1.0 200 OK\r\n") && back.contains(length));
            QCOMPARE(body(back), archive);
        }
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
        QVERIFY(cut.startsWith("HTTP/1.0 200 OK\r\n") && cut.contains("Content-length: 1000\r\n"));
        QCOMPARE(body(cut).size(), 500);
        QCOMPARE(body(file("..%2FOrvex%2Eini", "0")), "NO"_ba);          // only listed names
        QVERIFY(get(p.home, "/pkzip25.exe").startsWith("HTTP/1.0 404")); // none configured
        // What was asked for, counted by path: the status pages and unknown paths are not.
        get(p.home, "/nada");
        const QJsonObject served = QJsonDocument::fromJson(body(get(p.home, "/status.json")))
                                       .object()[u"served"_s]
                                       .toObject();
        QCOMPARE(served.keys(), (QStringList{u"/ox/updategetfile.cgi"_s,
                                             u"/ox/updatelistfiles.cgi"_s, u"/pkzip25.exe"_s}));
    }

    void connectionsAndBufferedBytesAreCapped()
    {
        QTemporaryDir data;
        CentreOptions o = options(data.path());
        o.limits.maxConnections = 2;
        o.limits.memoryBudget = 1000;
        CentreServer c(o);
        QVERIFY(c.start());
        const quint16 port = c.ports().home;
        QTcpSocket a, b;
        for (QTcpSocket *s : {&a, &b}) {
            s->connectToHost(QHostAddress::LocalHost, port);
            QVERIFY(s->waitForConnected(5000));
        }
        QVERIFY(exchange(port, "GET / HTTP/1.0\r\n\r\n").startsWith("HTTP/1.0 503"));
        // Two halves of requests that do not fit in the budget together.
        a.write("GET /" + QByteArray(600, 'a'));
        b.write("GET /" + QByteArray(600, 'b'));
        QTRY_VERIFY(a.peek(12) == "HTTP/1.0 503" || b.peek(12) == "HTTP/1.0 503");
        a.abort();
        b.abort();
        // Both places and their bytes are free again.
        QTRY_VERIFY(get(port, "/?" + QByteArray(600, 'c')).startsWith("HTTP/1.0 200"));
    }

    void silentAndTricklingClientsAreClosed()
    {
        QTemporaryDir data;
        CentreOptions o = options(data.path());
        o.limits.idleMs = 200;
        o.limits.requestMs = 1000;
        CentreServer c(o);
        QVERIFY(c.start());
        QTcpSocket silent, trickling;
        for (QTcpSocket *s : {&silent, &trickling})
            s->connectToHost(QHostAddress::LocalHost, c.ports().home);
        silent.write("GET /ox/uploadconfiguration.cgi?content=41");
        // One byte well within the idle time, again and again.
        QTimer drip;
        QObject::connect(&drip, &QTimer::timeout, [&] { trickling.write("a"); });
        drip.start(50);
        QTRY_COMPARE(silent.state(), QAbstractSocket::UnconnectedState);
        QTRY_COMPARE(trickling.state(), QAbstractSocket::UnconnectedState);
        QVERIFY(get(c.ports().home, "/status.json").startsWith("HTTP/1.0 200"));
    }
};

QTEST_GUILESS_MAIN(TestCentre)
#include "tst_centre.moc"
