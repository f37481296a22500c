#include "centre/CentreServer.h"
#include "common/TestSupport.h"
#include "support/helpers/PeImageWriter.h"

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
    QSignalSpy closed(&s, &QTcpSocket::disconnected);
    s.connectToHost(QHostAddress::LocalHost, port);
    s.write(raw);
    closed.wait(20000);
    return s.readAll();
}

// As the agent asks: HTTP/1.0, no Host, and yet the centre closes.
QByteArray get(quint16 port, const QByteArray &target)
{
    return exchange(port, "GET " + target + " HTTP/1.0\r\nConnection: Keep-Alive\r\n\r\n");
}

QByteArray body(const QByteArray &reply)
{
    return reply.mid(reply.indexOf("\r\n\r\n") + 4);
}

} // namespace

class TestCentre : public QObject
{
    Q_OBJECT
private slots:
    // Each request fed in two pieces, as a socket may deliver it.
    void requests()
    {
        using K = ParsedRequest;
        const QByteArray post = "POST /ox/x.cgi HTTP/1.0\r\nContent-Length:7\r\n\r\n";
        for (const auto &[raw, kind, fields] :
             {std::tuple{
                  "GET /DynIP?CMD=KEEPALIVE&&DOMAINNAME=prov1 HTTP/1.0\r\nAccept: x\r\n\r\n"_ba,
                  K::Complete, "CMD=KEEPALIVE&&DOMAINNAME=prov1"_ba},
              {post + "a=1&b=2", K::Complete, "a=1&b=2"_ba},
              {post + "a=1", K::NeedMore, {}},
              {"POST / HTTP/1.0\r\n\r\na=1"_ba, K::Malformed, {}}, // no length
              {"POST / HTTP/1.0\r\nContent-Length: 1000\r\n\r\n"_ba, K::TooLarge, {}},
              {"GET /" + QByteArray(995, 'a'), K::NeedMore, {}}, // a line at the limit
              {"GET /" + QByteArray(1100, 'a'), K::TooLarge, {}},
              {"HELO centro\r\n\r\n"_ba, K::Malformed, {}},
              {"GET / HTTP/1.0\r\nbroken\r\n\r\n"_ba, K::Malformed, {}}, // no colon
              {"GET / HTTP/1.0\r\n" + QByteArray(70000, 'h'), K::TooLarge, {}}}) {
            qsizetype scanned = 0;
            ParsedRequest p = parseRequest(raw.first(raw.size() / 2), scanned, 1000);
            if (p.kind == K::NeedMore)
                p = parseRequest(raw, scanned, 1000);
            QCOMPARE(p.kind, kind);
            QVERIFY(kind != K::Complete ||
                    (p.request.fields() == fields && p.consumed == raw.size()));
        }
    }

    // Names from the wire become folder names that cannot climb out of the
    // data folder; only domains name providers. In escapes "+" is a blank,
    // hex digits are in either case, and one bad escape spoils the value.
    void namesAndEscapes()
    {
        QCOMPARE(unescape("%3a%3A+%f1"), std::optional(":: \xF1"_ba));
        QVERIFY(!unescape("%4") && !unescape("%g0"));
        for (const auto &[name, folder, domain] :
             {std::tuple{"Prov-09_z.ar"_ba, u"Prov-09_z.ar"_s, true},
              {"Prov\xF1"_ba, u"Prov%F1"_s, true}, // a code page letter
              {"../../x"_ba, u"%2E.%2F..%2Fx"_s, false},
              {"a b\\\0"_ba, u"a%20b%5C%00"_s, false},
              {"a\xD7"_ba, u"a%D7"_s, false}, // a sign, not a letter
              {QByteArray(), u"%"_s, false},
              {QByteArray(65, 'a'), QString(65, u'a'), false}}) {
            QCOMPARE(CentreStore::folderName(name), folder);
            QCOMPARE(CentreStore::isDomain(name), domain);
        }
    }

