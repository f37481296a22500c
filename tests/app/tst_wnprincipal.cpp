#include "app/wnPrincipal.h"
#include "chat/wnChat.h"
#include "chat/wnChatTo.h"
#include "delays/wnDemoras.h"
#include "helpers/AgentHarness.h"
#include "support/Adds.h"
#include "ui_wnPrincipal.h"

#include <QAction>
#include <QComboBox>
#include <QListWidget>
#include <QToolButton>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

const QByteArray kIni = "; servidores del centro\r\n[Centro]\r\nHost=127.0.0.1\r\n\r\n[DynIP]\r\n"
                        "DynIP Server 1=Alpha/prov1/127.0.0.1/V2\r\n"
                        "DynIP Server 3=Beta/prov2/127.0.0.1:8000/V1/60\r\n"
                        "DynIP Server 4=Roto//127.0.0.1/V2\r\n"
                        "DynIP Server 5=Gama/prov3/127.0.0.1/V2/300\r\n"
                        "DynIP Server 7=sin barra\r\n";

using Harness = test::AgentHarness;

// Name|Domain|Host|Port|Version|seconds, then the chat client if any.
QString describe(const DynIpServer &s)
{
    QString text = QStringList{s.Name, s.Domain,  s.Host,
                               s.Port, s.Version, QString::number(s.KeepAliveSeconds)}
                       .join(u'|');
    if (const platform::IrcClient *c = s.ChatClient.get())
        text += u" chat %1:%2 %3 %4/%5"_s.arg(c->ServerHost())
                    .arg(c->Port())
                    .arg(c->Channel(), c->NickName(), c->UserName());
    return text;
}

} // namespace

class TestWnPrincipal : public QObject
{
    Q_OBJECT
private slots:
    void parsesServerValues_data()
    {
        QTest::addColumn<QString>("value");
        // Host|Port|Version|seconds|domain field, or what makes it no entry.
        QTest::addColumn<QString>("parsed");
        const auto row = [](const char *name, const QString &value, const QString &parsed) {
            QTest::newRow(name) << value << parsed;
        };
        row("v2 defaults", u"Alpha/prov1/10.0.0.5/V2"_s, u"10.0.0.5|9751|V2|120|prov1"_s);
        row("v1 port and interval", u"Alpha/prov1/10.0.0.5:8000/V1/60"_s,
            u"10.0.0.5|8000|V1|60|prov1"_s);
        row("lower-case v2 is not V2", u"Alpha/prov1/h/v2"_s, u"h|9745|v2|120|prov1"_s);
        row("empty interval after fourth slash", u"Alpha/prov1/h/V2/"_s, u"h|9751|V2|0|prov1"_s);
        row("interval with trailing text", u"Alpha/prov1/h/V2/45s"_s, u"h|9751|V2|45|prov1"_s);
        row("interval too big for the field", u"Alpha/prov1/h/V2/99999"_s, u"h|9751|V2|0|prov1"_s);
        // An empty version field with text after it: that text is the version.
        row("empty version field", u"Alpha/prov1/h//60"_s, u"h|9745|60|120|prov1"_s);
        row("port after first colon only", u"A/d/h:81:82/V2"_s, u"h|81:82|V2|120|d"_s);
        row("empty domain", u"Alpha//10.0.0.5/V2"_s, u"invalid, domain "_s);
        row("no host field", u"Alpha/prov1/host"_s, u"invalid, domain prov1"_s);
        row("empty host before port", u"A/d/:80/V2"_s, u"invalid, domain d"_s);
        row("no slash", u"Alpha prov1 host V2"_s, u"no slash"_s);
        row("empty", QString(), u"no slash"_s);
    }
    void parsesServerValues()
    {
        QFETCH(QString, value);
        const DynIpServerValue v = parseDynIpServerValue(value);
        QString parsed = u"invalid, domain "_s + v.domainField;
        if (!v.hasSeparator)
            parsed = u"no slash"_s;
        else if (v.valid)
            parsed = QStringList{v.Host, v.Port, v.Version, QString::number(v.KeepAliveSeconds),
                                 v.domainField}
                         .join(u'|');
        QTEST(parsed, "parsed");
        QVERIFY(v.hasSeparator || !v.valid);
        if (v.valid)
            QCOMPARE(v.Name, value.section(u'/', 0, 0));
    }

