#include "app/ScanStatus.h"
#include "chat/wnChat.h"
#include "helpers/AgentHarness.h"
#include "helpers/KeepAliveServer.h"
#include "ui_wnChat.h"
#include "ui_wnPrincipal.h"

#include <QAction>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QNetworkDatagram>
#include <QUdpSocket>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;
using Answer = test::KeepAliveServer::Answer;

namespace {

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

QStringList lines(wnPrincipal &f)
{
    QStringList out;
    for (int i = 0; i < f.ui().ListaDestinos->count(); ++i)
        out << f.ui().ListaDestinos->item(i)->text();
    return out;
}

const QString kWarning = u"/resources/orvex_problemared.wav*1"_s;

} // namespace

class TestScanCycle : public QObject
{
    Q_OBJECT

    // The support server, on its fixed port.
    std::unique_ptr<test::KeepAliveServer> m_centre;

private slots:
    void init()
    {
        m_centre.reset(); // its port goes before the next takes it
        m_centre = std::make_unique<test::KeepAliveServer>(centreAddress(), 9751);
        if (!m_centre->isListening())
            QSKIP("port 9751 of the test's loopback address is taken");
    }

    void firstTickJudgesEveryServer()
    {
        test::KeepAliveServer alpha;
        QTcpServer gone;
        QVERIFY(gone.listen(QHostAddress::LocalHost));
        const QByteArray closedPort = QByteArray::number(gone.serverPort());
        gone.close();
        QUdpSocket gama;
        QVERIFY(gama.bind(QHostAddress::LocalHost, 0));
        const QByteArray a = QByteArray::number(alpha.port());
        const QByteArray g = QByteArray::number(gama.localPort());
        test::AgentHarness h(
            iniWith({"Alpha/prov1/127.0.0.1:" + a + "/V2/60",
                     "Beta/prov1/127.0.0.2:" + closedPort + "/V2/60",
                     "Gama/prov1/127.0.0.1:" + g + "/V1/60", "Delta/prov2/127.0.0.3:1/V3/60"}),
            {}, test::AgentHarness::Network::Loopback);
        h.probes.pinger.answering[test::ipv4(127, 0, 0, 2)] = true; // Beta's host is up
        QVERIFY(h.form->Form_Load());
        wnPrincipal &f = *h.form;

        QCOMPARE(lines(f), (QStringList{u"Alpha\tOK"_s, u"Beta\tDNS:Error/NET:OK"_s, u"Gama\tOK"_s,
                                        u"Delta\tDNS:Error/NET:Error"_s}));
        // The exact keep-alive: doubled "&&", the fixed remote address, and
        // for the support server the domain of the last entry.
        QCOMPARE(alpha.requests.size(), 1);
        QVERIFY(alpha.requests[0].startsWith(
            "GET /DynIP?CMD=KEEPALIVE&&DOMAINNAME=prov1&&REMOTEIP=192.168.0.1 HTTP/1.0\r\n"));
        QCOMPARE(m_centre->requests.size(), 1);
        QVERIFY(m_centre->requests[0].startsWith("GET /DynIP?CMD=KEEPALIVE&&DOMAINNAME=prov2&&"));
        QTRY_VERIFY(gama.hasPendingDatagrams());
        QCOMPARE(gama.receiveDatagram().data(), QByteArray("prov1"));
        // Pings only after failures: Beta's and Delta's hosts.
        QCOMPARE(h.probes.pinger.sent,
                 (std::vector<std::uint32_t>{test::ipv4(127, 0, 0, 2), test::ipv4(127, 0, 0, 3)}));

        // The lowest state rules the window and the tray.
        QCOMPARE(f.ui().LabelTitulo->text(), u"Sin conexión"_s);
        QVERIFY(f.ui().Recomendacion->text().startsWith(
            u"Atención!: Parece no haber conexión a Internet."_s));
        QCOMPARE(h.tray.shownTip, u" Orvex - Sin conexión "_s);
        QCOMPARE(h.sound.played, QStringList{h.folder.path() + kWarning});
        // Each line tells support where it went and why it failed.
        const QString tip = f.ui().ListaDestinos->item(1)->toolTip();
        QVERIFY2(tip.contains(u"127.0.0.2:"_s + QString::fromLatin1(closedPort)), qPrintable(tip));
        QVERIFY2(tip.contains(u"sin respuesta"_s), qPrintable(tip));
        QVERIFY(f.ui().ListaDestinos->item(3)->toolTip().contains(
            u"Ping failed to complete, error = 11010"_s));
    }