    // Keep-alives are kept, and can be made to fail. The centre started
    // again serves what the first one took, and the update files: a program
    // only to an older one, only the listed names.
    void keepAlivesDelaysConfigurationsAndUpdates()
    {
        QTemporaryDir data;
        const QByteArray archive = "PK\x03\x04" + QByteArray(3 << 20, '\xF1');
        const QByteArray fields =
            "empresa=Gr%FAa+Sur&pcname=PC%2D1&filename=Configuracion.zip&content=" +
            archive.toPercentEncoding();
        {
            CentreServer c(options(data.path()));
            QVERIFY(c.start());
            const auto p = c.ports();
            const QByteArray target =
                "/DynIP?CMD=KEEPALIVE&&DOMAINNAME=Prov\xF1&&REMOTEIP=192.168.0.1";
            QCOMPARE(body(get(p.keepAlive, target)), "R:OK Lumaris\r\n.END.\r\n"_ba);
            // What is not a keep-alive leaves no provider behind.
            QVERIFY(get(p.keepAlive, "/DynIP?CMD=KEEPALIVE&&DOMAINNAME=..%2Fx")
                        .startsWith("HTTP/1.0 400"));
            QUdpSocket udp;
            udp.writeDatagram("\x16\x03\x01 hello", QHostAddress::LocalHost, p.datagram);
            udp.writeDatagram("Prov\xF1", QHostAddress::LocalHost, p.datagram);
            // The TLS greeting is no provider; the request as it came is the end-to-end run's.
            // The providers as /status.json lists them.
            const auto providers = [&] {
                return QJsonDocument::fromJson(body(get(p.home, "/status.json")))[u"providers"_s];
            };
            QTRY_COMPARE(providers()[u"Provñ"_s][u"keepalive"_s].toObject().keys(),
                         (QStringList{u"http"_s, u"udp"_s}));
            QCOMPARE(providers().toObject().keys(), QStringList{u"Provñ"_s});

            QVERIFY(get(p.home, "/").contains("<p>Keep-alives: se responden</p>"));
            QCOMPARE(get(p.home, "/control?fail=1"),
                     "HTTP/1.0 200 OK\r\nContent-Type: text/plain; charset=windows-1252\r\n"
                     "Content-length: 13\r\nConnection: close\r\n\r\nR:OK\r\n.END.\r\n"_ba);
            QVERIFY(get(p.keepAlive, target).contains("R:ERROR servicio detenido"));
            QVERIFY(get(p.home, "/").contains("<p>Keep-alives: fallan a propósito</p>"));
            QVERIFY(get(p.delays, "/control?fail=maybe").startsWith("HTTP/1.0 400")); // any port

            QVERIFY(body(get(p.delays, "/ox//demoras.cgi?Prestador=prov1&Content=Gr%FAa+Norte"
                                       "%0901%3A30%09%0D%0A"))
                        .startsWith("R:OK"));
            // A request line of more than 9 MB: the archive inside the query;
            // and the same fields as a form.
            QVERIFY(body(get(p.home, "/ox/uploadconfiguration.cgi?" + fields)).startsWith("R:OK"));
            const QByteArray form = QByteArray(fields).replace("PC%2D1", "PC2");
            QVERIFY(
                body(exchange(p.home, "POST /ox/uploadconfiguration.cgi HTTP/1.0\r\nContent-Type: "
                                      "application/x-www-form-urlencoded\r\nContent-Length: " +
                                          QByteArray::number(form.size()) + "\r\n\r\n" + form))
                    .startsWith("R:OK"));
            QCOMPARE(body(get(p.home, "/ox/uploadconfiguration.cgi?empresa=A&pcname=B&content=")),
                     "R:ERROR sin archivo\r\n.END.\r\n"_ba);
        }
        const QString module = data.filePath(u"updates/Ox/"_s);
        const QByteArray v2 = test::pe::buildImage({.version = {2, 0, 0, 0}});
        QVERIFY(QDir().mkpath(module + u"bin"_s) &&
                test::writeBytes(module + u"bin/Tool.exe"_s, v2) &&
                test::writeBytes(module + u"Ayuda.hlp"_s, "ayuda sin version") &&
                test::writeBytes(module + u"Grande.dat"_s, QByteArray(1000, 'g')));
        CentreOptions o = options(data.path());
        o.truncate = {u"Grande.dat"_s};
        CentreServer again(o);
        QVERIFY(again.start());
        const auto p = again.ports();
        QCOMPARE(test::readBytes(data.filePath(u"providers/prov1/delays.txt"_s)),
                 u"Grúa Norte\t01:30\t\r\n"_s.toLatin1());
        for (const QByteArray pc : {"PC%2D1", "PC2"}) {
            const QByteArray back =
                get(p.home, "/ox/downloadconfiguration.cgi?empresa=Gr%FAa+Sur&pcname=" + pc);
            QVERIFY(back.startsWith("HTTP/1.0 200 OK\r\n"));
            QCOMPARE(body(back), archive);
        }
        QVERIFY(get(p.home, "/ox/downloadconfiguration.cgi?empresa=X&pcname=Y")
                    .startsWith("HTTP/1.0 404"));
        // The page for people lists the provider too.
        const QString page = QString::fromUtf8(body(get(p.home, "/")));
        QVERIFY(page.contains(u"Grúa Norte"_s) && page.endsWith(u"</table></body></html>"_s));

        QCOMPARE(body(get(p.home, "/ox/updatelistfiles.cgi?empresa=A&pcname=B&group=Ox")),
                 "Ayuda.hlp\r\nGrande.dat\r\nbin\\Tool.exe\r\n\r\n.END.\r\n"_ba);
        const auto file = [&](const QByteArray &name, const QByteArray &version) {
            return get(p.home, "/ox/updategetfile.cgi?empresa=A&group=Ox&pcname=B&filename=" +
                                   name + "&version=" + version);
        };
        QCOMPARE(body(file("bin%5CTool%2Eexe", "1%2E9%2E0%2E0")), v2);
        QCOMPARE(body(file("bin%5CTool%2Eexe", "2%2E0%2E0%2E0")), "OK"_ba);
        QCOMPARE(body(file("Ayuda%2Ehlp", "0%2E0%2E0%2E0")), "ayuda sin version"_ba);
        const QByteArray cut = file("Grande%2Edat", "0%2E0%2E0%2E0");
        QVERIFY(cut.startsWith("HTTP/1.0 200 OK\r\n") && cut.contains("Content-length: 1000\r\n"));
        QCOMPARE(body(cut).size(), 500);
        QCOMPARE(body(file("..%2FOrvex%2Eini", "0")), "NO"_ba);          // only listed names
        QVERIFY(get(p.home, "/pkzip25.exe").startsWith("HTTP/1.0 404")); // none configured
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

    // The program's limits may be as low as 1; a lower one stops it before
    // it listens, naming the option.
    void commandLineLimits()
    {
        QProcess centre;
        centre.start(qEnvironmentVariable("ORVEX_BINARY_DIR") + u"/src/app/orvex-centre"_s,
                     {u"--max-connections=1"_s, u"--memory-budget=1"_s, u"--max-request=1"_s,
                      u"--idle-seconds=1"_s, u"--request-seconds=0"_s});
        QVERIFY(centre.waitForFinished(20000));
        QCOMPARE(centre.exitCode(), 2);
        QCOMPARE(centre.readAllStandardError(),
                 "orvex-centre: --request-seconds takes a number from 1 to 86400\n"_ba);
    }
};

QTEST_GUILESS_MAIN(TestCentre)
#include "tst_centre.moc"
