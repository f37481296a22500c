#include "app/DelayUpload.h"
#include "app/ExchangeHelper.h"
#include "app/KeepAlive.h"
#include "app/ScanStatus.h"
#include "app/SiblingFolders.h"
#include "common/FakeClock.h"
#include "common/FakeProbes.h"
#include "common/FakeSystem.h"
#include "common/LoopbackHttpServer.h"
#include "common/TestSupport.h"
#include "platform/SocketX.h"
#include "support/Adds.h"
#include "support/helpers/PeImageWriter.h"

#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

DynIpServer server(const QString &name, qint32 state, qint32 prev = -1)
{
    DynIpServer s;
    s.Name = name;
    s.State = state;
    s.PrevState = prev < 0 ? state : prev;
    return s;
}

DynIpServer target(const QString &version, quint16 port, const QString &domain = u"prov1"_s)
{
    DynIpServer s;
    s.Name = u"Alpha"_s;
    s.Host = u"127.0.0.1"_s;
    s.Port = QString::number(port);
    s.Version = version;
    s.Domain = domain;
    return s;
}

const QByteArray kAccepted = "HTTP/1.0 200 OK\r\n\r\nR:OK Lumaris\r\n.END.\r\n";

} // namespace

class TestScanParts : public QObject
{
    Q_OBJECT
private slots:
    void statusOfTheTable_data()
    {
        QTest::addColumn<QList<int>>("states"); // element 0 first
        QTest::addColumn<int>("overall");
        QTest::addColumn<QString>("problems");
        QTest::addColumn<QString>("tip");
        QTest::addColumn<int>("picture");
        QTest::newRow("all on line")
            << QList<int>{3, 3, 3} << 3 << QString() << u"Orvex - Sistema en linea"_s << 4;
        // The separator goes before every server once a problem is listed.
        QTest::newRow("problem then healthy servers")
            << QList<int>{3, 2, 3, 3} << 2 << u"A1: Sin conexión /  / "_s
            << u"Orvex - Conectividad limitada"_s << 2;
        QTest::newRow("two problems")
            << QList<int>{1, 3, 2} << 1 << u"Sendaro: Sin internet /  / A2: Sin conexión"_s
            << u"Orvex - Sin conexión"_s << 0;
        // A server never tried: no row applies, the tip shows the problems.
        QTest::newRow("not tried with a problem") << QList<int>{0, 1} << 0 << u"A1: Sin internet"_s
                                                  << u"Orvex - A1: Sin internet"_s << -1;
        QTest::newRow("not tried, no problem")
            << QList<int>{0, 3} << 0 << QString() << u"Orvex - Sistema en linea"_s << -1;
    }
    void statusOfTheTable()
    {
        QFETCH(QList<int>, states);
        std::vector<DynIpServer> servers;
        for (int i = 0; i < states.size(); ++i)
            servers.push_back(server(i == 0 ? u"Sendaro"_s : u"A%1"_s.arg(i), states[i]));
        const ScanStatus s = judgeServers(servers);
        QTEST(int(s.overall), "overall");
        QTEST(s.problems, "problems");
        QTEST(s.trayTip(), "tip");
        QTEST(s.basePicture(), "picture");
        QCOMPARE(s.hasRow(), s.overall > 0);
    }

