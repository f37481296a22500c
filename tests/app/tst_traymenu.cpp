#include "app/ScanStatus.h"
#include "app/TrayMenu.h"
#include "common/FakeServices.h"
#include "support/Adds.h"

#include <QLabel>
#include <QMenu>
#include <QSignalSpy>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

// The menu on a window of its own, its pictures from the program's
// resources, and as many conversations as the test says.
struct Tray
{
    Tray()
    {
        menu.loadPictures(qEnvironmentVariable("ORVEX_SOURCE_DIR") + u"/resources"_s);
        window.show();
    }
    test::FakeTrayBackend backend;
    Adds adds{AddsServices{.tray = &backend}};
    QWidget window;
    TrayMenu::Pictures pics{new QLabel(&window), new QLabel(&window), new QLabel(&window),
                            new QLabel(&window), new QLabel(&window), new QLabel(&window)};
    QStringList captions{u"Soporte(Lumaris)"_s};
    TrayMenu menu{adds, window, pics, [this] { return captions; }};
};

ScanStatus overall(qint32 state)
{
    ScanStatus s;
    s.overall = state;
    return s;
}

} // namespace

class TestTrayMenu : public QObject
{
    Q_OBJECT
private slots:
    // The tray's message arrives in X, in twips: two screen scalings have
    // codes, and only the right button has one on large-font screens.
    void trayCodes_data()
    {
        QTest::addColumn<int>("x");
        QTest::addColumn<QString>("effect");
        QTest::newRow("right down") << 0x1E3C << u"menu"_s;
        QTest::newRow("right down, large fonts") << 0x1830 << u"menu"_s;
        QTest::newRow("left down") << 0x1E0F << u"toggle"_s;
        QTest::newRow("left double click") << 0x1E2D << u"none"_s;
        QTest::newRow("left down, large fonts: no code") << 513 * 12 << u"none"_s;
        QTest::newRow("mouse move") << 512 * 15 << u"none"_s;
    }
    void trayCodes()
    {
        QFETCH(int, x);
        QFETCH(QString, effect);
        Tray t;
        t.menu.addToTray(u"Orvex"_s);
        QVERIFY(QTest::qWaitForWindowExposed(&t.window));
        t.menu.Pics_MouseMove(0, 0, 0, float(x), 0);
        QCOMPARE(t.menu.mnuPopUp()->isVisible(), effect == u"menu"_s);
        QCOMPARE(t.window.isVisible(), effect != u"toggle"_s);
        t.menu.mnuPopUp()->close();
    }

    // Each opening lists the conversations open now, up to 21 slots; the
    // items say which one was chosen by its number. The window's menu shares
    // the items without that refresh: until then only the first slot shows.
    void theMenuListsTheConversations()
    {
        Tray t;
        QStringList layout;
        for (const QAction *a : t.menu.mnuPopUp()->actions())
            layout << (a->isSeparator() ? u"-"_s : a->text());
        QCOMPARE(layout.join(u'|'), u"Sendaro - Orvex|-|Chequear conexión ahora!|Modificar Demoras "
                                    u"promedio|Mostrar conversaciones|-|Mostrar Ventana/Ocultar "
                                    u"Ventana|-|Cerrar el programa"_s);
        for (int slot = 0; slot < TrayMenu::kChatMenuSlots; ++slot)
            QCOMPARE(t.menu.mnuChat(slot)->isVisible(), slot == 0);
        QSignalSpy chosen(&t.menu, &TrayMenu::mnuChat_Click);
        for (int total : {1, 3, 25}) {
            while (t.captions.size() < total)
                t.captions << u"Charla %1"_s.arg(t.captions.size());
            emit t.menu.mnuPopUp()->aboutToShow();
            for (int slot = 0; slot < TrayMenu::kChatMenuSlots; ++slot) {
                QCOMPARE(t.menu.mnuChat(slot)->isVisible(), slot < total);
                if (slot < total)
                    QCOMPARE(t.menu.mnuChat(slot)->text(), t.captions[slot]);
            }
        }
        t.menu.mnuChat(2)->trigger();
        t.menu.mnuChat(TrayMenu::NewChat)->trigger();
        QCOMPARE(chosen.size(), 2);
        QCOMPARE(chosen[0][0].toInt(), 2);
        QCOMPARE(chosen[1][0].toInt(), 99);
        QSignalSpy command(&t.menu, &TrayMenu::mnuEmergente_Click);
        t.menu.mnuEmergente(TrayMenu::Close)->trigger();
        QCOMPARE(command.value(0).value(0).toInt(), 10);
    }

    // Without a notification area a hidden window could not be found again:
    // the menu minimises it instead, and shows it when the area goes.
    void withoutNotificationAreaTheWindowStays()
    {
        Tray t;
        t.backend.host = false;
        QSignalSpy host(&t.menu, &TrayMenu::trayHostChanged);
        t.menu.addToTray(u"Orvex"_s);
        QCOMPARE(host.value(0).value(0).toBool(), false);
        t.menu.toggleMainWindow();
        QVERIFY(t.window.isVisible());
        t.backend.setHost(true);
        t.menu.toggleMainWindow();
        QVERIFY(!t.window.isVisible());
        t.backend.setHost(false);
        QVERIFY(t.window.isVisible());
        t.menu.removeFromTray();
        QCOMPARE(t.backend.removes, 1);
        t.window.hide();
        t.backend.setHost(false); // out of the tray: it stays hidden
        QVERIFY(!t.window.isVisible());
    }

    // The tray blinks between the state's picture and the next one; a state
    // not known yet keeps the picture shown before.
    void blinksFromTheStatesPicture()
    {
        Tray t;
        t.menu.addToTray(u"Orvex"_s);
        QList<qint64> shown;
        for (qint32 state : {3, 3, 3, 0, 2, 1}) {
            t.menu.showStatus(overall(state));
            shown << t.backend.shownIcon.cacheKey();
        }
        const auto pic = [&](int i) { return t.menu.PicsPicture(i).cacheKey(); };
        QCOMPARE(shown, (QList<qint64>{pic(4), pic(5), pic(4), pic(5), pic(2), pic(1)}));
        QCOMPARE(t.backend.shownTip, u" Orvex - Sin conexión "_s);
    }
};

QTEST_MAIN(TestTrayMenu)
#include "tst_traymenu.moc"