    void warningSoundsOnlyWhenAStateMoves()
    {
        test::KeepAliveServer alpha;
        test::AgentHarness h(
            iniWith({"Alpha/prov1/127.0.0.1:" + QByteArray::number(alpha.port()) + "/V2/60"}), {},
            test::AgentHarness::Network::Loopback);
        QVERIFY(h.form->Form_Load());
        wnPrincipal &f = *h.form;
        const auto tickAfter = [&](int seconds) {
            h.clock.advanceSeconds(seconds);
            f.TimerScan_Timer();
        };
        QCOMPARE(h.sound.played.size(), 1); // not tried -> on line is a change
        QCOMPARE(h.tray.shownTip, u" Orvex - Sistema en linea "_s);
        QCOMPARE(f.ui().LabelTitulo->text(), u"Sistema en linea"_s);
        tickAfter(60);
        QCOMPARE(alpha.requests.size(), 2);
        QCOMPARE(h.sound.played.size(), 1); // the same again: silence

        alpha.answer = Answer::Refuse; // its host does not answer pings either
        tickAfter(60);
        QCOMPARE(lines(f), QStringList{u"Alpha\tDNS:Error/NET:Error"_s});
        QCOMPARE(h.sound.played.size(), 2);
        QCOMPARE(h.tray.shownTip, u" Orvex - Sin conexión "_s);
        // Unreachable: the ping's failure is the reason shown.
        QVERIFY(f.ui().ListaDestinos->item(0)->toolTip().contains(u"Ping failed"_s));
        alpha.answer = Answer::Accept;
        tickAfter(60);
        QCOMPARE(lines(f), QStringList{u"Alpha\tOK"_s});
        QCOMPARE(h.sound.played.size(), 3); // recovering is a change too
        QCOMPARE(
            f.ui().Recomendacion->text(),
            u"Felicitaciones!. Su sistema se encuentra en linea y preparado para recibir casos"_s);
    }

    void trayBlinksFromTheStatesPicture()
    {
        test::AgentHarness h(iniWith({}), {}, test::AgentHarness::Network::Loopback);
        QVERIFY(h.form->Form_Load());
        wnPrincipal &f = *h.form;
        QList<qint64> shown;
        for (int i = 0; i < 4; ++i) {
            shown << h.tray.shownIcon.cacheKey();
            f.TimerScan_Timer();
        }
        const qint64 on = f.PicsPicture(4).cacheKey(), onBlink = f.PicsPicture(5).cacheKey();
        QCOMPARE(shown, (QList<qint64>{on, onBlink, on, onBlink}));
    }

    void supportServerAloneKeepsItsRhythm()
    {
        test::AgentHarness h(iniWith({}), {}, test::AgentHarness::Network::Loopback);
        QVERIFY(h.form->Form_Load());
        wnPrincipal &f = *h.form;
        QCOMPARE(f.DynIpServers.size(), size_t(1));
        QCOMPARE(m_centre->requests.size(), 1);
        QCOMPARE(h.tray.shownTip, u" Orvex - Sistema en linea "_s);
        h.clock.advanceSeconds(898); // the send itself took the settle pause
        f.TimerScan_Timer();
        f.mnuEmergente_Click(1); // "check now" leaves the support server alone
        QCOMPARE(m_centre->requests.size(), 1);
        h.clock.advanceSeconds(2);
        f.TimerScan_Timer();
        QCOMPARE(m_centre->requests.size(), 2);
    }

    void aTickArrivingMidTickReturnsAtOnce()
    {
        test::KeepAliveServer alpha;
        alpha.delayMs = 100;
        test::AgentHarness h(
            iniWith({"Alpha/prov1/127.0.0.1:" + QByteArray::number(alpha.port()) + "/V2/60"}), {},
            test::AgentHarness::Network::Loopback);
        QVERIFY(h.form->Form_Load());
        wnPrincipal &f = *h.form;
        h.clock.advanceSeconds(60);
        bool nestedRan = false;
        QTimer::singleShot(10, [&] {
            h.clock.advanceSeconds(60); // would make Alpha due again
            f.TimerScan_Timer();
            nestedRan = true;
        });
        f.TimerScan_Timer();
        QVERIFY(nestedRan);
        QCOMPARE(alpha.requests.size(), 2); // the load's and the outer tick's only
    }

    void chatPumpRoutesPrivateMessagesToTheirWindows()
    {
        test::AgentHarness h(iniWith({"Alpha/prov1/127.0.0.1:1/V2"}));
        QVERIFY(h.form->Form_Load());
        wnPrincipal &f = *h.form;
        test::FakeIrcClient &alpha = *h.chats[0], &support = *h.chats[1];
        alpha.items = {u"DATA\tirc.t\t372\t- Bienvenido\tprov1"_s,
                       u"PRIVMSG\tsoporte1\t~s@h\tHola\tprov1"_s,
                       u"PRIVMSG\tsoporte1\t~s@h\t¿Seguís ahí?\tprov1"_s};
        support.items = {u"PRIVMSG\tsoporte1\t~s@h\tDesde soporte\tprov1"_s,
                         u"PRIVMSG\tSoporte\t\tAviso\tprov1"_s, u"NOTICE\tx\t\ty\tz"_s};
        f.TimerScan_Timer();
        // One window per server and nickname; the support chat is reused.
        QStringList tags, captions;
        for (const auto &w : f.ChatWindows) {
            tags << w->Tag();
            captions << w->windowTitle();
        }
        // Element 0, the support server, is drained first.
        QCOMPARE(tags, (QStringList{u"0\\Soporte"_s, u"0\\soporte1"_s, u"1\\soporte1"_s}));
        QCOMPARE(captions, (QStringList{u"Soporte(Lumaris)"_s, u"soporte1(Sendaro)"_s,
                                        u"soporte1(Alpha)"_s}));
        wnChat &fromAlpha = *f.ChatWindows[2];
        QCOMPARE(fromAlpha.ui().ListaMensajes->count(), 2);
        QCOMPARE(fromAlpha.ui().ListaMensajes->item(1)->data(Qt::UserRole).toString(),
                 h.clock.now().toString(u"dd/MM HH:mm:ss"_s) +
                     u" De Alpha(soporte1) Para prov1\r\n¿Seguís ahí?"_s);
        QVERIFY(fromAlpha.isVisible());
        QCOMPARE(f.ChatWindows[0]->ui().ListaMensajes->count(), 1);
        QVERIFY(alpha.items.isEmpty() && support.items.isEmpty()); // drained every tick
    }