    void answerNeedsBothMarkers_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("both, anywhere") << QByteArray("xx Lumaris yy R:zz") << true;
        QTest::newRow("only R:") << QByteArray("HTTP/1.0 200 OK\r\n\r\nR:OK\r\n") << false;
        QTest::newRow("only the maker") << QByteArray("Lumaris\r\n") << false;
        QTest::newRow("maker in other case") << QByteArray("R:OK LUMARIS") << false;
    }
    void answerNeedsBothMarkers()
    {
        QFETCH(QByteArray, reply);
        QTEST(isKeepAliveAnswer(AnsiText(reply)), "accepted");
    }

    void keepAliveByVersion_data()
    {
        QTest::addColumn<QString>("version");
        QTest::addColumn<QByteArray>("reply"); // null: the port is closed
        QTest::addColumn<bool>("pingAnswers");
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("failure");
        QTest::newRow("v2 accepted") << u"V2"_s << kAccepted << false << 3 << QString();
        QTest::newRow("v2 refused, host answers")
            << u"V2"_s << QByteArray("HTTP/1.0 500 Mal\r\n\r\nR:ERR\r\n.END.\r\n") << true << 2
            << u"HTTP/1.0 500 Mal"_s;
        QTest::newRow("v2 closed port, host silent")
            << u"V2"_s << QByteArray() << false << 1 << u"Ping failed to complete, error = 11010"_s;
        QTest::newRow("v2 closed port, host answers")
            << u"V2"_s << QByteArray() << true << 2 << u"sin respuesta"_s;
        // Any other version is never sent: only the ping decides 1 or 2.
        QTest::newRow("v3 host answers")
            << u"V3"_s << kAccepted << true << 2 << u"versión desconocida: V3"_s;
        QTest::newRow("lower-case v2")
            << u"v2"_s << kAccepted << false << 1 << u"Ping failed to complete, error = 11010"_s;
    }
    void keepAliveByVersion()
    {
        QFETCH(QString, version);
        QFETCH(QByteArray, reply);
        QFETCH(bool, pingAnswers);
        test::FakeClock clock;
        Adds adds(AddsServices{.clock = &clock});
        platform::SocketX socket;
        test::FakeNet probes;
        if (pingAnswers)
            probes.pinger.answering[test::ipv4(127, 0, 0, 1)] = true;
        std::unique_ptr<test::LoopbackHttpServer> http;
        quint16 port = 0;
        if (!reply.isNull()) {
            http = std::make_unique<test::LoopbackHttpServer>(test::Answer::reply(reply).steps);
            port = http->port();
        } else {
            QTcpServer closed; // a port nobody listens on any more
            closed.listen(QHostAddress::LocalHost);
            port = closed.serverPort();
        }
        const DynIpServer s = target(version, port, u"Año 1"_s);
        KeepAliveSender sender(adds, socket, probes.net);
        const KeepAliveOutcome out = sender.send(s);
        QTEST(int(out.state), "state");
        QTEST(out.failure, "failure");
        // A ping follows a failure only.
        QCOMPARE(probes.pinger.sent.size(), size_t(out.state == 3 ? 0 : 1));
        if (http && version == u"V2"_s) {
            QCOMPARE(http->requests.size(), 1);
            // The domain travels as its ANSI bytes, not encoded.
            QVERIFY(http->requests[0].startsWith("GET /DynIP?CMD=KEEPALIVE&&DOMAINNAME=A\xF1o "
                                                 "1&&REMOTEIP=192.168.0.1 HTTP/1.0\r\n"));
        } else if (http) {
            QVERIFY(http->requests.isEmpty());
        }
    }

    void delayUploadGoesToEveryV2ServerOnce()
    {
        test::LoopbackHttpServer http(test::Answer::ok("R:OK\r\n.END.\r\n").steps);
        QTemporaryDir folder;
        const QString file = folder.filePath(u"OxDemoras.txt"_s);
        test::FakeClock clock;
        Adds adds(AddsServices{.clock = &clock});
        platform::SocketX socket;
        DelayUpload upload(adds, socket, file, http.port());
        // The entry's own port never counts; V1 servers get nothing.
        std::vector<DynIpServer> servers;
        servers.push_back(target(u"V2"_s, 1, u"ProvUno"_s));
        servers.push_back(target(u"V1"_s, http.port(), u"prov2"_s));
        servers.push_back(target(u"V2"_s, 2, u"Otro"_s));
        QVERIFY(!upload.tick(servers, nullptr)); // no file yet: nothing to say
        QVERIFY(test::writeBytes(file, "Gr\xFA"
                                       "a Norte\t01:30\t\r\n"));
        QVERIFY(upload.tick(servers, nullptr));
        QCOMPARE(http.requests.size(), 2);
        QVERIFY(http.requests[0].startsWith("GET /ox//demoras.cgi?Prestador=provuno&Content="
                                            "Gr%FAa+Norte%0901%3A30%09%0D%0A HTTP/1.0\r\n"));
        QVERIFY(http.requests[1].startsWith("GET /ox//demoras.cgi?Prestador=otro&Content="));
        QCOMPARE(upload.lastHandled(), u"Grúa Norte\t01:30\t\r\n"_s);
        QVERIFY(!upload.tick(servers, nullptr)); // unchanged: not sent again
        // Read again only when its size or time moved; a rewrite of the same
        // size a moment later still counts.
        clock.set(QDateTime::currentDateTime().addSecs(3600));
        QVERIFY(!upload.tick(servers, nullptr));
        QVERIFY(test::writeBytes(file, "Gr\xFA"
                                       "a Sur  \t01:30\t\r\n"));
        // Its time moves on, whatever the file system's resolution.
        QFile rewritten(file);
        QVERIFY(rewritten.open(QIODevice::ReadWrite));
        QVERIFY(rewritten.setFileTime(clock.now().addSecs(-60), QFileDevice::FileModificationTime));
        QVERIFY(upload.tick(servers, nullptr));
        QCOMPARE(http.requests.size(), 4);
        QCOMPARE(upload.lastHandled(), u"Grúa Sur  \t01:30\t\r\n"_s);
        QCOMPARE(delayUploadUrl(servers[0], u"a b"_s),
                 u"http://127.0.0.1:9750/ox//demoras.cgi?Prestador=provuno&Content=a+b"_s);
    }

    void siblingFoldersRepairedForMajorsOneAndTwo_data()
    {
        QTest::addColumn<int>("major"); // 0: no module beside the agent
        QTest::addColumn<int>("minor");
        QTest::addColumn<bool>("repaired");
        QTest::newRow("2.5") << 2 << 5 << true;
        QTest::newRow("1.0") << 1 << 0 << true;
        QTest::newRow("3.0") << 3 << 0 << false;
        QTest::newRow("no module") << 0 << 0 << false;
    }
    void siblingFoldersRepairedForMajorsOneAndTwo()
    {
        QFETCH(int, major);
        QFETCH(int, minor);
        QFETCH(bool, repaired);
        QTemporaryDir folder;
        const QString dir = folder.path();
        if (major > 0) {
            test::pe::ImageOptions o;
            o.version = {std::uint16_t(major), std::uint16_t(minor), 0, 7};
            QVERIFY(test::writeBytes(dir + u"/SendaroGestion.exe"_s, test::pe::buildImage(o)));
        }
        const QByteArray movilar = "; carpetas\r\n[Directorios]\r\nPendientes=C:\\Casos\r\n"
                                   "En Proceso=Casos\r\nOtra=x y\r\n\r\n[Red]\r\nPuerto=9\r\n";
        QVERIFY(test::writeBytes(dir + u"/Movilar.ini"_s, movilar));
        const QString own = dir + u"/Orvex.ini"_s;
        QVERIFY(test::writeBytes(own, "[A]\r\nk=v\r\n"));
        test::FakeClock clock;
        Adds adds(AddsServices{.clock = &clock});
        adds.INI_SetFileName(own);
        SiblingFolders repair(adds, clock, dir, own);
        QCOMPARE(repair.check(), repaired);
        const QString native = QDir::toNativeSeparators(dir + u"/Eventos/"_s);
        const QByteArray expected =
            "; carpetas\r\n[Directorios]\r\nPendientes=C:\\Casos\r\nEn Proceso=" +
            native.toLatin1() + "Proceso\r\nOtra=x y\r\nHistorico=" + native.toLatin1() +
            "Historico\r\n\r\n[Red]\r\nPuerto=9\r\n";
        QCOMPARE(test::readBytes(dir + u"/Movilar.ini"_s), repaired ? expected : movilar);
        // The agent's own settings are current again.
        QCOMPARE(adds.INI_GetString(u"A"_s, u"k"_s, u"-"_s), u"v"_s);
    }

    void siblingFoldersCheckedEveryFifteenMinutes()
    {
        QTemporaryDir folder;
        test::pe::ImageOptions o;
        o.version = {2, 0, 0, 0};
        QVERIFY(
            test::writeBytes(folder.filePath(u"SendaroGestion.exe"_s), test::pe::buildImage(o)));
        const QString movilar = folder.filePath(u"Movilar.ini"_s);
        test::FakeClock clock;
        clock.set(QDateTime(QDate(2026, 3, 2), QTime(9, 0, 40)));
        Adds adds(AddsServices{.clock = &clock});
        SiblingFolders repair(adds, clock, folder.path(), folder.filePath(u"Orvex.ini"_s));
        const auto checks = [&] {
            QFile::remove(movilar);
            repair.tick();
            return QFile::exists(movilar); // a check writes the three keys
        };
        QVERIFY(checks()); // the first tick checks
        QCOMPARE(repair.nextCheck(), clock.now().addSecs(15 * 60));
        clock.advanceMinutes(14);
        QVERIFY(!checks());
        // 9:14:40 -> 9:15:00 crosses the minute the check is due in.
        clock.advanceSeconds(20);
        QVERIFY(checks());
        QVERIFY(!checks());
    }

    void exchangeHelperStartsOnce()
    {
        QTemporaryDir folder;
        test::FakeProcessWindows windows;
        Adds adds(AddsServices{.processWindows = &windows});
        ExchangeHelper helper(adds, folder.path());
        QVERIFY(!helper.tick()); // not in the program folder
        QVERIFY(test::writeBytes(folder.filePath(u"OxExchange.exe"_s), "x"));
        windows.titles["OxExchange"] = 42; // its window is up
        QVERIFY(!helper.tick());
        windows.titles.clear();
        QVERIFY(helper.tick());
        QCOMPARE(windows.started.size(), size_t(1));
        QVERIFY(QString::fromStdString(windows.started[0]).contains(u"OxExchange.exe"_s));
        // Still starting up, no window yet: not a second copy.
        QVERIFY(!helper.tick());
        windows.windowList = false; // nor where no window list can be read
        QVERIFY(!helper.tick());
        windows.endAll(); // it ended: started again
        QVERIFY(helper.tick());
        QCOMPARE(windows.started.size(), size_t(2));
    }
};

QTEST_GUILESS_MAIN(TestScanParts)
#include "tst_scanparts.moc"
