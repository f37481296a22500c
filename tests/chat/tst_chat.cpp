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
    }
    test::FakeIrcClient &client(int server) { return *h.chats[server == 0 ? 1 : 0]; }
    wnChat &alpha() { return h.router().chatWindow(u"1\\soporte1"_s, u"soporte1(Alpha)"_s); }
    static QLineEdit *message(wnChat &w) { return w.findChild<QLineEdit *>(u"Mensaje"_s); }
    static QListWidget *list(wnChat &w) { return w.findChild<QListWidget *>(u"ListaMensajes"_s); }
    static QStringList log(wnChat &w)
    {
        QStringList out;
        for (int i = 0; i < list(w)->count(); ++i)
            out << list(w)->item(i)->data(Qt::UserRole).toString();
        return out;
    }

    test::AgentHarness h{"[DynIP]\r\nDynIP Server 1=Alpha/prov1/127.0.0.1/V2\r\n"};
    ServerTable &table = h.table();
};

} // namespace

class TestChat : public QObject
{
    Q_OBJECT
private slots:
    // A hidden window shows and announces the conversation before the
    // message; the sender goes in brackets after the server's name.
    void anIncomingMessageShowsAndSounds()
    {
        Centre c;
        wnChat &w = c.alpha();
        w.Chat_Msg(u"soporte1"_s, u"Alpha"_s, u"~s@h"_s, u"Hola, ¿cómo va?"_s, u"prov1"_s);
        QVERIFY(w.isVisible());
        QCOMPARE(c.h.sound.played,
                 (QStringList{c.h.path(u"resources/chat_nuevo.wav*1"_s),
                              c.h.path(u"resources/chat_mensajeentrante.wav*1"_s)}));
        QCOMPARE(c.log(w), QStringList{u"02/03 09:05:07 De Alpha(soporte1) Para prov1\r\n"
                                       u"Hola, ¿cómo va?"_s});
        QCOMPARE(Centre::list(w)->currentRow(), 0); // scrolled to the newest
        // Hidden, it leaves its place to the next chat window.
        w.resize(420, 310);
        w.hide();
        QVERIFY(test::readBytes(c.h.path(u"Orvex.ini"_s)).contains("\r\n[wnChat]\r\n-Left="));
        QCOMPARE(c.h.router().chatWindow(u"0\\soporte2"_s, {}).size(), QSize(420, 310));
    }

    // Nothing goes (nor is logged) without a connection and the text is kept;
    // line breaks are dropped; sending is silent.
    void sendingFollowsTheConnection()
    {
        Centre c;
        wnChat &w = c.alpha();
        c.client(1).nick = u"prov1_"_s;
        Centre::message(w)->setText(u"Grúa en camino"_s);
        w.cmdEnviar_Click();
        QVERIFY(c.client(1).sent.isEmpty() && c.log(w).isEmpty());
        c.client(1).connected = true;
        c.h.clock.advanceSeconds(60);
        w.cmdEnviar_Click();
        QCOMPARE(c.log(w), QStringList{u"02/03 09:06:07 De prov1_ para soporte1(Alpha)\r\n"
                                       u"Grúa en camino"_s});
        QVERIFY(Centre::message(w)->text().isEmpty() && c.h.sound.played.isEmpty());
        Centre::message(w)->setText(u"uno\r\ndos"_s);
        w.cmdEnviar_Click();
        QCOMPARE(c.client(1).sent,
                 (QStringList{u"soporte1|Grúa en camino"_s, u"soporte1|unodos"_s}));
    }

    // OK asks for what is missing, opens each chat once, and stays open; the
    // same nickname on another server is another chat; Enter goes from the
    // server to the nicknames, steps to the next nickname and opens its chat.
    void theDestinationDialog()
    {
        Centre c;
        c.h.router().listDestinations();
        wnChatTo &d = c.h.router().destinationDialog();
        const auto &windows = c.h.router().windows();
        d.show();
        QVERIFY(QTest::qWaitForWindowExposed(&d));
        d.OKButton_Click();
        QVERIFY(d.ComboServer()->hasFocus());
        d.ComboServer()->setCurrentIndex(0);
        d.OKButton_Click();
        QVERIFY(d.ComboDestinos()->hasFocus() && windows.empty());
        d.ComboServer()->setFocus();
        QTest::keyClick(d.ComboServer(), Qt::Key_Return); // on to the nicknames
        QVERIFY(d.ComboDestinos()->hasFocus());
        d.ComboDestinos()->setCurrentIndex(0);
        d.OKButton_Click();
        d.OKButton_Click();
        QCOMPARE(windows.size(), size_t(1));
        QCOMPARE(windows[0]->Tag() + windows[0]->windowTitle(), u"1\\soporte1soporte1(Alpha)"_s);
        QVERIFY(windows[0]->isVisible() && d.isVisible());
        d.ComboServer()->setCurrentIndex(1);
        d.ComboDestinos()->setCurrentIndex(0);
        QTest::keyClick(d.ComboDestinos(), Qt::Key_Return);
        QCOMPARE(windows.size(), size_t(2));
        QCOMPARE(windows[1]->Tag(), u"0\\soporte2"_s);
    }
};

QTEST_MAIN(TestChat)
#include "tst_chat.moc"