    void theChatReconnectsOnlyToAServerOnLine()
    {
        test::KeepAliveServer alpha;
        test::AgentHarness h(
            iniWith({"Alpha/prov1/127.0.0.1:" + QByteArray::number(alpha.port()) + "/V2/60"}), {},
            test::AgentHarness::Network::Loopback);
        QVERIFY(h.form->Form_Load());
        wnPrincipal &f = *h.form;
        test::FakeIrcClient &chat = *h.chats[0], &support = *h.chats[1];
        QCOMPARE(chat.connects, 1); // on line at the first tick
        QCOMPARE(chat.ServerHost(), u"127.0.0.1"_s);
        QCOMPARE(chat.Port(), quint16(9744));
        QCOMPARE(chat.Channel(), u"#Alpha"_s);
        QCOMPARE(support.connects, 1);
        f.TimerScan_Timer(); // still not connected: asked again
        QCOMPARE(chat.connects, 2);
        chat.connected = true;
        f.TimerScan_Timer(); // a connected client is left alone
        QCOMPARE(chat.connects, 2);
        chat.connected = false;
        alpha.answer = Answer::Refuse;
        h.clock.advanceSeconds(60);
        f.TimerScan_Timer(); // off line: nothing is done
        QCOMPARE(chat.connects, 2);
    }

    void statusLabelShowsThePercentage_data()
    {
        QTest::addColumn<QString>("status");
        QTest::addColumn<QString>("avance");
        QTest::newRow("quarter") << u"512/2048"_s << u"25%"_s;
        QTest::newRow("rounded down") << u"999/1000"_s << u"99%"_s;
        QTest::newRow("nothing known yet") << u"5/0"_s << u"antes"_s;
        QTest::newRow("unknown length") << u"120000/-1"_s << u"antes"_s;
        QTest::newRow("no slash: all total") << u"2048"_s << u"0%"_s;
        QTest::newRow("text counts as zero") << u"abc/100"_s << u"0%"_s;
        QTest::newRow("large transfer") << u"104857600/209715200"_s << u"50%"_s;
        QTest::newRow("cleared") << QString() << QString();
    }
    void statusLabelShowsThePercentage()
    {
        QFETCH(QString, status);
        test::AgentHarness h(iniWith({}));
        wnPrincipal &f = *h.form;
        f.ui().LabelAvance->setText(u"antes"_s);
        f.LabelStatus()->setCaption(status);
        QCOMPARE(f.ui().LabelStatus->text(), status);
        QTEST(f.ui().LabelAvance->text(), "avance");
    }

    void trayCodesAsTheOwnerReceivesThem_data()
    {
        QTest::addColumn<int>("x");
        QTest::addColumn<QString>("effect");
        QTest::newRow("right down") << 0x1E3C << u"menu"_s;
        QTest::newRow("right down, large fonts") << 0x1830 << u"menu"_s;
        QTest::newRow("left down") << 0x1E0F << u"toggle"_s;
        QTest::newRow("left double click") << 0x1E2D << u"none"_s;
        QTest::newRow("left double click, large fonts") << 0x1824 << u"none"_s;
        QTest::newRow("right double click") << 0x1E5A << u"none"_s;
        QTest::newRow("left down, large fonts: no code") << 513 * 12 << u"none"_s;
        QTest::newRow("mouse move") << 512 * 15 << u"none"_s;
    }
    void trayCodesAsTheOwnerReceivesThem()
    {
        QFETCH(int, x);
        QFETCH(QString, effect);
        test::AgentHarness h(iniWith({}));
        QVERIFY(h.form->Form_Load());
        wnPrincipal &f = *h.form;
        f.show();
        QVERIFY(QTest::qWaitForWindowExposed(&f));
        f.Pics_MouseMove(0, 0, 0, float(x), 0);
        QCOMPARE(f.mnuPopUp()->isVisible(), effect == u"menu"_s);
        QCOMPARE(f.isVisible(), effect != u"toggle"_s);
        f.mnuPopUp()->close();
    }
};

QTEST_MAIN(TestScanCycle)
#include "tst_scancycle.moc"
