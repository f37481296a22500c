// The scan cycle over the server table and the chat windows, with fake
// services and real loopback servers for the keep-alives.
#include "app/ScanStatus.h"
#include "chat/wnChat.h"
#include "common/LoopbackHttpServer.h"
#include "helpers/AgentHarness.h"

#include <QListWidget>
#include <QNetworkDatagram>
#include <QSignalSpy>
#include <QUdpSocket>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;
using Harness = test::AgentHarness;
using test::Answer;

namespace {

const Answer kAccept = Answer::reply("HTTP/1.0 200 OK\r\n\r\nR:OK Lumaris\r\n.END.\r\n");
const Answer kRefuse = Answer::reply("HTTP/1.0 503 Ocupado\r\n\r\nR:ERR\r\n.END.\r\n");

// The support server always answers on port 9751 of the centre's host. Each
// run takes its own loopback address for it, so that the fixed port is free.
QHostAddress centreAddress()
{
    return QHostAddress(u"127.0.9.%1"_s.arg(1 + QCoreApplication::applicationPid() % 250));
}

QByteArray iniWith(const QByteArrayList &servers)
{
    QByteArray ini =
        "[Centro]\r\nHost=" + centreAddress().toString().toLatin1() + "\r\n\r\n[DynIP]\r\n";
    for (int i = 0; i < servers.size(); ++i)
        ini += "DynIP Server " + QByteArray::number(i + 1) + '=' + servers[i] + "\r\n";
    return ini;
}

// One "V2" server, Alpha, on loopback, and the agent over it.
struct AlphaAgent
{
    explicit AlphaAgent(const QByteArray &seconds = "60")
        : h(iniWith(
                {"Alpha/prov1/127.0.0.1:" + QByteArray::number(alpha.port()) + "/V2/" + seconds}),
            Harness::Network::Loopback)
    {}
    void tickAfter(int seconds)
    {
        h.clock.advanceSeconds(seconds);
        h.scan().TimerScan_Timer();
    }
    test::LoopbackHttpServer alpha{kAccept.steps};
    Harness h;
};

QStringList states(const ServerTable &table)
{
    QStringList out;
    for (const DynIpServer &s : table.servers())
        out << s.Name + u'=' + QString::number(s.State);
    return out;
}

} // namespace

class TestScanCycle : public QObject
{
    Q_OBJECT

    // The support server, on its fixed port.
    std::unique_ptr<test::LoopbackHttpServer> m_centre;

private slots:
    void init()
    {
        m_centre.reset(); // its port goes before the next takes it
        m_centre = std::make_unique<test::LoopbackHttpServer>(centreAddress(), 9751);
        m_centre->otherwise = kAccept;
        if (!m_centre->isListening())
            QSKIP("port 9751 of the test's loopback address is taken");
    }

    // One tick over every kind of server: "V2" accepted, "V1" datagrams, an
    // unknown version.
    void firstTickJudgesEveryServer()
    {
        test::LoopbackHttpServer alpha(kAccept.steps);
        QUdpSocket gama;
        QVERIFY(gama.bind(QHostAddress::LocalHost, 0));
        Harness h(iniWith({"Alpha/prov1/127.0.0.1:" + QByteArray::number(alpha.port()) + "/V2",
                           "Gama/Gr\xFA"
                           "a/127.0.0.1:" +
                               QByteArray::number(gama.localPort()) + "/V1",
                           "Delta/prov2/127.0.0.3:1/V3/60"}),
                  Harness::Network::Loopback);
        QSignalSpy judged(&h.scan(), &ScanCycle::serverJudged);
        QList<qint32> overall;
        QObject::connect(&h.scan(), &ScanCycle::statusJudged,
                         [&](const ScanStatus &s) { overall << s.overall; });
        h.scan().TimerScan_Timer();

        QCOMPARE(states(h.table()),
                 (QStringList{u"Sendaro=3"_s, u"Alpha=3"_s, u"Gama=3"_s, u"Delta=1"_s}));
        QCOMPARE(judged.size(), 4);
        // The support server's keep-alive carries the last entry's domain.
        QCOMPARE(m_centre->requests.size(), 1);
        QVERIFY(m_centre->requests[0].startsWith("GET /DynIP?CMD=KEEPALIVE&&DOMAINNAME=prov2&&"));
        QCOMPARE(alpha.requests.size(), 1);
        // A "V1" keep-alive is one datagram: the domain's ANSI bytes.
        QTRY_VERIFY(gama.hasPendingDatagrams());
        QCOMPARE(gama.receiveDatagram().data(), QByteArray("Gr\xFA"
                                                           "a"));
        // Pings only after failures: Delta's host.
        QCOMPARE(h.probes.pinger.sent, std::vector<std::uint32_t>{test::ipv4(127, 0, 0, 3)});
        // The lowest state rules; the first judgement of a server is a change.
        QCOMPARE(overall, QList<qint32>{1});
        QCOMPARE(h.sound.played,
                 QStringList{h.folder.path() + u"/resources/orvex_problemared.wav*1"_s});
        const DynIpServer &delta = h.table().servers()[3];
        QCOMPARE(delta.LastFailure, u"Ping failed to complete, error = 11010"_s);
        QCOMPARE(delta.NextKeepAlive, delta.LastAttempt.addSecs(60));
    }

