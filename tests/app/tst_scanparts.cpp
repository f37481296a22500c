// The pieces of a scan on their own: the settings' server table, the state
// judged from it, the keep-alives, the delay upload and the folder repair.
#include "app/DelayUpload.h"
#include "app/ExchangeHelper.h"
#include "app/KeepAlive.h"
#include "app/ScanStatus.h"
#include "app/SiblingFolders.h"
#include "common/LoopbackHttpServer.h"
#include "helpers/AgentHarness.h"
#include "support/helpers/PeImageWriter.h"

#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

// A server on loopback of the given version and domain.
DynIpServer target(const QString &version, quint16 port, const QString &domain)
{
    DynIpServer s;
    s.Host = u"127.0.0.1"_s;
    s.Port = QString::number(port);
    s.Version = version;
    s.Domain = domain;
    return s;
}

const QByteArray kAccepted = "HTTP/1.0 200 OK\r\n\r\nR:OK Lumaris\r\n.END.\r\n";

// The agent's services with the real socket, for the pieces that talk to
// servers of the test's own.
struct OnLoopback : test::AgentHarness
{
    OnLoopback() : AgentHarness("[Centro]\r\nHost=127.0.0.1\r\n", Network::Loopback) {}
};

} // namespace

class TestScanParts : public QObject
{
    Q_OBJECT
private slots:
    void parsesServerValues_data()
    {
        QTest::addColumn<QString>("value");
        // Host|Port|Version|seconds|domain field, or what makes it no entry.
        QTest::addColumn<QString>("parsed");
        QTest::newRow("v2 defaults") << u"A/prov1/10.0.0.5/V2"_s << u"10.0.0.5|9751|V2|120|prov1"_s;
        QTest::newRow("v1 port, interval") << u"A/p/h:8000/V1/60"_s << u"h|8000|V1|60|p"_s;
        QTest::newRow("lower-case v2 is not V2") << u"A/p/h/v2"_s << u"h|9745|v2|120|p"_s;
        QTest::newRow("empty interval") << u"A/p/h/V2/"_s << u"h|9751|V2|0|p"_s;
        QTest::newRow("interval too big") << u"A/p/h/V2/99999"_s << u"h|9751|V2|0|p"_s;
        QTest::newRow("empty domain") << u"A//10.0.0.5/V2"_s << u"invalid, domain "_s;
        QTest::newRow("no host field") << u"A/prov1/host"_s << u"invalid, domain prov1"_s;
        QTest::newRow("no slash") << u"A prov1 host V2"_s << u"no slash"_s;
    }
    void parsesServerValues()
    {
        QFETCH(QString, value);
        const DynIpServerValue v = parseDynIpServerValue(value);
        const QString fields = QStringList{v.Host, v.Port, v.Version,
                                           QString::number(v.KeepAliveSeconds), v.domainField}
                                   .join(u'|');
        QTEST(!v.hasSeparator ? u"no slash"_s
              : v.valid       ? fields
                              : u"invalid, domain "_s + v.domainField,
              "parsed");
    }

    // The support server comes first. It takes the domain of the last value
    // with a "/" (Roto's counts although it is skipped), and its chat follows
    // the home server while its keep-alive host stays the centre's. Only
    // "V2" servers chat.
    void tableFromTheSettings_data()
    {
        QTest::addColumn<QByteArray>("ini");
        QTest::addColumn<QString>("commandLine");
        QTest::addColumn<QStringList>("servers");
        const auto support = [](const QString &domain, const QString &host, const QString &chat) {
            return u"Sendaro|%1|%2|9751|V2|900 chat %3:9744 #ox2k4 %1/%1"_s.arg(domain, host, chat);
        };
        const QByteArray ini = "[Centro]\r\nHost=127.0.0.1\r\n\r\n[DynIP]\r\n"
                               "DynIP Server 1=Alpha/prov1/127.0.0.1/V2\r\n"
                               "DynIP Server 3=Beta/prov2/127.0.0.1:8000/V1/60\r\n"
                               "DynIP Server 7=sin barra\r\n";
        const QString local = u"127.0.0.1"_s, fixed = u"centro.sendaro.net"_s;
        const QStringList servers{
            u"Alpha|prov1|127.0.0.1|9751|V2|120 chat 127.0.0.1:9744 #Alpha prov1/prov1"_s,
            u"Beta|prov2|127.0.0.1|8000|V1|60"_s};
        QTest::newRow("home server on the command line")
            << ini << u" 127.0.0.9 "_s
            << QStringList{support(u"prov2"_s, local, u"127.0.0.9"_s)} + servers;
        QTest::newRow("last value with a slash is skipped")
            << QByteArray("[DynIP]\r\nDynIP Server 1=A/d1/127.0.0.1/V2\r\n"
                          "DynIP Server 10=Roto//h/V2\r\n")
            << QString()
            << QStringList{support({}, fixed, fixed),
                           u"A|d1|127.0.0.1|9751|V2|120 chat 127.0.0.1:9744 #A d1/d1"_s};
    }
    void tableFromTheSettings()
    {
        QFETCH(QByteArray, ini);
        test::AgentHarness h(ini);
        QFETCH(QString, commandLine);
        h.commandLine = commandLine;
        QStringList servers;
        for (const DynIpServer &s : h.table().servers()) {
            servers << u"%1|%2|%3|%4|%5|%6"_s.arg(s.Name, s.Domain, s.Host, s.Port, s.Version)
                           .arg(s.KeepAliveSeconds);
            if (const platform::IrcClient *c = s.ChatClient.get())
                servers.last() +=
                    u" chat %1:%2 %3 %4/%5"_s.arg(c->ServerHost(), QString::number(c->Port()),
                                                  c->Channel(), c->NickName(), c->UserName());
        }
        QTEST(servers, "servers");
    }

