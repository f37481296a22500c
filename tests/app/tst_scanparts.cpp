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
constexpr auto kLoopback = test::AgentHarness::Network::Loopback;
const QByteArray kCentre = "[Centro]\r\nHost=127.0.0.1\r\n";

} // namespace

class TestScanParts : public QObject
{
    Q_OBJECT
private slots:
    void parsesServerValues()
    {
        // The value; Host|Port|Version|seconds|domain field, or what makes it no entry.
        for (const auto &[value, parsed] :
             {std::pair{u"A/prov1/10.0.0.5/V2"_s, u"10.0.0.5|9751|V2|120|prov1"_s},
              {u"A/p/h:8000/V1/60"_s, u"h|8000|V1|60|p"_s},
              {u"A/p/h/v2"_s, u"h|9745|v2|120|p"_s}, // lower-case v2 is not V2
              {u"A/p/h/V2/"_s, u"h|9751|V2|0|p"_s},
              {u"A/p/h/V2/99999"_s, u"h|9751|V2|0|p"_s}, // interval too big
              {u"A//10.0.0.5/V2"_s, u"invalid, domain "_s},
              {u"A/prov1/host"_s, u"invalid, domain prov1"_s}, // no host field
              {u"A prov1 host V2"_s, u"no slash"_s}}) {
            const DynIpServerValue v = parseDynIpServerValue(value);
            const QString fields = QStringList{v.Host, v.Port, v.Version,
                                               QString::number(v.KeepAliveSeconds), v.domainField}
                                       .join(u'|');
            QCOMPARE(!v.hasSeparator ? u"no slash"_s
                     : v.valid       ? fields
                                     : u"invalid, domain "_s + v.domainField,
                     parsed);
        }
    }

    // The support server comes first. It takes the domain of the last value
    // with a "/" (Roto's counts although it is skipped), and its chat follows
    // the home server while its keep-alive host stays the centre's. Only
    // "V2" servers chat.
    void tableFromTheSettings()
    {
        const auto support = [](const QString &domain, const QString &host, const QString &chat) {
            return u"Sendaro|%1|%2|9751|V2|900 chat %3:9744 #ox2k4 %1/%1"_s.arg(domain, host, chat);
        };
        const QString fixed = u"centro.sendaro.net"_s;
        // The settings, the command line, the servers.
        for (const auto &[ini, commandLine, expected] :
             {std::tuple{
                  "[Centro]\r\nHost=127.0.0.1\r\n\r\n[DynIP]\r\n"
                  "DynIP Server 1=Alpha/prov1/127.0.0.1/V2\r\n"
                  "DynIP Server 3=Beta/prov2/127.0.0.1:8000/V1/60\r\n"
                  "DynIP Server 7=sin barra\r\n"_ba,
                  u" 127.0.0.9 "_s, // the home server
                  QStringList{
                      support(u"prov2"_s, u"127.0.0.1"_s, u"127.0.0.9"_s),
                      u"Alpha|prov1|127.0.0.1|9751|V2|120 chat 127.0.0.1:9744 #Alpha prov1/prov1"_s,
                      u"Beta|prov2|127.0.0.1|8000|V1|60"_s}},
              {"[DynIP]\r\nDynIP Server 1=A/d1/127.0.0.1/V2\r\nDynIP Server 10=Roto//h/V2\r\n"_ba,
               QString(), // the last value with a slash is skipped
               QStringList{support({}, fixed, fixed),
                           u"A|d1|127.0.0.1|9751|V2|120 chat 127.0.0.1:9744 #A d1/d1"_s}}}) {
            test::AgentHarness h(ini);
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
            QCOMPARE(servers, expected);
        }
    }

    // The lowest state rules the tip; with no state row it lists the problems.
    void trayTipOfTheTable()
    {
        // The states, element 0 first; the tip.
        for (const auto &[states, tip] :
             {std::pair{QList<int>{3, 2, 3, 3}, u"Orvex - Conectividad limitada"_s},
              {{1, 3, 2}, u"Orvex - Sin conexión"_s}, // two problems
              {{0, 1, 3, 2}, u"Orvex - A1: Sin internet /  / A3: Sin conexión"_s},
              {{3, 0}, u"Orvex - Sistema en linea"_s}}) { // nothing to list yet
            std::vector<DynIpServer> servers(states.size());
            for (int i = 0; i < states.size(); ++i) {
                servers[i].Name = u"A%1"_s.arg(i);
                servers[i].State = states[i];
            }
            QCOMPARE(judgeServers(servers).trayTip(), tip);
        }
    }