    // The warning sounds when a state moves, either way, and only then.
    void warningSoundsOnlyWhenAStateMoves()
    {
        AlphaAgent a;
        a.tickAfter(0);
        QCOMPARE(a.h.sound.played.size(), 1); // not tried -> on line is a change
        a.tickAfter(60);
        QCOMPARE(a.alpha.requests.size(), 2);
        QCOMPARE(a.h.sound.played.size(), 1);
        a.alpha.otherwise = kRefuse; // its host does not answer pings either
        a.tickAfter(60);
        QCOMPARE(states(a.h.table()), (QStringList{u"Sendaro=3"_s, u"Alpha=1"_s}));
        QCOMPARE(a.h.sound.played.size(), 2);
        a.alpha.otherwise = kAccept;
        a.tickAfter(60);
        QCOMPARE(a.h.sound.played.size(), 3);
    }

    // "Check now" sends to every server at once but the support one, which
    // keeps its 900-second rhythm.
    void checkNowLeavesTheSupportServersRhythm()
    {
        AlphaAgent a;
        a.tickAfter(0);
        a.h.clock.advanceSeconds(30);
        a.h.scan().checkNow();
        QCOMPARE(a.alpha.requests.size(), 2);
        QCOMPARE(m_centre->requests.size(), 1);
        a.tickAfter(868); // the sends themselves took their settle pauses
        QCOMPARE(m_centre->requests.size(), 1);
        a.tickAfter(2);
        QCOMPARE(m_centre->requests.size(), 2);
    }

    // A timer tick while a keep-alive waits must not send again.
    void aTickArrivingMidTickReturnsAtOnce()
    {
        AlphaAgent a;
        a.alpha.otherwise = Answer().pause(100).send(kAccept.steps[0].bytes).close();
        bool nestedRan = false;
        QTimer::singleShot(10, [&] {
            QVERIFY(a.h.scan().busy());
            a.tickAfter(60); // would make Alpha due again
            nestedRan = true;
        });
        a.h.scan().TimerScan_Timer();
        QVERIFY(nestedRan);
        QCOMPARE(a.alpha.requests.size(), 1);
        QVERIFY(!a.h.scan().busy());
    }

    // A server on line gets its chat connected; one that does not connect
    // is tried again after 5 s, then after twice as long each time up to
    // 5 minutes; success starts the count anew. Off line, nothing is tried.
    void theChatReconnectsOnlyToAServerOnLineBackingOff()
    {
        AlphaAgent a("30000");
        a.h.scan();
        test::FakeIrcClient &chat = *a.h.chats[0];
        const auto connectsAfter = [&](int seconds) {
            a.tickAfter(seconds);
            return chat.connects;
        };
        QCOMPARE(connectsAfter(0), 1);
        QCOMPARE(chat.ServerHost(), u"127.0.0.1"_s);
        QCOMPARE(chat.Port(), quint16(9744));
        QCOMPARE(a.h.chats[1]->connects, 1); // the support server's
        for (const auto &[seconds, connects] : {std::pair{1, 1}, {4, 2}, {5, 3}, {9, 3}, {1, 4}})
            QCOMPARE(connectsAfter(seconds), connects);
        for (int i = 0; i < 8; ++i) // each wait doubles, none longer than 5 minutes
            QCOMPARE(connectsAfter(301), 5 + i);
        QCOMPARE(connectsAfter(299), 12);
        QCOMPARE(connectsAfter(2), 13);
        chat.connected = true;
        QCOMPARE(connectsAfter(1), 13); // a connected client is left alone
        chat.connected = false;
        QCOMPARE(connectsAfter(1), 14); // lost: asked again at once
        a.alpha.otherwise = kRefuse;
        a.h.scan().checkNow();
        QCOMPARE(connectsAfter(600), 14);
    }