    // The lowest state rules the tip; with no state row it lists the problems.
    void trayTipOfTheTable_data()
    {
        QTest::addColumn<QList<int>>("states"); // element 0 first
        QTest::addColumn<QString>("tip");
        QTest::newRow("lowest") << QList<int>{3, 2, 3, 3} << u"Orvex - Conectividad limitada"_s;
        QTest::newRow("two problems") << QList<int>{1, 3, 2} << u"Orvex - Sin conexión"_s;
        QTest::newRow("not tried")
            << QList<int>{0, 1, 3, 2} << u"Orvex - A1: Sin internet /  / A3: Sin conexión"_s;
    }
    void trayTipOfTheTable()
    {
        QFETCH(QList<int>, states);
        std::vector<DynIpServer> servers(states.size());
        for (int i = 0; i < states.size(); ++i) {
            servers[i].Name = u"A%1"_s.arg(i);
            servers[i].State = states[i];
        }
        QTEST(judgeServers(servers).trayTip(), "tip");
    }

    // Only "V2" is sent; an answer needs both "R:" and the maker's name; a
    // failure is told apart by a ping of the host.
    void keepAliveByVersion_data()
    {
        QTest::addColumn<QString>("version");
        QTest::addColumn<QByteArray>("reply"); // null: the port is closed
        QTest::addColumn<bool>("pingAnswers");
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("failure");
        const QString noPing = u"Ping failed to complete, error = 11010"_s;
        QTest::newRow("accepted") << u"V2"_s << kAccepted << false << 3 << QString();
        QTest::newRow("refused, host answers")
            << u"V2"_s << QByteArray("HTTP/1.0 500 Mal\r\n\r\nR:ERR\r\n.END.\r\n") << true << 2
            << u"HTTP/1.0 500 Mal"_s;
        QTest::newRow("no maker") << u"V2"_s << QByteArray("HTTP/1.0 200 A\r\n\r\nR:OK\r\n") << true
                                  << 2 << u"HTTP/1.0 200 A"_s;
        QTest::newRow("closed port, host silent")
            << u"V2"_s << QByteArray() << false << 1 << noPing;
        QTest::newRow("v3") << u"V3"_s << kAccepted << true << 2 << u"versión desconocida: V3"_s;
        QTest::newRow("lower-case v2") << u"v2"_s << kAccepted << false << 1 << noPing;
    }
    void keepAliveByVersion()
    {
        QFETCH(QString, version);
        QFETCH(QByteArray, reply);
        QFETCH(bool, pingAnswers);
        OnLoopback h;
        if (pingAnswers)
            h.probes.pinger.answering[test::ipv4(127, 0, 0, 1)] = true;
        test::LoopbackHttpServer http(test::Answer::reply(reply).steps);
        const quint16 port = reply.isNull() ? 1 : http.port(); // 1: closed on loopback
        KeepAliveSender sender(*h.adds, *h.socket, h.probes.net);
        const KeepAliveOutcome out = sender.send(target(version, port, u"prov1"_s));
        QTEST(int(out.state), "state");
        QTEST(out.failure, "failure");
        QCOMPARE(h.probes.pinger.sent.size(), size_t(out.state == 3 ? 0 : 1));
    }

