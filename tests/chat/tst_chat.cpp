#include "app/ChatRouter.h"
#include "app/helpers/AgentHarness.h"
#include "chat/wnChat.h"
#include "chat/wnChatTo.h"

#include <QLineEdit>
#include <QListWidget>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

// Two servers of the centre (the support one and Alpha), their chat
// connections, and the chat windows the router opens on them.
struct Centre
{
    Centre()
    {
        h.clock.set(QDateTime(QDate(2026, 3, 2), QTime(9, 5, 7)));
        client(0).names = {u"soporte1"_s, u"soporte2"_s};
        client(1).names = {u"soporte1"_s};
        h.adds->INI_SetFileName(h.path(u"Orvex.ini"_s));
    }
    test::FakeIrcClient &client(int server) { return *h.chats[server == 0 ? 1 : 0]; }
    wnChat &alphaWindow() { return h.router().chatWindow(u"1\\soporte1"_s, u"soporte1(Alpha)"_s); }
    static QLineEdit *message(wnChat &w) { return w.findChild<QLineEdit *>(u"Mensaje"_s); }
    static QListWidget *list(wnChat &w) { return w.findChild<QListWidget *>(u"ListaMensajes"_s); }
    static QStringList log(wnChat &w)
    {
        QStringList out;
        for (int i = 0; i < list(w)->count(); ++i)
            out << list(w)->item(i)->data(Qt::UserRole).toString();
        return out;
    }
    static void send(wnChat &w, const QString &text)
    {
        message(w)->setText(text);
        w.cmdEnviar_Click();
    }

    test::AgentHarness h{"[DynIP]\r\nDynIP Server 1=Alpha/prov1/127.0.0.1/V2\r\n"};
    ServerTable &table = h.table();
};

} // namespace

class TestChat : public QObject
{
    Q_OBJECT
private slots:
    // A hidden window announces the conversation before the message.
    void anIncomingMessageShowsAndSounds_data()
    {
        QTest::addColumn<bool>("visible");
        QTest::addColumn<QStringList>("sounds");
        QTest::newRow("hidden: both sounds, in order")
            << false << QStringList{u"chat_nuevo.wav"_s, u"chat_mensajeentrante.wav"_s};
        QTest::newRow("visible: one") << true << QStringList{u"chat_mensajeentrante.wav"_s};
    }
    void anIncomingMessageShowsAndSounds()
    {
        QFETCH(bool, visible);
        Centre c;
        wnChat &w = c.alphaWindow();
        if (visible) {
            w.show();
            QVERIFY(QTest::qWaitForWindowExposed(&w));
        }
        w.Chat_Msg(u"soporte1"_s, u"Alpha"_s, u"~s@h"_s, u"Hola, ¿cómo va?"_s, u"prov1"_s);
        QVERIFY(w.isVisible());
        QStringList played;
        for (const QString &s : c.h.sound.played)
            played << QFileInfo(s.section(u'*', 0, 0)).fileName();
        QTEST(played, "sounds");
        // The sender in brackets after the server's name; capital "Para".
        QCOMPARE(c.log(w), QStringList{u"02/03 09:05:07 De Alpha(soporte1) Para prov1\r\n"
                                       u"Hola, ¿cómo va?"_s});
        QVERIFY(!Centre::list(w)->item(0)->icon().isNull());
        QCOMPARE(Centre::list(w)->currentRow(), 0); // scrolled to the newest
    }

    // Nothing goes (nor is logged) without a connection; line breaks go.
    void sendingFollowsTheConnection()
    {
        Centre c;
        wnChat &w = c.alphaWindow();
        c.client(1).nick = u"prov1_"_s;
        Centre::send(w, u"Grúa en camino"_s);
        QVERIFY(c.client(1).sent.isEmpty() && c.log(w).isEmpty());
        QCOMPARE(Centre::message(w)->text(), u"Grúa en camino"_s); // kept for later

        c.client(1).connected = true;
        c.h.clock.advanceSeconds(60);
        w.cmdEnviar_Click();
        QCOMPARE(c.client(1).sent, QStringList{u"soporte1|Grúa en camino"_s});
        // Lower-case "para" before the server, the nickname held there.
        QCOMPARE(c.log(w), QStringList{u"02/03 09:06:07 De prov1_ para soporte1(Alpha)\r\n"
                                       u"Grúa en camino"_s});
        QVERIFY(Centre::message(w)->text().isEmpty());
        QVERIFY(c.h.sound.played.isEmpty()); // sending is silent
        Centre::send(w, u"\r\n\r\n"_s);
        Centre::send(w, u"uno\r\ndos"_s);
        QCOMPARE(c.client(1).sent.mid(1), QStringList{u"soporte1|unodos"_s});
    }

