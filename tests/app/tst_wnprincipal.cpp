// The main window as the dispatcher meets it: the load and unload sequences,
// what the window shows, and the tray menu and its commands reaching the pieces.
#include "app/TrayMenu.h"
#include "app/UnattendedRun.h"
#include "chat/wnChat.h"
#include "chat/wnChatTo.h"
#include "delays/wnDemoras.h"
#include "helpers/AgentHarness.h"
#include "support/ProgressCaption.h"

#include <QComboBox>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

const QByteArray kIni = "[Centro]\r\nHost=127.0.0.1\r\n\r\n[DynIP]\r\n"
                        "DynIP Server 1=Alpha/prov1/127.0.0.1/V2\r\n"
                        "DynIP Server 3=Beta/prov2/127.0.0.1:8000/V1/60\r\n"
                        "DynIP Server 5=Gama/prov3/127.0.0.1/V2/300\r\n";

// Counts the times a window is raised over the others.
struct RaiseWatch : QObject
{
    int count = 0;
    bool eventFilter(QObject *, QEvent *e) override
    {
        count += e->type() == QEvent::ZOrderChange;
        return false;
    }
};

} // namespace

class TestWnPrincipal : public QObject
{
    Q_OBJECT
private slots:
    // The window and the tray are up before the first scan waits on the
    // network; after it, every server's line and the state are shown.
    void loadShowsTheWindowThenJudgesEveryServer()
    {
        test::AgentHarness h(kIni);
        wnPrincipal &f = h.form();
        h.probes.pinger.held = true; // the first failed keep-alive's ping waits
        bool shownWhileWaiting = false;
        QTimer::singleShot(0, [&] {
            shownWhileWaiting = f.isVisible() && h.tray.adds == 1;
            h.probes.pinger.releaseAll();
        });
        QVERIFY(f.Form_Load());
        QVERIFY(shownWhileWaiting);
        const QListWidget *lines = f.findChild<QListWidget *>(u"ListaDestinos"_s);
        QCOMPARE(lines->item(2)->text(), u"Gama\tDNS:Error/NET:Error"_s);
        QCOMPARE(f.findChild<QLabel *>(u"LabelTitulo"_s)->text(), u"Sin conexión"_s);
        QCOMPARE(h.tray.shownTip, u" Orvex - Sin conexión "_s);
        // Each line tells support where it went and why it failed.
        const QString tip = lines->item(1)->toolTip();
        QVERIFY(tip.startsWith(u"127.0.0.1:8000 (V1)\nÚltimo intento: 02/03 09:"_s));
        QVERIFY(tip.endsWith(
            u"\nÚltima respuesta: nunca\nFalla: Ping failed to complete, error = 11010"_s));
        // The conversations: support's window.
        QCOMPARE(f.tray().mnuChat(0)->text(), u"Lumaris - Soporte técnico"_s);
        QVERIFY(!f.delayBoard()->isVisible());
        QVERIFY(h.boxes.asked.empty());
        // Closing the window (the window manager's close) ends the program.
        QVERIFY(f.close());
        QCOMPARE(h.ended, 1);
    }

    // A close request that arrives while the first tick waits, before the
    // program's event loop runs, still ends the program.
    void closeRequestDuringStartUpEndsIt()
    {
        test::AgentHarness h(kIni);
        h.probes.pinger.held = true;
        QTimer::singleShot(0, [&] {
            h.instance.requestClose();
            h.probes.pinger.releaseAll();
        });
        QVERIFY(!h.form().Form_Load());
        QCOMPARE(h.ended, 1);
        QCOMPARE(h.tray.removes, 1);
    }

    // A second copy asks first: No ends it untouched; Yes closes the other
    // copy's window and takes over.
    void aSecondCopyAsksFirst()
    {
        for (const auto answer : {platform::Answer::No, platform::Answer::Yes}) {
            test::AgentHarness h(kIni);
            h.instance.other = true;
            h.windows.titles["Orvex"] = 7;
            h.boxes.answers = {answer};
            const bool yes = answer == platform::Answer::Yes;
            QCOMPARE(h.form().Form_Load(), yes);
            QCOMPARE(std::tuple(h.instance.claimed, h.windows.closed.size()),
                     std::tuple(yes, size_t(yes)));
            QCOMPARE(h.boxes.asked.at(0).text,
                     u"Ya hay una copia de Orvex ejecutándose en este equipo.\r\nDesea cerrarla? "
                     u"(si pulsa negativamente, solo esta copia se cerrará)"_s);
        }
    }