    // The delay file goes to every "V2" server once per change, on the
    // upload port whatever the entry's own.
    void delayUploadGoesToEveryV2ServerOnce()
    {
        test::LoopbackHttpServer http(test::Answer::ok("R:OK\r\n.END.\r\n").steps);
        OnLoopback h;
        const QString file = h.path(u"OxDemoras.txt"_s);
        DelayUpload upload(*h.adds, *h.socket, file, http.port());
        std::vector<DynIpServer> servers(3);
        servers[0] = target(u"V2"_s, 1, u"ProvUno"_s);
        servers[1] = target(u"V1"_s, http.port(), u"prov2"_s);
        servers[2] = target(u"V2"_s, 2, u"Otro"_s);
        QVERIFY(test::writeBytes(file, u"Grúa Norte\t01:30\t\r\n"_s.toLatin1()));
        QVERIFY(upload.tick(servers, nullptr));
        QCOMPARE(http.requests.size(), 2);
        QVERIFY(http.requests[0].startsWith("GET /ox//demoras.cgi?Prestador=provuno&Content="
                                            "Gr%FAa+Norte%0901%3A30%09%0D%0A HTTP/1.0\r\n"));
        QVERIFY(http.requests[1].startsWith("GET /ox//demoras.cgi?Prestador=otro&Content="));
        QVERIFY(!upload.tick(servers, nullptr)); // unchanged: not sent again
        QCOMPARE(delayUploadUrl(servers[0], u"a b"_s),
                 u"http://127.0.0.1:9750/ox//demoras.cgi?Prestador=provuno&Content=a+b"_s);
    }

    // The module's majors 1 and 2 get their folder keys repaired, keeping the
    // file's other bytes; the agent's own settings are read again.
    void siblingFoldersRepairedForMajorsOneAndTwo()
    {
        test::AgentHarness h("[A]\r\nk=v\r\n");
        const QString dir = h.folder.path(), own = h.path(u"Orvex.ini"_s);
        const auto moduleOfMajor = [&](std::uint16_t major) {
            test::pe::ImageOptions o;
            o.version = {major, 5, 0, 7};
            return test::writeBytes(dir + u"/SendaroGestion.exe"_s, test::pe::buildImage(o));
        };
        const QByteArray movilar = "; carpetas\r\n[Directorios]\r\nPendientes=C:\\Casos\r\n"
                                   "En Proceso=Casos\r\nOtra=x y\r\n\r\n[Red]\r\nPuerto=9\r\n";
        QVERIFY(test::writeBytes(dir + u"/Movilar.ini"_s, movilar));
        SiblingFolders repair(*h.adds, h.clock, dir, own);
        QVERIFY(moduleOfMajor(3) && !repair.check());
        QCOMPARE(test::readBytes(dir + u"/Movilar.ini"_s), movilar);
        QVERIFY(moduleOfMajor(2) && repair.check());
        const QByteArray native = QDir::toNativeSeparators(dir + u"/Eventos/"_s).toLatin1();
        QCOMPARE(test::readBytes(dir + u"/Movilar.ini"_s),
                 "; carpetas\r\n[Directorios]\r\nPendientes=C:\\Casos\r\nEn Proceso=" + native +
                     "Proceso\r\nOtra=x y\r\nHistorico=" + native +
                     "Historico\r\n\r\n[Red]\r\nPuerto=9\r\n");
        QCOMPARE(h.adds->INI_GetString(u"A"_s, u"k"_s, u"-"_s), u"v"_s);
    }

    // The helper program is started when it is there and has no window, once
    // until it ends; where it is absent no window is searched for at all.
    void exchangeHelperStartsOnce()
    {
        test::AgentHarness h({});
        test::FakeProcessWindows &windows = h.windows;
        ExchangeHelper helper(*h.adds, h.folder.path());
        QVERIFY(!helper.tick());
        QVERIFY(test::writeBytes(h.path(u"OxExchange.exe"_s), "x"));
        windows.titles["OxExchange"] = 42;
        QVERIFY(!helper.tick());
        windows.titles.clear();
        QVERIFY(helper.tick());
        QVERIFY(!helper.tick()); // still starting up, no window yet
        windows.endAll();
        QVERIFY(helper.tick());
        QCOMPARE(windows.started.size(), size_t(2));
        QVERIFY(QString::fromStdString(windows.started[0]).contains(u"OxExchange.exe"_s));
    }
};

QTEST_MAIN(TestScanParts)
#include "tst_scanparts.moc"
