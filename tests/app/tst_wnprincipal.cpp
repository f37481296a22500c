#include "app/wnPrincipal.h"
#include "chat/wnChat.h"
#include "chat/wnChatTo.h"
#include "common/FakeServices.h"
#include "common/TestSupport.h"
#include "delays/wnDemoras.h"
#include "support/Adds.h"
#include "ui_wnPrincipal.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QListWidget>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

// A program folder as the installer leaves it: the settings file and the
// resources beside the program.
struct ProgramFolder
{
    QTemporaryDir dir;

    explicit ProgramFolder(const QByteArray &ini)
    {
        test::writeBytes(dir.filePath(u"Orvex.ini"_s), ini);
        const QDir source(qEnvironmentVariable("ORVEX_SOURCE_DIR") + u"/resources"_s);
        QDir(dir.path()).mkdir(u"resources"_s);
        for (const QString &f : source.entryList(QDir::Files))
            QFile::copy(source.filePath(f), dir.filePath(u"resources/"_s + f));
    }
};

const QByteArray kIni = "; servidores del centro\r\n"
                        "[Centro]\r\n"
                        "Host=127.0.0.1\r\n"
                        "\r\n"
                        "[DynIP]\r\n"
                        "DynIP Server 1=Alpha/prov1/127.0.0.1/V2\r\n"
                        "DynIP Server 3=Beta/prov2/127.0.0.1:8000/V1/60\r\n"
                        "DynIP Server 4=Roto//127.0.0.1/V2\r\n"
                        "DynIP Server 5=Gama/prov3/127.0.0.1/V2/300\r\n"
                        "DynIP Server 7=sin barra\r\n";

struct Harness
{
    explicit Harness(const QByteArray &ini = kIni, const QString &commandLine = {}) : folder(ini)
    {
        AddsServices services;
        services.tray = &tray;
        services.messageBoxes = &boxes;
        adds = std::make_unique<Adds>(services);
        wnPrincipalContext ctx;
        ctx.adds = adds.get();
        ctx.messageBoxes = &boxes;
        ctx.programFolder = folder.dir.path();
        ctx.commandLine = commandLine;
        ctx.endProgram = [this] { ++ended; };
        form = std::make_unique<wnPrincipal>(ctx);
    }

