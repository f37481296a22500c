#include "chat/ChatDirectory.h"
#include "chat/wnChat.h"
#include "chat/wnChatTo.h"
#include "common/FakeClock.h"
#include "common/FakeIrcClient.h"
#include "common/FakeSystem.h"
#include "common/TestSupport.h"
#include "support/Adds.h"
#include "ui_wnChat.h"
#include "ui_wnChatTo.h"

#include <QListWidget>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

// Two servers of the centre and the chat windows opened on them.
struct Centre final : ChatDirectory
{
    Centre()
    {
        QDir(folder.path()).mkdir(u"resources"_s);
        for (const char *f : {"chat_nuevo.wav", "chat_mensajeentrante.wav",
                              "chat_mensajeentrante.ico", "chat_mensajesaliente.ico"})
            QFile::copy(qEnvironmentVariable("ORVEX_SOURCE_DIR") + u"/resources/"_s +
                            QString::fromLatin1(f),
                        folder.filePath(u"resources/"_s + QString::fromLatin1(f)));
        clients[0].names = {u"soporte1"_s, u"soporte2"_s};
        clients[1].names = {u"soporte1"_s};
        for (auto &c : clients)
            c.setNickName(u"prov1"_s);
        test::writeBytes(folder.filePath(u"Orvex.ini"_s), "[A]\r\nk=v\r\n");
        adds.INI_SetFileName(folder.filePath(u"Orvex.ini"_s));
    }
    QString serverName(int i) const override { return i == 0 ? u"Sendaro"_s : u"Alpha"_s; }
    platform::IrcClient *chatClient(int i) const override
    {
        return i == 0 || i == 1 ? const_cast<test::FakeIrcClient *>(&clients[i]) : nullptr;
    }
    wnChat &chatWindow(const QString &key, const QString &caption) override
    {
        for (auto it = windows.rbegin(); it != windows.rend(); ++it)
            if ((*it)->Tag() == key)
                return **it;
        windows.push_back(std::make_unique<wnChat>(context()));
        windows.back()->setTag(key);
        windows.back()->setWindowTitle(caption);
        return *windows.back();
    }
    wnChatContext context() { return {&adds, this, folder.path()}; }
    QStringList log(wnChat &w) const
    {
        QStringList out;
        for (int i = 0; i < w.ui().ListaMensajes->count(); ++i)
            out << w.ui().ListaMensajes->item(i)->data(Qt::UserRole).toString();
        return out;
    }

    QTemporaryDir folder;
    test::FakeClock clock{QDateTime(QDate(2026, 3, 2), QTime(9, 5, 7))};
    test::FakeSound sound;
    Adds adds{AddsServices{.sound = &sound, .clock = &clock}};
    test::FakeIrcClient clients[2];
    std::vector<std::unique_ptr<wnChat>> windows;
};

} // namespace

