#pragma once
// A program folder as the installer leaves it (the settings file, the
// resources) and every service of the agent as a fake the test drives: the
// clock, the pings, the tray, the boxes, the processes, the sounds, the chat
// connections. The pieces of the main window (the server table, the chat
// router, the scan cycle) are built on it one by one, or the whole form.
#include "app/ChatRouter.h"
#include "app/ScanCycle.h"
#include "app/wnPrincipal.h"
#include "common/FakeClock.h"
#include "common/FakeFileTransfer.h"
#include "common/FakeIrcClient.h"
#include "common/FakeProbes.h"
#include "common/FakeServices.h"
#include "common/FakeSystem.h"
#include "common/FakeWindowPin.h"
#include "common/TestSupport.h"
#include "platform/ShellFolders.h"
#include "platform/SocketX.h"
#include "support/Adds.h"

namespace orvex::test {

// A socket that never resolves a name and never connects.
struct OfflineSocket final : platform::SocketX
{
    bool Create() override
    {
        raiseError(10065, QStringLiteral("sin red en esta prueba"));
        return false;
    }
    bool Connect() override { return Create(); }
    bool SendTo(const QByteArray &, const QString &, qint32) override { return Create(); }
};

struct AgentHarness
{
    // Offline: every keep-alive and upload fails at once without leaving the
    // test. Loopback: the real socket, for tests with servers of their own;
    // only settings that name a loopback centre ("[Centro] Host=127.") may
    // use it, since the centre's own name is a public one.
    enum class Network { Offline, Loopback };

    explicit AgentHarness(const QByteArray &ini, Network network = Network::Offline)
    {
        writeBytes(path(QStringLiteral("Orvex.ini")), ini);
        const QDir source(qEnvironmentVariable("ORVEX_SOURCE_DIR") + QStringLiteral("/resources"));
        QDir(folder.path()).mkdir(QStringLiteral("resources"));
        for (const QString &f : source.entryList(QDir::Files))
            QFile::copy(source.filePath(f), path(QStringLiteral("resources/") + f));
        const bool loopback = network == Network::Loopback && ini.contains("[Centro]\r\nHost=127.");
        socket =
            loopback ? std::make_unique<platform::SocketX>() : std::make_unique<OfflineSocket>();
        adds = std::make_unique<Adds>(AddsServices{.processWindows = &windows,
                                                   .sound = &sound,
                                                   .messageBoxes = &boxes,
                                                   .tray = &tray,
                                                   .clock = &clock});
    }

    QString path(const QString &name) const { return folder.filePath(name); }

    ServerTable::ChatClientFactory chatFactory()
    {
        return [this] {
            return std::unique_ptr<FakeIrcClient>(chats.emplace_back(new FakeIrcClient));
        };
    }

    // The pieces on their own: the table read from the settings, the chat
    // windows over it, and the scan cycle over both.
    ServerTable &table()
    {
        if (!m_table) {
            m_table = std::make_unique<ServerTable>(*adds, path(QStringLiteral("Orvex.ini")),
                                                    chatFactory());
            m_table->chooseHomeServer(commandLine);
            m_table->read();
        }
        return *m_table;
    }
    ChatRouter &router()
    {
        if (!m_router)
            m_router = std::make_unique<ChatRouter>(*adds, table(), folder.path());
        return *m_router;
    }
    ScanCycle &scan()
    {
        if (!m_scan)
            m_scan = std::make_unique<ScanCycle>(ScanCycle::Parts{
                .adds = *adds,
                .socket = *socket,
                .net = probes.net,
                .servers = table(),
                .chats = router(),
                .programFolder = folder.path(),
                .iniPath = path(QStringLiteral("Orvex.ini")),
            });
        return *m_scan;
    }

    // The whole main window on the same services.
    wnPrincipal &form()
    {
        if (!m_form)
            m_form = std::make_unique<wnPrincipal>(wnPrincipalContext{
                .adds = *adds,
                .messageBoxes = boxes,
                .socket = *socket,
                .net = probes.net,
                .transfer = transfer,
                .shellFolders = *shellFolders,
                .windowPin = pin,
                .makeChatClient = chatFactory(),
                .endProgram = [this] { ++ended; },
                .instance = &instance,
                .programFolder = folder.path(),
                .commandLine = commandLine,
                .agentProgram = path(QStringLiteral("Orvex")),
            });
        return *m_form;
    }

    QTemporaryDir folder;
    QString commandLine;
    FakeClock clock;
    FakeTrayBackend tray;
    FakeMessageBoxes boxes;
    FakeSingleInstance instance;
    FakeSound sound;
    FakeProcessWindows windows;
    FakeFileTransfer transfer;
    FakeWindowPin pin;
    FakeNet probes;
    std::unique_ptr<platform::ShellFolders> shellFolders = platform::createShellFolders();
    std::unique_ptr<platform::SocketX> socket;
    // The chat connections made, in order: the settings' "V2" servers, then
    // the support server's.
    std::vector<FakeIrcClient *> chats;
    std::unique_ptr<Adds> adds;
    int ended = 0;

private:
    std::unique_ptr<ServerTable> m_table;
    std::unique_ptr<ChatRouter> m_router;
    std::unique_ptr<ScanCycle> m_scan;
    std::unique_ptr<wnPrincipal> m_form;
};

} // namespace orvex::test