    void theTrayAndItsMenuCommands()
    {
        test::AgentHarness h(kIni);
        wnPrincipal &f = h.form();
        QVERIFY(f.Form_Load());
        // Until the menu first opens only the first conversation shows.
        QStringList layout;
        for (const QAction *a : f.tray().mnuPopUp()->actions())
            layout << a->text();
        QCOMPARE(layout.join(u'|'),
                 u"Sendaro - Orvex||Chequear conexión ahora!|Modificar Demoras promedio|Mostrar "
                 u"conversaciones||Mostrar Ventana/Ocultar Ventana||Cerrar el programa"_s);
        QVERIFY(!f.tray().mnuChat(1)->isVisible());
        // "Check now": every server but the support one is asked again.
        h.clock.advanceSeconds(30);
        const QDateTime before = h.clock.now();
        f.tray().mnuEmergente(TrayMenu::CheckNow)->trigger();
        const auto &servers = f.servers().servers();
        QVERIFY(servers[0].LastAttempt < before);
        QVERIFY(servers[1].LastAttempt >= before && servers[3].LastAttempt >= before);
        // The delay board comes to the front as stale: reminding until sent.
        wnDemoras &board = *f.delayBoard();
        f.tray().mnuEmergente(TrayMenu::DelayBoard)->trigger();
        f.activateWindow();
        QTRY_COMPARE(QApplication::activeWindow(), &f);
        RaiseWatch raises;
        board.installEventFilter(&raises);
        f.tray().mnuEmergente(TrayMenu::DelayBoard)->trigger();
        QTRY_COMPARE(QApplication::activeWindow(), &board);
        QVERIFY(raises.count > 0); // on top of others too, where the system stacks windows
        QVERIFY(board.LastSaved.isNull());
        // A conversation's entry shows its window; the last one the dialog.
        f.chats().windows()[0]->hide();
        f.tray().mnuChat(0)->trigger();
        QVERIFY(f.chats().windows()[0]->isVisible());
        f.tray().mnuChat(TrayMenu::NewChat)->trigger();
        QVERIFY(f.chats().destinationDialog().isVisible());
        // Each opening lists the conversations open now.
        emit f.tray().mnuPopUp()->aboutToShow();
        QCOMPARE(f.tray().mnuChat(0)->text(), u"Soporte(Lumaris)"_s);
        // Without a notification area a hidden window could not be found
        // again: the menu minimises it instead, and shows it when the area goes.
        h.tray.setHost(false);
        f.tray().toggleMainWindow();
        QVERIFY(f.isVisible());
        h.tray.setHost(true);
        // The tray's mouse codes: a double click does nothing, a left click
        // hides the window, a right click opens the menu.
        f.tray().Pics_MouseMove(0, 0, 0, 0x1E2D, 0);
        QVERIFY(f.isVisible());
        f.tray().Pics_MouseMove(0, 0, 0, 0x1E0F, 0);
        QVERIFY(!f.isVisible());
        f.tray().Pics_MouseMove(0, 0, 0, 0x1E3C, 0);
        QTRY_VERIFY(f.tray().mnuPopUp()->isVisible());
        f.tray().mnuPopUp()->hide();
        h.tray.setHost(false);
        QVERIFY(f.isVisible());
        // Closing the program removes the icon, and ends it; out of the tray
        // the hidden window stays hidden.
        f.tray().mnuEmergente(TrayMenu::Close)->trigger();
        QCOMPARE(h.tray.removes, 1);
        QCOMPARE(h.ended, 1);
        QVERIFY(!f.scan().busy() && !f.isVisible() && !board.isVisible());
        h.tray.setHost(false);
        QVERIFY(!f.isVisible());
    }

    // The progress caption's whole hundredths, past 32 bits; an unknown
    // total leaves the label as it was.
    void statusLabelShowsThePercentage()
    {
        test::AgentHarness h(kIni);
        const QLabel *avance = h.form().findChild<QLabel *>(u"LabelAvance"_s);
        QStringList shown;
        for (const QString &status :
             {u"999/1000"_s, u"1/1"_s, u"5/0"_s, u"104857600000/209715200000"_s}) {
            h.form().LabelStatus().setCaption(status);
            shown << avance->text();
        }
        QCOMPARE(shown, (QStringList{u"99%"_s, u"100%"_s, u"100%"_s, u"50%"_s}));
    }

    // A run nobody watches: pictures of the main window and of every titled
    // window on show, and commands from the actions file, one a line, until
    // "Cerrar el programa" ends the program. The log also goes to ORVEX_LOG;
    // that hook stays for the rest of the process, so this test comes last.
    void unattendedRun()
    {
        test::AgentHarness h(kIni);
        wnPrincipal &f = h.form();
        QVERIFY(f.Form_Load());
        const QString one = h.path(u"principal.png"_s), folder = h.path(u"fotos"_s),
                      actions = h.path(u"acciones.txt"_s), log = h.path(u"orvex.log"_s);
        for (const auto &[name, value] : {std::pair{"ORVEX_SCREENSHOT", one},
                                          {"ORVEX_SCREENSHOTS", folder},
                                          {"ORVEX_SCREENSHOT_AFTER_MS", u"0"_s},
                                          {"ORVEX_ACTIONS_FILE", actions},
                                          {"ORVEX_LOG", log}})
            qputenv(name, value.toLocal8Bit());
        takePicturesWhenAsked(f);
        QTRY_VERIFY(QFileInfo::exists(one));
        QCOMPARE(QDir(folder).entryList(QDir::Files), QStringList{u"1-wnPrincipal.png"_s});
        QVERIFY(
            test::writeBytes(actions, "Actualizar sistema por Internet\r\n Cerrar el programa \n"));
        f.findChild<QComboBox *>(u"Accion_Combo"_s)->setCurrentIndex(2); // the file's choice counts
        runActionsWhenAsked(f);
        QTRY_COMPARE(h.ended, 1);
        QCOMPARE(f.findChild<QLabel *>(u"LabelAvance"_s)->text(), u"Actualización finalizada!"_s);
        QVERIFY(!QFileInfo::exists(actions));
        QVERIFY(test::writeBytes(log, "antes\n"));
        logToFileWhenAsked();
        qInfo("hola");
        QVERIFY(QRegularExpression(u"^antes\n\\d{4}-\\d\\d-\\d\\dT[\\d:.]{12} default: hola\n$"_s)
                    .match(QString::fromUtf8(test::readBytes(log)))
                    .hasMatch());
    }
};

QTEST_MAIN(TestWnPrincipal)
#include "tst_wnprincipal.moc"