    // Enter sends or goes back to the message, Escape hides, minimising
    // hides too; the log stays.
    void keysAndMinimising()
    {
        Centre c;
        c.client(0).connected = true;
        wnChat &w = c.h.router().chatWindow(u"0\\Soporte"_s, u"Soporte(Lumaris)"_s);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        QTest::keyClicks(Centre::message(w), u"hola"_s);
        QTest::keyClick(Centre::message(w), Qt::Key_Return);
        QCOMPARE(c.client(0).sent, QStringList{u"Soporte|hola"_s});
        QTest::keyClick(Centre::list(w), Qt::Key_Return);
        QVERIFY(Centre::message(w)->hasFocus());
        QTest::keyClick(Centre::list(w), Qt::Key_Escape);
        QVERIFY(!w.isVisible());
        QCOMPARE(c.log(w).size(), 1);
        w.show();
        QTest::keyClick(Centre::message(w), Qt::Key_Escape);
        QVERIFY(!w.isVisible());
        w.show();
        w.setWindowState(Qt::WindowMinimized);
        QTRY_VERIFY(!w.isVisible());
    }

    // Every chat window shares one place, kept under the form's name.
    void placeIsKeptUnderTheFormsName()
    {
        Centre c;
        wnChat &w = c.alphaWindow();
        w.resize(500, 420);
        w.move(30, 40);
        w.show();
        w.hide();
        const QByteArray ini = test::readBytes(c.h.path(u"Orvex.ini"_s));
        QVERIFY2(ini.contains("[wnChat]\r\n-Left=30\r\n-Top=40\r\n-Width=500\r\n-Height=420\r\n"),
                 ini.constData());
        wnChat again(wnChatContext{c.h.adds.get(), &c.h.router(), c.h.folder.path()});
        QCOMPARE(QRect(again.pos(), again.size()), QRect(30, 40, 500, 420));
    }

    // OK asks for what is missing, opens each chat once, and stays open.
    void theDestinationDialog()
    {
        Centre c;
        c.h.router().listDestinations();
        wnChatTo &d = c.h.router().destinationDialog();
        const auto &windows = c.h.router().windows();
        d.show();
        QVERIFY(QTest::qWaitForWindowExposed(&d));
        d.OKButton_Click();
        QVERIFY(d.ComboServer()->hasFocus() && windows.empty());
        d.ComboServer()->setCurrentIndex(0);
        QCOMPARE(d.ComboDestinos()->count(), 1);
        d.OKButton_Click();
        QVERIFY(d.ComboDestinos()->hasFocus() && windows.empty());
        d.ComboDestinos()->setCurrentIndex(0);
        d.OKButton_Click();
        d.OKButton_Click();
        QCOMPARE(windows.size(), size_t(1));
        QCOMPARE(windows[0]->Tag() + windows[0]->windowTitle(), u"1\\soporte1soporte1(Alpha)"_s);
        QVERIFY(windows[0]->isVisible() && d.isVisible());
        // The same nickname on the other server is another chat; Enter steps
        // to the next nickname and opens its chat.
        d.ComboServer()->setCurrentIndex(1);
        QCOMPARE(d.ComboDestinos()->count(), 2);
        d.ComboDestinos()->setCurrentIndex(0);
        QTest::keyClick(d.ComboDestinos(), Qt::Key_Return);
        QCOMPARE(windows.size(), size_t(2));
        QCOMPARE(windows[1]->Tag(), u"0\\soporte2"_s);
        d.CancelButton_Click();
        QVERIFY(!d.isVisible());
        QCOMPARE(d.ComboDestinos()->currentText(), u"soporte2"_s);
    }
};

QTEST_MAIN(TestChat)
#include "tst_chat.moc"