class TestChat : public QObject
{
    Q_OBJECT
private slots:
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
        QFETCH(QStringList, sounds);
        Centre c;
        wnChat &w = c.chatWindow(u"1\\soporte1"_s, u"soporte1(Alpha)"_s);
        if (visible) {
            w.show();
            QVERIFY(QTest::qWaitForWindowExposed(&w));
        }
        w.Chat_Msg(u"soporte1"_s, u"Alpha"_s, u"~s@h"_s, u"Hola, ¿cómo va?"_s, u"prov1"_s);
        QVERIFY(w.isVisible());
        QStringList played;
        for (const QString &s : c.sound.played)
            played << QFileInfo(s.section(u'*', 0, 0)).fileName();
        QCOMPARE(played, sounds);
        // The sender in brackets after the server's name; capital "Para".
        QCOMPARE(c.log(w), QStringList{u"02/03 09:05:07 De Alpha(soporte1) Para prov1\r\n"
                                       u"Hola, ¿cómo va?"_s});
        QVERIFY(!w.ui().ListaMensajes->item(0)->icon().isNull());
        QCOMPARE(w.ui().ListaMensajes->currentRow(), 0); // scrolled to the newest
    }

    void sendingFollowsTheConnection()
    {
        Centre c;
        wnChat &w = c.chatWindow(u"1\\soporte1"_s, u"soporte1(Alpha)"_s);
        c.clients[1].nick = u"prov1_"_s;
        w.ui().Mensaje->setText(u"Grúa en camino"_s);
        w.cmdEnviar_Click(); // not connected: nothing goes, nothing logged, text kept
        QVERIFY(c.clients[1].sent.isEmpty());
        QVERIFY(c.log(w).isEmpty());
        QCOMPARE(w.ui().Mensaje->text(), u"Grúa en camino"_s);

        c.clients[1].connected = true;
        c.clock.advanceSeconds(60);
        w.cmdEnviar_Click();
        QCOMPARE(c.clients[1].sent, QStringList{u"soporte1|Grúa en camino"_s});
        // Lower-case "para" before the server, the nickname held there.
        QCOMPARE(c.log(w), QStringList{u"02/03 09:06:07 De prov1_ para soporte1(Alpha)\r\n"
                                       u"Grúa en camino"_s});
        QVERIFY(w.ui().Mensaje->text().isEmpty());
        QVERIFY(c.sound.played.isEmpty()); // sending is silent

        w.ui().Mensaje->setText(u"\r\n\r\n"_s); // only line breaks: nothing
        w.cmdEnviar_Click();
        QCOMPARE(c.clients[1].sent.size(), 1);
        w.ui().Mensaje->setText(u"uno\r\ndos"_s);
        w.cmdEnviar_Click();
        QCOMPARE(c.clients[1].sent.last(), u"soporte1|unodos"_s);
    }

    void keysAndMinimising()
    {
        Centre c;
        c.clients[0].connected = true;
        wnChat &w = c.chatWindow(u"0\\Soporte"_s, u"Soporte(Lumaris)"_s);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        QTest::keyClicks(w.ui().Mensaje, u"hola"_s);
        QTest::keyClick(w.ui().Mensaje, Qt::Key_Return);
        QCOMPARE(c.clients[0].sent, QStringList{u"Soporte|hola"_s});
        QTest::keyClick(w.ui().ListaMensajes, Qt::Key_Return);
        QVERIFY(w.ui().Mensaje->hasFocus());
        QTest::keyClick(w.ui().ListaMensajes, Qt::Key_Escape);
        QVERIFY(!w.isVisible());
        QCOMPARE(c.log(w).size(), 1); // the log stays
        w.show();
        QTest::keyClick(w.ui().Mensaje, Qt::Key_Escape);
        QVERIFY(!w.isVisible());
        w.show();
        w.setWindowState(Qt::WindowMinimized);
        QTRY_VERIFY(!w.isVisible());
    }

    void placeIsKeptUnderTheFormsName()
    {
        Centre c;
        {
            wnChat &w = c.chatWindow(u"0\\Soporte"_s, u"Soporte(Lumaris)"_s);
            w.resize(500, 420);
            w.move(30, 40);
            w.show();
            w.hide();
        }
        const QByteArray ini = test::readBytes(c.folder.filePath(u"Orvex.ini"_s));
        QVERIFY2(ini.contains("[wnChat]\r\n-Left=30\r\n-Top=40\r\n-Width=500\r\n-Height=420\r\n"),
                 ini.constData());
        wnChat again(c.context());
        QCOMPARE(again.size(), QSize(500, 420));
        QCOMPARE(again.pos(), QPoint(30, 40));
    }

    // Run by hand under a real display (ORVEX_SCREENSHOTS=folder) to look at
    // a conversation as a dispatcher sees it.
    void pictureOfAConversation()
    {
        const QString folder = qEnvironmentVariable("ORVEX_SCREENSHOTS");
        if (folder.isEmpty())
            QSKIP("ORVEX_SCREENSHOTS names no folder for pictures");
        Centre c;
        c.clients[1].connected = true;
        wnChat &w = c.chatWindow(u"1\\soporte1"_s, u"soporte1(Alpha)"_s);
        w.Chat_Msg(u"soporte1"_s, u"Alpha"_s, {},
                   u"Buen día, ¿tienen móvil libre para un "
                   u"auxilio en Ruta 5 km 120?"_s,
                   u"prov1"_s);
        c.clock.advanceSeconds(40);
        w.ui().Mensaje->setText(u"Sí, sale la grúa 3 en 10 minutos."_s);
        w.cmdEnviar_Click();
        c.clock.advanceSeconds(75);
        w.Chat_Msg(u"soporte1"_s, u"Alpha"_s, {}, u"Perfecto, gracias."_s, u"prov1"_s);
        w.ui().Mensaje->setText(u"Le aviso al llegar"_s);
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        QVERIFY(w.grab().save(folder + u"/chat-window.png"_s));
    }

    void theDestinationDialog()
    {
        Centre c;
        wnChatTo d(&c);
        d.addServer(u"Alpha"_s, 1);
        d.addServer(u"Sendaro"_s, 0);
        d.show();
        QVERIFY(QTest::qWaitForWindowExposed(&d));
        d.OKButton_Click(); // nothing chosen
        QVERIFY(d.ComboServer()->hasFocus());
        QVERIFY(c.windows.empty());

        d.ComboServer()->setCurrentIndex(0);
        QCOMPARE(d.ComboDestinos()->count(), 1);
        d.OKButton_Click(); // a server but no nickname
        QVERIFY(d.ComboDestinos()->hasFocus());
        QVERIFY(c.windows.empty());

        d.ComboDestinos()->setCurrentIndex(0);
        d.OKButton_Click();
        d.OKButton_Click(); // the same chat again: the same window
        QCOMPARE(c.windows.size(), size_t(1));
        QCOMPARE(c.windows[0]->Tag(), u"1\\soporte1"_s);
        QCOMPARE(c.windows[0]->windowTitle(), u"soporte1(Alpha)"_s);
        QVERIFY(c.windows[0]->isVisible());
        QVERIFY(d.isVisible()); // the dialog stays for the next

        // The same nickname on the other server is another chat.
        d.ComboServer()->setCurrentIndex(1);
        QCOMPARE(d.ComboDestinos()->count(), 2);
        d.ComboDestinos()->setCurrentIndex(0);
        // Enter steps to the next nickname and opens its chat.
        QTest::keyClick(d.ComboDestinos(), Qt::Key_Return);
        QCOMPARE(c.windows.size(), size_t(2));
        QCOMPARE(c.windows[1]->Tag(), u"0\\soporte2"_s);
        d.CancelButton_Click();
        QVERIFY(!d.isVisible());
        QCOMPARE(d.ComboDestinos()->currentText(), u"soporte2"_s); // kept
    }
};

QTEST_MAIN(TestChat)
#include "tst_chat.moc"