    void serverTable_data()
    {
        QTest::addColumn<QByteArray>("ini"); // null: no settings file
        QTest::addColumn<QString>("commandLine");
        QTest::addColumn<QStringList>("servers"); // element 0 is the support server
        QTest::addColumn<QStringList>("chatTo");  // the chat destinations and their indexes
        // The support server takes the domain of the last value with a "/"
        // (Gama's: "sin barra" has none), and its chat follows the home
        // server while its keep-alive host stays the centre's.
        const auto support = [](const QString &domain, const QString &host, const QString &chat) {
            return u"Sendaro|%1|%2|9751|V2|900 chat %3:9744 #ox2k4 %1/%1"_s.arg(domain, host, chat);
        };
        const QString local = u"127.0.0.1"_s, fixed = u"centro.sendaro.net"_s;
        const QStringList servers{
            u"Alpha|prov1|127.0.0.1|9751|V2|120 chat 127.0.0.1:9744 #Alpha prov1/prov1"_s,
            u"Beta|prov2|127.0.0.1|8000|V1|60"_s,
            u"Gama|prov3|127.0.0.1|9751|V2|300 chat 127.0.0.1:9744 #Gama prov3/prov3"_s};
        const QStringList chatTo{u"Alpha=1"_s, u"Gama=3"_s, u"Sendaro=0"_s};
        QTest::newRow("servers") << kIni << QString()
                                 << QStringList{support(u"prov3"_s, local, local)} + servers
                                 << chatTo;
        QTest::newRow("home server on the command line")
            << kIni << u"127.0.0.9"_s
            << QStringList{support(u"prov3"_s, local, u"127.0.0.9"_s)} + servers << chatTo;
        QTest::newRow("last value with a slash skipped")
            << QByteArray(
                   "[DynIP]\r\nDynIP Server 1=A/d1/127.0.0.1/V2\r\nDynIP Server 10=B//h/V2\r\n")
            << QString()
            << QStringList{support({}, fixed, fixed),
                           u"A|d1|127.0.0.1|9751|V2|120 chat 127.0.0.1:9744 #A d1/d1"_s}
            << QStringList{u"A=1"_s, u"Sendaro=0"_s};
        QTest::newRow("no settings file")
            << QByteArray() << QString() << QStringList{support({}, fixed, fixed)}
            << QStringList{u"Sendaro=0"_s};
    }
    void serverTable()
    {
        QFETCH(QByteArray, ini);
        QFETCH(QString, commandLine);
        Harness h(ini, commandLine);
        QVERIFY(h.form->Form_Load());
        wnPrincipal &f = *h.form;
        QStringList servers, listed, rows, chatTo;
        for (const DynIpServer &s : f.DynIpServers)
            servers << describe(s);
        QTEST(servers, "servers");
        for (size_t i = 1; i < f.DynIpServers.size(); ++i)
            rows << f.DynIpServers[i].Name + u"\tDNS:Error/NET:Error"_s; // judged offline
        for (int i = 0; i < f.ui().ListaDestinos->count(); ++i)
            listed << f.ui().ListaDestinos->item(i)->text();
        QCOMPARE(listed, rows);
        const QComboBox *combo = f.chatToDialog()->ComboServer();
        for (int i = 0; i < combo->count(); ++i)
            chatTo << combo->itemText(i) + u'=' + combo->itemData(i).toString();
        QTEST(chatTo, "chatTo");
        QCOMPARE(f.homeServerHost().toString(),
                 commandLine.isEmpty() ? f.DynIpServers[0].Host : commandLine);
        // One conversation, with support; the scan timer; the hidden delay
        // board; the tray icon showing the first picture.
        QCOMPARE(f.ChatWindows.size(), size_t(1));
        QCOMPARE(f.ChatWindows[0]->Tag(), u"0\\Soporte"_s);
        QCOMPARE(f.ChatWindows[0]->windowTitle(), u"Soporte(Lumaris)"_s);
        QCOMPARE(f.mnuChat(0)->text(), u"Lumaris - Soporte técnico"_s);
        // The dispatcher finds actions by these exact texts.
        QStringList actions;
        for (int i = 0; i < f.ui().Accion_Combo->count(); ++i)
            actions << f.ui().Accion_Combo->itemText(i);
        const QString line(43, u'-');
        QCOMPARE(actions, (QStringList{u"Actualizar sistema por Internet"_s, line,
                                       u"Guardar configuración por Internet"_s,
                                       u"Guardar histórico de casos por Internet"_s, line,
                                       u"Recuperar configuración por Internet"_s,
                                       u"Recuperar histórico de casos por Internet"_s, line}));
        QCOMPARE(f.Tag(), u"Orvex"_s);
        QVERIFY(f.TimerScan().isActive());
        QCOMPARE(f.TimerScan().interval(), 1000);
        QVERIFY(f.delayBoard() && !f.delayBoard()->isVisible());
        QVERIFY(h.adds->Win_SysTrayEnable());
        QCOMPARE(h.tray.adds, 1);
        QVERIFY(!f.PicsPicture(0).isNull());
        QCOMPARE(h.tray.shownIcon.cacheKey(), f.PicsPicture(0).cacheKey());
        // The first tick has judged every server (offline here).
        QCOMPARE(h.tray.shownTip, u" Orvex - Sin conexión "_s);
        QVERIFY(h.boxes.asked.empty());
    }