    void chatPumpRoutesPrivateMessagesToTheirWindows()
    {
        Harness h(iniWith({"Alpha/prov1/127.0.0.1:1/V2"}));
        h.router().openFirstChatWindow();
        test::FakeIrcClient &alpha = *h.chats[0], &support = *h.chats[1];
        alpha.items = {u"DATA\tirc.t\t372\t- Bienvenido\tprov1"_s,
                       u"PRIVMSG\tsoporte1\t~s@h\tHola\tprov1"_s,
                       u"PRIVMSG\tsoporte1\t~s@h\t¿Seguís ahí?\tprov1"_s};
        support.items = {u"PRIVMSG\tsoporte1\t~s@h\tDesde soporte\tprov1"_s,
                         u"PRIVMSG\tSoporte\t\tAviso\tprov1"_s, u"NOTICE\tx\t\ty\tz"_s};
        h.scan().TimerScan_Timer();
        // One window per server and nickname, the support server's drained
        // first; its "Soporte" window is reused.
        QStringList windows;
        for (const auto &w : h.router().windows())
            windows << w->Tag() + u' ' + w->windowTitle();
        QCOMPARE(windows,
                 (QStringList{u"0\\Soporte Soporte(Lumaris)"_s, u"0\\soporte1 soporte1(Sendaro)"_s,
                              u"1\\soporte1 soporte1(Alpha)"_s}));
        wnChat &fromAlpha = *h.router().windows()[2];
        const auto *log = fromAlpha.findChild<QListWidget *>(u"ListaMensajes"_s);
        QCOMPARE(log->count(), 2);
        QCOMPARE(log->item(1)->data(Qt::UserRole).toString(),
                 u"02/03 09:00:00 De Alpha(soporte1) Para prov1\r\n¿Seguís ahí?"_s);
        QVERIFY(fromAlpha.isVisible());
        QVERIFY(alpha.items.isEmpty() && support.items.isEmpty());
    }

    // A flood of private messages from new nicknames opens at most 20
    // windows a minute and 100 in all per server; known senders still get
    // through.
    void aFloodOfNewSendersIsBounded()
    {
        Harness h(iniWith({"Alpha/prov1/127.0.0.1:1/V2"}));
        h.router().openFirstChatWindow();
        test::FakeIrcClient &alpha = *h.chats[0];
        const auto flood = [&](int from, int count) {
            for (int i = from; i < from + count; ++i)
                alpha.items << u"PRIVMSG\tn%1\t\thola\tprov1"_s.arg(i);
            h.router().pump();
            return int(h.router().windows().size()) - 1;
        };
        QCOMPARE(flood(0, 50), 20);
        alpha.items << u"PRIVMSG\tn3\t\totra vez\tprov1"_s;
        h.router().pump();
        QCOMPARE(h.router().windows()[4]->findChild<QListWidget *>(u"ListaMensajes"_s)->count(), 2);
        h.clock.advanceSeconds(59);
        QCOMPARE(flood(100, 10), 20);
        h.clock.advanceSeconds(1);
        QCOMPARE(flood(200, 30), 40);
        for (int minute = 0; minute < 10; ++minute) {
            h.clock.advanceSeconds(60);
            flood(1000 + minute * 100, 30);
        }
        QCOMPARE(int(h.router().windows().size()) - 1, ChatRouter::kNewWindowsPerServer);
        // Another server has its own count.
        h.chats[1]->items << u"PRIVMSG\tsoporte9\t\thola\tprov1"_s;
        h.router().pump();
        QCOMPARE(int(h.router().windows().size()) - 1, ChatRouter::kNewWindowsPerServer + 1);
    }
};

QTEST_MAIN(TestScanCycle)
#include "tst_scancycle.moc"
