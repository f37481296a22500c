#pragma once
// A program folder as the installer leaves it (the settings file, the
// resources beside the program) and the main form on it, with every
// collaborator a fake the test drives: the clock, the pings, the tray, the
// boxes, the processes and windows, the sounds.
#include "app/wnPrincipal.h"
#include "common/FakeClock.h"
#include "common/FakeIrcClient.h"
#include "common/FakeProbes.h"
#include "common/FakeServices.h"
#include "common/FakeSystem.h"
#include "common/TestSupport.h"
#include "platform/ProcessWindows.h"
#include "platform/SocketX.h"
#include "support/Adds.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <memory>

namespace orvex::test {

// A socket that never resolves a name and never connects.
class OfflineSocket final : public platform::SocketX
{
public:
    bool Create() override
    {
        raiseError(10065, QStringLiteral("sin red en esta prueba"));
        return false;
    }
    bool Connect() override { return Create(); }
    bool SendTo(const QByteArray &, const QString &, qint32) override { return Create(); }
};

// "[Centro] Host" names the home server; the compiled-in default is a
// public name, which no test may reach.
inline bool namesLoopbackCentre(const QByteArray &ini)
{
    return ini.contains("[Centro]\r\nHost=127.");
}

struct AgentHarness
{
    // Offline: every keep-alive and upload fails at once without leaving the
    // test. Loopback: the real socket, for tests with their own servers; only
    // a folder that names a loopback centre may use it.
    enum class Network { Offline, Loopback };

    // `ini` null: no settings file at all.
    // `realProcesses`: programs the form starts really run (the archiver).
    explicit AgentHarness(const QByteArray &ini, const QString &commandLine = {},
                          Network network = Network::Offline, bool realProcesses = false)
    {
        if (!ini.isNull())
            writeBytes(folder.filePath(QStringLiteral("Orvex.ini")), ini);
        const QDir source(qEnvironmentVariable("ORVEX_SOURCE_DIR") + QStringLiteral("/resources"));
        QDir(folder.path()).mkdir(QStringLiteral("resources"));
        for (const QString &f : source.entryList(QDir::Files))
            QFile::copy(source.filePath(f), folder.filePath(QStringLiteral("resources/") + f));
        if (network == Network::Offline || !namesLoopbackCentre(ini))
            offline = std::make_unique<OfflineSocket>();
        if (realProcesses)
            systemProcesses = platform::createProcessWindows();
        adds = std::make_unique<Adds>(
            AddsServices{.processWindows = realProcesses ? systemProcesses.get() : &windows,
                         .sound = &sound,
                         .messageBoxes = &boxes,
                         .tray = &tray,
                         .clock = &clock});
        wnPrincipalContext c;
        c.adds = adds.get();
        c.messageBoxes = &boxes;
        c.instance = &instance;
        c.programFolder = folder.path();
        c.commandLine = commandLine;
        c.endProgram = [this] { ++ended; };
        c.clock = &clock;
        c.net = &probes.net;
        c.socket = offline.get();
        c.makeChatClient = [this] {
            auto chat = std::make_unique<FakeIrcClient>();
            chats.push_back(chat.get());
            return chat;
        };
        form = std::make_unique<wnPrincipal>(c);
    }

    QString path(const QString &name) const { return folder.filePath(name); }

    QTemporaryDir folder;
    FakeClock clock;
    FakeTrayBackend tray;
    FakeMessageBoxes boxes;
    FakeSingleInstance instance;
    FakeSound sound;
    FakeProcessWindows windows;
    std::unique_ptr<platform::ProcessWindows> systemProcesses;
    FakeNet probes;
    std::unique_ptr<OfflineSocket> offline;
    // The chat connections the form made, in the order it made them: the
    // INI's "V2" servers, then the support server's.
    std::vector<FakeIrcClient *> chats;
    std::unique_ptr<Adds> adds;
    std::unique_ptr<wnPrincipal> form;
    int ended = 0;
};

} // namespace orvex::test