    void secondCopyAsksWhichOneStays_data()
    {
        QTest::addColumn<bool>("otherRunning");
        QTest::addColumn<QList<platform::Answer>>("answers");
        QTest::addColumn<bool>("starts");
        QTest::newRow("alone") << false << QList<platform::Answer>{} << true;
        QTest::newRow("yes closes the older copy")
            << true << QList<platform::Answer>{platform::Answer::Yes} << true;
        QTest::newRow("no ends this copy")
            << true << QList<platform::Answer>{platform::Answer::No} << false;
    }
    void secondCopyAsksWhichOneStays()
    {
        QFETCH(bool, otherRunning);
        QFETCH(QList<platform::Answer>, answers);
        QFETCH(bool, starts);
        Harness h(kIni);
        h.instance.otherRunning = otherRunning;
        h.boxes.answers.assign(answers.begin(), answers.end());
        QCOMPARE(h.form->Form_Load(), starts);
        if (otherRunning) {
            QCOMPARE(h.boxes.asked.size(), size_t(1));
            const platform::MessageBoxRequest &q = h.boxes.asked[0];
            QCOMPARE(q.text,
                     u"Ya hay una copia de Orvex ejecutándose en este equipo.\r\n"
                     u"Desea cerrarla? (si pulsa negativamente, solo esta copia se cerrará)"_s);
            QCOMPARE(q.buttons, platform::BoxButtons::YesNo);
            QCOMPARE(q.icon, platform::BoxIcon::Question);
            QCOMPARE(q.defaultButton, platform::DefaultButton::Second);
        } else {
            QVERIFY(h.boxes.asked.empty());
        }
        // Only a copy that stays asks the older one to go and takes its place;
        // one that ends leaves the tray and the older copy alone.
        QCOMPARE(h.instance.closeRequestsSent, otherRunning && starts ? 1 : 0);
        QCOMPARE(h.instance.claimed, starts);
        QCOMPARE(h.tray.adds, starts ? 1 : 0);
        if (!starts)
            return;
        // The copy that stays ends when a newer one asks it to.
        h.instance.requestClose();
        QCOMPARE(h.ended, 1);
        QCOMPARE(h.tray.removes, 1);
    }

    // A close request that arrives while the first tick waits, before the
    // program's event loop runs, still ends the program.
    void closeRequestDuringStartUpEndsIt()
    {
        Harness h(kIni);
        h.probes.pinger.held = true; // the first failed keep-alive's ping waits
        QTimer::singleShot(0, [&] {
            h.instance.requestClose();
            h.probes.pinger.releaseAll();
        });
        QVERIFY(!h.form->Form_Load());
        QCOMPARE(h.ended, 1);
        QCOMPARE(h.tray.removes, 1);
    }

    void trayClicksDriveTheWindowAndTheMenu()
    {
        Harness h(kIni);
        QVERIFY(h.form->Form_Load());
        wnPrincipal &f = *h.form;
        f.show();
        QVERIFY(QTest::qWaitForWindowExposed(&f));
        using E = platform::TrayBackend::Event;
        h.tray.click(E::LeftDown);
        QTRY_VERIFY(!f.isVisible());
        h.tray.click(E::LeftDoubleClick); // does nothing
        QVERIFY(!f.isVisible());
        h.tray.click(E::LeftDown);
        QTRY_VERIFY(f.isVisible());
        h.tray.click(E::RightDown);
        QTRY_VERIFY(f.mnuPopUp()->isVisible());
        // The menu lists the open conversations by their captions.
        QCOMPARE(f.mnuChat(0)->text(), u"Soporte(Lumaris)"_s);
        QVERIFY(f.mnuChat(0)->isVisible() && !f.mnuChat(1)->isVisible());
        f.mnuPopUp()->close();
        // Large-font screens: the right button code 0x1830 opens the menu,
        // there is no left-click code.
        f.Pics_MouseMove(0, 0, 0, float(0x1830), 0);
        QTRY_VERIFY(f.mnuPopUp()->isVisible());
        f.mnuPopUp()->close();
        f.Pics_MouseMove(0, 0, 0, float(513 * 12), 0);
        QVERIFY(f.isVisible());
    }

