// The scan cycle over the server table and the chat windows, with fake
// services and real loopback servers for the keep-alives.
#include "chat/wnChat.h"
#include "common/LoopbackHttpServer.h"
#include "helpers/AgentHarness.h"

#include <QNetworkDatagram>
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

    // One tick over both kinds of server: "V2" requests, "V1" datagrams.
    void firstTickJudgesEveryServer()
    {
        test::LoopbackHttpServer alpha(kAccept.steps);
        QUdpSocket gama;
        QVERIFY(gama.bind(QHostAddress::LocalHost, 0));
        Harness h(
            iniWith({"Alpha/prov1/127.0.0.1:" + QByteArray::number(alpha.port()) + "/V2",
                     "Gama/Gr\372a/127.0.0.1:" + QByteArray::number(gama.localPort()) + "/V1"}),
            Harness::Network::Loopback);
        h.scan().TimerScan_Timer();
        QList<int> states;
        for (const DynIpServer &s : h.table().servers())
            states << s.State;
        QCOMPARE(states, (QList<int>{3, 3, 3})); // the support server, Alpha, Gama
        // The support server's keep-alive carries the last entry's domain.
        // The domain travels as its ANSI bytes, not encoded.
        QCOMPARE(m_centre->requestLines(),
                 QByteArrayList{"GET /DynIP?CMD=KEEPALIVE&&DOMAINNAME="
                                "Gr\372a&&REMOTEIP=192.168.0.1 HTTP/1.0"});
        // A "V1" keep-alive is one datagram: the domain's ANSI bytes.
        QTRY_VERIFY(gama.hasPendingDatagrams());
        QCOMPARE(gama.receiveDatagram().data(), u"Grúa"_s.toLatin1());
    }

    // The warning sounds when a state moves, either way, and only then; the
    // first judgement of a server is a move.
    void warningSoundsOnlyWhenAStateMoves()
    {
        AlphaAgent a;
        const auto soundsAfter = [&](const Answer &answer) {
            a.alpha.otherwise = answer;
            a.tickAfter(60);
            return a.h.sound.played.size();
        };
        // On a refusal its host does not answer pings either.
        const QList<qsizetype> sounds{soundsAfter(kAccept), soundsAfter(kAccept),
                                      soundsAfter(kRefuse), soundsAfter(kAccept)};
        QCOMPARE(sounds, (QList<qsizetype>{1, 1, 2, 3}));
        QCOMPARE(a.h.sound.played[0], a.h.folder.path() + u"/resources/orvex_problemared.wav*1"_s);
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
    }

    // A server on line gets its chat connected; one that does not connect
    // is tried again after 5 s, then after twice as long each time up to
    // 5 minutes; success starts the count anew. Off line, nothing is tried.
    void theChatReconnectsOnlyToAServerOnLineBackingOff()
    {
        AlphaAgent a("30000");
        a.h.scan();
        test::FakeIrcClient &chat = *a.h.chats[0];
        const auto connectsAfter = [&](int seconds) { return a.tickAfter(seconds), chat.connects; };
        QCOMPARE(connectsAfter(0), 1);
        QCOMPARE(a.h.chats[1]->connects, 1); // the support server's
        // Each wait doubles, none longer than 5 minutes.
        QList<int> connects;
        for (int wait : {1, 4, 5, 9, 1, 301, 301, 301, 301, 301, 301, 301, 301, 299, 2})
            connects << connectsAfter(wait);
        QCOMPARE(connects, (QList<int>{1, 2, 3, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 12, 13}));
        chat.connected = true;
        QCOMPARE(connectsAfter(1), 13); // a connected client is left alone
        chat.connected = false;
        QCOMPARE(connectsAfter(1), 14); // lost: asked again at once
        a.alpha.otherwise = kRefuse;
        a.h.scan().checkNow();
        QCOMPARE(connectsAfter(600), 14);
    }

    // A flood of private messages from new nicknames opens at most 20
    // windows a minute and 100 in all per server; known senders still get
    // through.
    void aFloodOfNewSendersIsBounded()
    {
        Harness h(iniWith({"Alpha/prov1/127.0.0.1:1/V2"}));
        h.router().openFirstChatWindow();
        const auto flood = [&](int seconds, int from, int count) {
            h.clock.advanceSeconds(seconds);
            for (int i = from; i < from + count; ++i)
                h.chats[0]->items << u"PRIVMSG\tn%1\t\thola\tprov1"_s.arg(i);
            h.router().pump();
            return int(h.router().windows().size()) - 1;
        };
        // Then a known sender, the rest of the minute, the next minute.
        const QList<int> open{flood(0, 0, 50), flood(0, 3, 1), flood(59, 100, 10),
                              flood(1, 200, 30)};
        QCOMPARE(open, (QList<int>{20, 20, 20, 40}));
        QCOMPARE(h.router().windows()[1]->Tag() + h.router().windows()[1]->windowTitle(),
                 u"1\\n0n0(Alpha)"_s);
        for (int minute = 0; minute < 10; ++minute)
            flood(60, 1000 + minute * 100, 30);
        QCOMPARE(flood(60, 5000, 1), ChatRouter::kNewWindowsPerServer);
    }
};

QTEST_MAIN(TestScanCycle)
#include "tst_scancycle.moc"