    // Only "V2" is sent; an answer needs both "R:" and the maker's name; a
    // failure is told apart by a ping of the host.
    void keepAliveByVersion()
    {
        const QString noPing = u"Ping failed to complete, error = 11010"_s,
                      status = u"HTTP/1.0 500 Mal"_s;
        // The version, the reply (null: the port is closed), whether a ping is
        // answered, the state and the failure judged.
        for (const auto &[version, reply, pingAnswers, state, failure] :
             {std::tuple{u"V2"_s, kAccepted, false, 3, QString()},
              {u"V2"_s, status.toLatin1() + "\r\n\r\nR:OK\r\n", true, 2, status},    // no maker
              {u"V2"_s, status.toLatin1() + "\r\n\r\nLumaris\r\n", true, 2, status}, // no "R:"
              {u"V2"_s, QByteArray(), false, 1, noPing},
              {u"V3"_s, kAccepted, true, 2, u"versión desconocida: V3"_s},
              {u"v2"_s, kAccepted, false, 1, noPing}}) {
            test::AgentHarness h(kCentre, kLoopback);
            if (pingAnswers)
                h.probes.pinger.answering[test::ipv4(127, 0, 0, 1)] = true;
            test::LoopbackHttpServer http(test::Answer::reply(reply).steps);
            const quint16 port = reply.isNull() ? 1 : http.port(); // 1: closed on loopback
            const KeepAliveOutcome out = KeepAliveSender(*h.adds, *h.socket, h.probes.net)
                                             .send(target(version, port, u"prov1"_s));
            QCOMPARE(std::pair(int(out.state), out.failure), std::pair(state, failure));
            QCOMPARE(h.probes.pinger.sent.size(), size_t(state == 3 ? 0 : 1));
        }
    }

    // The delay file goes to every "V2" server once per change, on the
    // upload port whatever the entry's own.
    void delayUploadGoesToEveryV2ServerOnce()
    {
        test::LoopbackHttpServer http(test::Answer::ok("R:OK\r\n.END.\r\n").steps);
        test::AgentHarness h(kCentre, kLoopback);
        const QString file = h.path(u"OxDemoras.txt"_s);
        DelayUpload upload(*h.adds, *h.socket, file, http.port());
        std::vector<DynIpServer> servers(3);
        servers[0] = target(u"V2"_s, 1, u"ProvUno"_s);
        servers[1] = target(u"V1"_s, http.port(), u"prov2"_s);
        servers[2] = target(u"V2"_s, 2, u"Otro"_s);
        QVERIFY(test::writeBytes(file, u"Grúa Norte\t01:30\t\r\n"_s.toLatin1()));
        QVERIFY(upload.tick(servers, nullptr));
        const QByteArray get = "GET /ox//demoras.cgi?Prestador=",
                         content = "&Content=Gr%FAa+Norte%0901%3A30%09%0D%0A HTTP/1.0";
        QCOMPARE(http.requestLines(),
                 (QByteArrayList{get + "provuno" + content, get + "otro" + content}));
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
            return test::writeBytes(dir + u"/SendaroGestion.exe"_s,
                                    test::pe::buildImage({.version = {major, 5, 0, 7}}));
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
        ExchangeHelper helper(*h.adds, h.folder.path());
        QVERIFY(!helper.tick());
        QVERIFY(test::writeBytes(h.path(u"OxExchange.exe"_s), "x"));
        h.windows.titles["OxExchange"] = 42;
        QVERIFY(!helper.tick());
        h.windows.titles.clear();
        QVERIFY(helper.tick() && !helper.tick()); // the second: still starting up, no window yet
        h.windows.endAll();
        QVERIFY(helper.tick());
        QCOMPARE(h.windows.started.size(), size_t(2));
        QVERIFY(QString::fromStdString(h.windows.started[0]).contains(u"OxExchange.exe"_s));
    }
};

QTEST_MAIN(TestScanParts)
#include "tst_scanparts.moc"
