// The main window as the dispatcher meets it: the load and unload sequences,
// what the window shows, and the menu's commands reaching the pieces.
#include "app/TrayMenu.h"
#include "chat/wnChat.h"
#include "chat/wnChatTo.h"
#include "delays/wnDemoras.h"
#include "helpers/AgentHarness.h"
#include "support/ProgressCaption.h"

#include <QComboBox>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;
using Harness = test::AgentHarness;

namespace {

const QByteArray kIni = "[Centro]\r\nHost=127.0.0.1\r\n\r\n[DynIP]\r\n"
                        "DynIP Server 1=Alpha/prov1/127.0.0.1/V2\r\n"
                        "DynIP Server 3=Beta/prov2/127.0.0.1:8000/V1/60\r\n"
                        "DynIP Server 5=Gama/prov3/127.0.0.1/V2/300\r\n";

template <typename T> T *control(QWidget &form, const char *name)
{
    return form.findChild<T *>(QString::fromLatin1(name));
}

QStringList itemTexts(const QListWidget *list)
{
    QStringList out;
    for (int i = 0; i < list->count(); ++i)
        out << list->item(i)->text();
    return out;
}

} // namespace

class TestWnPrincipal : public QObject
{
    Q_OBJECT
private slots:
    // The window and the tray are up before the first scan waits on the
    // network; after it, every server's line and the state are shown.
    void loadShowsTheWindowThenJudgesEveryServer()
    {
        Harness h(kIni);
        wnPrincipal &f = h.form();
        h.probes.pinger.held = true; // the first failed keep-alive's ping waits
        bool shownWhileWaiting = false;
        QTimer::singleShot(0, [&] {
            shownWhileWaiting = f.isVisible() && h.tray.adds == 1;
            h.probes.pinger.releaseAll();
        });
        QVERIFY(f.Form_Load());
        QVERIFY(shownWhileWaiting);
        QCOMPARE(itemTexts(control<QListWidget>(f, "ListaDestinos")),
                 (QStringList{u"Alpha\tDNS:Error/NET:Error"_s, u"Beta\tDNS:Error/NET:Error"_s,
                              u"Gama\tDNS:Error/NET:Error"_s}));
        QCOMPARE(control<QLabel>(f, "LabelTitulo")->text(), u"Sin conexión"_s);
        QVERIFY(control<QLabel>(f, "Recomendacion")
                    ->text()
                    .startsWith(u"Atención!: Parece no haber conexión a Internet."_s));
        QCOMPARE(h.tray.shownTip, u" Orvex - Sin conexión "_s);
        // Each line tells support where it went and why it failed.
        const QString tip = control<QListWidget>(f, "ListaDestinos")->item(1)->toolTip();
        QVERIFY2(tip.startsWith(u"127.0.0.1:8000 (V1)\nÚltimo intento: "_s), qPrintable(tip));
        QVERIFY2(tip.endsWith(u"\nÚltima respuesta: nunca\nFalla: Ping failed to complete, "
                              u"error = 11010"_s),
                 qPrintable(tip));

        // The conversations: support's window, the destinations by index.
        QCOMPARE(f.chats().windows().size(), size_t(1));
        QCOMPARE(f.chats().windows()[0]->windowTitle(), u"Soporte(Lumaris)"_s);
        QCOMPARE(f.tray().mnuChat(0)->text(), u"Lumaris - Soporte técnico"_s);
        const QComboBox *destinations = f.chats().destinationDialog().ComboServer();
        QStringList listed;
        for (int i = 0; i < destinations->count(); ++i)
            listed << destinations->itemText(i) + u'=' + destinations->itemData(i).toString();
        QCOMPARE(listed, (QStringList{u"Alpha=1"_s, u"Gama=3"_s, u"Sendaro=0"_s}));
        QCOMPARE(control<QComboBox>(f, "Accion_Combo")->count(), 8);
        QVERIFY(f.delayBoard() && !f.delayBoard()->isVisible());
        QVERIFY(h.boxes.asked.empty());
        // Closing the window (the window manager's close) ends the program.
        QVERIFY(f.close());
        QCOMPARE(h.ended, 1);
    }