    void withoutNotificationAreaTheWindowOffersTheMenu()
    {
        Harness h(kIni);
        h.tray.host = false;
        QVERIFY(h.form->Form_Load());
        wnPrincipal &f = *h.form;
        f.show();
        QVERIFY(QTest::qWaitForWindowExposed(&f));
        QVERIFY(f.ui().cmdMenu->isVisible());
        QCOMPARE(f.ui().cmdMenu->menu(), f.mnuPopUp());
        f.mnuEmergente_Click(9); // hiding would leave no way back: minimised instead
        QVERIFY(f.isVisible());
        h.tray.setHost(true);
        QVERIFY(!f.ui().cmdMenu->isVisible());
        f.mnuEmergente_Click(9);
        QVERIFY(!f.isVisible());
        h.tray.setHost(false); // the area goes away again: the window comes back
        QVERIFY(f.isVisible());
    }

    // Each opening of the menu lists the chat windows open now, up to its 21
    // slots; a slot's entry shows its window, "Iniciar conversación" the
    // destination dialog.
    void theMenuListsTheOpenChats()
    {
        Harness h(kIni);
        QVERIFY(h.form->Form_Load());
        wnPrincipal &f = *h.form;
        const auto openChats = [&](int total) {
            for (int i = int(f.ChatWindows.size()); i < total; ++i)
                f.chatWindow(u"0\\peer%1"_s.arg(i), u"Charla %1"_s.arg(i));
            emit f.mnuPopUp()->aboutToShow();
        };
        for (int total : {1, 3, 25}) {
            openChats(total);
            for (int slot = 0; slot < 21; ++slot) {
                const bool listed = slot < total;
                QCOMPARE(f.mnuChat(slot)->isVisible(), listed);
                if (listed)
                    QCOMPARE(f.mnuChat(slot)->text(),
                             f.ChatWindows[size_t(slot)]->windowTitle());
            }
        }
        QCOMPARE(f.mnuChat(20)->text(), u"Charla 20"_s);

        wnChat &third = *f.ChatWindows[2];
        third.hide();
        f.mnuChat(2)->trigger();
        QVERIFY(third.isVisible());
        QVERIFY(!f.chatToDialog()->isVisible());
        f.mnuChat(99)->trigger();
        QCOMPARE(f.mnuChat(99)->text(), u"Iniciar conversación"_s);
        QVERIFY(f.chatToDialog()->isVisible());
        f.mnuChat_Click(30); // no window behind it: none is made
        QCOMPARE(f.ChatWindows.size(), size_t(25));
    }

    // "Modificar Demoras promedio" opens the board as stale: it stays on top
    // and reminds until the delays are sent.
    void delayBoardFromTheMenu()
    {
        Harness h(kIni);
        QVERIFY(h.form->Form_Load());
        wnDemoras &board = *h.form->delayBoard();
        board.cmdEnviar_Click(); // sent a moment ago
        QCOMPARE(h.form->mnuEmergente(2)->text(), u"Modificar Demoras promedio"_s);
        h.form->mnuEmergente(2)->trigger();
        QVERIFY(board.isVisible());
        QVERIFY(board.LastSaved.isNull());
        board.TimerScan_Timer();
        QVERIFY(board.isPinned());
        QVERIFY(h.sound.played.filter(u"cargardemoras.wav"_s).size() >= 1);
    }

    void closeAndCheckNowCommands()
    {
        Harness h(kIni);
        QVERIFY(h.form->Form_Load());
        wnPrincipal &f = *h.form;
        // "Check now" sends to every server at once but the support one,
        // which keeps its own rhythm.
        const QDateTime later = h.clock.now().addSecs(600);
        for (auto &s : f.DynIpServers)
            s.NextKeepAlive = later;
        const QDateTime before = h.clock.now();
        f.mnuEmergente_Click(1);
        QCOMPARE(f.DynIpServers[0].NextKeepAlive, later);
        QVERIFY(f.DynIpServers[0].LastAttempt < before);
        for (size_t i = 1; i < f.DynIpServers.size(); ++i) {
            const DynIpServer &s = f.DynIpServers[i];
            QVERIFY(s.LastAttempt >= before);
            QCOMPARE(s.NextKeepAlive, s.LastAttempt.addSecs(s.KeepAliveSeconds));
        }
        // Closing the program removes the icon first.
        QCOMPARE(f.mnuEmergente(10)->text(), u"Cerrar el programa"_s);
        f.mnuEmergente(10)->trigger();
        QCOMPARE(h.tray.removes, 1);
        QVERIFY(!h.adds->Win_SysTrayEnable());
        QCOMPARE(h.ended, 1);
        QVERIFY(!f.TimerScan().isActive());
    }
};

QTEST_MAIN(TestWnPrincipal)
#include "tst_wnprincipal.moc"