    ProgramFolder folder;
    test::FakeTrayBackend tray;
    test::FakeMessageBoxes boxes;
    std::unique_ptr<Adds> adds;
    std::unique_ptr<wnPrincipal> form;
    int ended = 0;
};

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
    void loadBuildsTheServerTableAndTheWindow()
    {
        Harness h;
        QVERIFY(h.form->Form_Load());
        wnPrincipal &f = *h.form;

        QCOMPARE(itemTexts(f.ui().ListaDestinos),
                 (QStringList{u"Alpha\t..."_s, u"Beta\t..."_s, u"Gama\t..."_s}));

        const QString sep(43, u'-');
        QStringList actions;
        for (int i = 0; i < f.ui().Accion_Combo->count(); ++i)
            actions << f.ui().Accion_Combo->itemText(i);
        QCOMPARE(actions, (QStringList{u"Actualizar sistema por Internet"_s, sep,
                                       u"Guardar configuración por Internet"_s,
                                       u"Guardar histórico de casos por Internet"_s, sep,
                                       u"Recuperar configuración por Internet"_s,
                                       u"Recuperar histórico de casos por Internet"_s, sep}));
        QCOMPARE(f.ui().cmdAccion->text(), u"&Realizar"_s);

        QCOMPARE(f.DynIpServers.size(), size_t(4));
        const DynIpServer &alpha = f.DynIpServers[1];
        QCOMPARE(alpha.Port, u"9751"_s);
        QCOMPARE(int(alpha.KeepAliveSeconds), 120);
        QVERIFY(alpha.ChatClient);
        QCOMPARE(alpha.ChatClient->ServerHost(), u"127.0.0.1"_s);
        QCOMPARE(int(alpha.ChatClient->Port()), 9744);
        QCOMPARE(alpha.ChatClient->Channel(), u"#Alpha"_s);
        QCOMPARE(alpha.ChatClient->NickName(), u"prov1"_s);
        QCOMPARE(alpha.ChatClient->UserName(), u"prov1"_s);
        const DynIpServer &beta = f.DynIpServers[2];
        QCOMPARE(beta.Port, u"8000"_s);
        QCOMPARE(int(beta.KeepAliveSeconds), 60);
        QVERIFY(!beta.ChatClient);
        QCOMPARE(int(f.DynIpServers[3].KeepAliveSeconds), 300);

        // Element 0: the support server, with the domain of the last value
        // that had a "/" (Gama's, since "sin barra" has none).
        const DynIpServer &support = f.DynIpServers[0];
        QCOMPARE(support.Name, u"Sendaro"_s);
        QCOMPARE(support.Domain, u"prov3"_s);
        QCOMPARE(support.Host, u"127.0.0.1"_s);
        QCOMPARE(support.Port, u"9751"_s);
        QCOMPARE(support.Version, u"V2"_s);
        QCOMPARE(int(support.KeepAliveSeconds), 900);
        QCOMPARE(support.ChatClient->ServerHost(), u"127.0.0.1"_s);
        QCOMPARE(support.ChatClient->Channel(), u"#ox2k4"_s);
        QCOMPARE(support.ChatClient->NickName(), u"prov3"_s);

        // The chat destinations: every V2 entry, then the support server.
        QComboBox *combo = f.chatToDialog()->ComboServer();
        QCOMPARE(combo->count(), 3);
        QCOMPARE(combo->itemText(0), u"Alpha"_s);
        QCOMPARE(combo->itemData(0).toInt(), 1);
        QCOMPARE(combo->itemText(1), u"Gama"_s);
        QCOMPARE(combo->itemData(1).toInt(), 3);
        QCOMPARE(combo->itemText(2), u"Sendaro"_s);
        QCOMPARE(combo->itemData(2).toInt(), 0);

        QCOMPARE(f.ChatWindows.size(), size_t(1));
        QCOMPARE(f.ChatWindows[0]->Tag(), u"0\\Soporte"_s);
        QCOMPARE(f.ChatWindows[0]->windowTitle(), u"Soporte(Lumaris)"_s);
        QCOMPARE(f.mnuChat(0)->text(), u"Lumaris - Soporte técnico"_s);

        QCOMPARE(f.Tag(), u"Orvex"_s);
        QVERIFY(f.TimerScan().isActive());
        QCOMPARE(f.TimerScan().interval(), 1000);
        QVERIFY(f.delayBoard());
        QVERIFY(!f.delayBoard()->isVisible());

        // The tray icon is in, showing the first picture.
        QVERIFY(h.adds->Win_SysTrayEnable());
        QCOMPARE(h.tray.adds, 1);
        QVERIFY(!f.PicsPicture(0).isNull());
        QCOMPARE(h.tray.shownIcon.cacheKey(), f.PicsPicture(0).cacheKey());
        QCOMPARE(h.tray.shownTip, u" Orvex "_s);
        QVERIFY(h.boxes.questions.isEmpty());
    }

    void commandLineNamesTheHomeServer()
    {
        Harness h(kIni, u"127.0.0.9"_s);
        QVERIFY(h.form->Form_Load());
        QCOMPARE(h.form->homeServerHost().toString(), u"127.0.0.9"_s);
        // The support server's chat follows the home server; its keep-alive
        // host stays the centre's.
        QCOMPARE(h.form->DynIpServers[0].ChatClient->ServerHost(), u"127.0.0.9"_s);
        QCOMPARE(h.form->DynIpServers[0].Host, u"127.0.0.1"_s);
    }

    void missingSettingsLeaveTheSupportServerAlone()
    {
        Harness h(QByteArray{});
        QFile::remove(h.folder.dir.filePath(u"Orvex.ini"_s));
        QVERIFY(h.form->Form_Load());
        QCOMPARE(h.form->DynIpServers.size(), size_t(1));
        QCOMPARE(h.form->ui().ListaDestinos->count(), 0);
        QCOMPARE(h.form->DynIpServers[0].Domain, QString());
        QVERIFY(!h.form->DynIpServers[0].Host.isEmpty());
        QCOMPARE(h.form->chatToDialog()->ComboServer()->count(), 1);
    }

    void lastSlashValueSetsTheSupportDomainEvenWhenSkipped()
    {
        Harness h("[DynIP]\r\nDynIP Server 1=A/d1/127.0.0.1/V2\r\nDynIP Server "
                  "10=Beta//127.0.0.1/V2\r\n");
        QVERIFY(h.form->Form_Load());
        QCOMPARE(h.form->DynIpServers.size(), size_t(2));
        QCOMPARE(h.form->DynIpServers[0].Domain, QString());
    }

    void trayClicksDriveTheWindowAndTheMenu()
    {
        Harness h;
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
        QVERIFY(f.mnuChat(0)->isVisible());
        QVERIFY(!f.mnuChat(1)->isVisible());
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
        Harness h;
        h.tray.host = false;
        QVERIFY(h.form->Form_Load());
        wnPrincipal &f = *h.form;
        f.show();
        QVERIFY(QTest::qWaitForWindowExposed(&f));
        QVERIFY(f.ui().cmdMenu->isVisible());
        QCOMPARE(f.ui().cmdMenu->menu(), f.mnuPopUp());
        // Hiding would leave no way back: the window is minimised instead.
        f.mnuEmergente_Click(9);
        QVERIFY(f.isVisible());

        h.tray.setHost(true);
        QVERIFY(!f.ui().cmdMenu->isVisible());
        f.mnuEmergente_Click(9);
        QVERIFY(!f.isVisible());
        // The area goes away again: the window comes back.
        h.tray.setHost(false);
        QVERIFY(f.isVisible());
    }

    void closingTheProgramRemovesTheIconFirst()
    {
        Harness h;
        QVERIFY(h.form->Form_Load());
        QCOMPARE(h.form->mnuEmergente(10)->text(), u"Cerrar el programa"_s);
        h.form->mnuEmergente(10)->trigger();
        QCOMPARE(h.tray.removes, 1);
        QVERIFY(!h.adds->Win_SysTrayEnable());
        QCOMPARE(h.ended, 1);
        QVERIFY(!h.form->TimerScan().isActive());
    }

    void checkNowForcesEveryServerButTheSupportOne()
    {
        Harness h;
        QVERIFY(h.form->Form_Load());
        const QDateTime later = QDateTime::currentDateTime().addSecs(600);
        for (auto &s : h.form->DynIpServers)
            s.NextKeepAlive = later;
        h.form->mnuEmergente_Click(1);
        QCOMPARE(h.form->DynIpServers[0].NextKeepAlive, later);
        for (size_t i = 1; i < h.form->DynIpServers.size(); ++i)
            QVERIFY(h.form->DynIpServers[i].NextKeepAlive.isNull());
    }
};

QTEST_MAIN(TestWnPrincipal)
#include "tst_wnprincipal.moc"