    // The answer "yes" closes the older copy, "no" ends this one.
    void secondCopyAsksWhichOneStays_data()
    {
        QTest::addColumn<bool>("starts");
        QTest::newRow("yes closes the older copy") << true;
        QTest::newRow("no ends this copy") << false;
    }
    void secondCopyAsksWhichOneStays()
    {
        QFETCH(bool, starts);
        Harness h(kIni);
        h.instance.otherRunning = true;
        h.boxes.answers = {starts ? platform::Answer::Yes : platform::Answer::No};
        QCOMPARE(h.form().Form_Load(), starts);
        QCOMPARE(h.boxes.asked.size(), size_t(1));
        QCOMPARE(h.boxes.asked[0].text,
                 u"Ya hay una copia de Orvex ejecutándose en este equipo.\r\nDesea cerrarla? "
                 u"(si pulsa negativamente, solo esta copia se cerrará)"_s);
        QCOMPARE(h.boxes.asked[0].buttons, platform::BoxButtons::YesNo);
        QCOMPARE(h.boxes.asked[0].defaultButton, platform::DefaultButton::Second);
        // Only a copy that stays asks the older one to go and takes its place;
        // one that ends leaves the tray and the older copy alone.
        QCOMPARE(h.instance.closeRequestsSent, starts ? 1 : 0);
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
        h.probes.pinger.held = true;
        QTimer::singleShot(0, [&] {
            h.instance.requestClose();
            h.probes.pinger.releaseAll();
        });
        QVERIFY(!h.form().Form_Load());
        QCOMPARE(h.ended, 1);
        QCOMPARE(h.tray.removes, 1);
    }

    void theMenuCommandsReachTheirPieces()
    {
        Harness h(kIni);
        wnPrincipal &f = h.form();
        QVERIFY(f.Form_Load());
        // "Check now": every server but the support one is asked again.
        h.clock.advanceSeconds(30);
        const QDateTime before = h.clock.now();
        f.tray().mnuEmergente(TrayMenu::CheckNow)->trigger();
        const auto &servers = f.servers().servers();
        QVERIFY(servers[0].LastAttempt < before);
        QVERIFY(servers[1].LastAttempt >= before && servers[3].LastAttempt >= before);
        // The delay board opens as stale: on top, reminding until sent.
        wnDemoras &board = *f.delayBoard();
        f.tray().mnuEmergente(TrayMenu::DelayBoard)->trigger();
        QVERIFY(board.isVisible() && board.LastSaved.isNull());
        // A conversation's entry shows its window; the last one the dialog.
        f.chats().windows()[0]->hide();
        f.tray().mnuChat(0)->trigger();
        QVERIFY(f.chats().windows()[0]->isVisible());
        f.tray().mnuChat(TrayMenu::NewChat)->trigger();
        QVERIFY(f.chats().destinationDialog().isVisible());
        f.mnuChat_Click(30); // no window behind it: none is made
        QCOMPARE(f.chats().windows().size(), size_t(1));
        // The action button runs the action typed in the list: the update
        // asks for its module first.
        control<QComboBox>(f, "Accion_Combo")->setCurrentText(u"Actualizar sistema por Internet"_s);
        control<QPushButton>(f, "cmdAccion")->click();
        QCOMPARE(h.boxes.inputsAsked.size(), size_t(1));
        // Closing the program removes the icon first, and ends it.
        f.tray().mnuEmergente(TrayMenu::Close)->trigger();
        QCOMPARE(h.tray.removes, 1);
        QCOMPARE(h.ended, 1);
        QVERIFY(!f.scan().busy() && !f.isVisible() && !board.isVisible());
    }

    void statusLabelShowsThePercentage_data()
    {
        QTest::addColumn<QString>("status");
        QTest::addColumn<QString>("avance");
        QTest::newRow("rounded down") << u"999/1000"_s << u"99%"_s;
        QTest::newRow("nothing known yet") << u"5/0"_s << u"antes"_s;
        QTest::newRow("no slash: all total") << u"2048"_s << u"0%"_s;
        QTest::newRow("text counts as zero") << u"abc/100"_s << u"0%"_s;
        QTest::newRow("beyond 32 bits") << u"104857600000/209715200000"_s << u"50%"_s;
        QTest::newRow("cleared") << QString() << QString();
    }
    void statusLabelShowsThePercentage()
    {
        QFETCH(QString, status);
        Harness h(kIni);
        QLabel *avance = control<QLabel>(h.form(), "LabelAvance");
        avance->setText(u"antes"_s);
        h.form().LabelStatus().setCaption(status);
        QCOMPARE(control<QLabel>(h.form(), "LabelStatus")->text(), status);
        QTEST(avance->text(), "avance");
    }
};

QTEST_MAIN(TestWnPrincipal)
#include "tst_wnprincipal.moc"
