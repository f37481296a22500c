#pragma once
#include "app/wnPrincipal.h"
#include "platform/MessageBoxes.h"
#include "support/Adds.h"
#include "support/Clock.h"

#include <memory>

namespace orvex {

namespace platform {
class ConnectionState;
class ProcessWindows;
class SoundPlayer;
class TrayBackend;
} // namespace platform

// The one place that builds the running program's services: the real
// platform ones, the shared utility object, and what the main form is given.
class AppServices
{
public:
    AppServices();
    ~AppServices();

    Adds &adds() { return *m_adds; }
    platform::MessageBoxes &messageBoxes() { return *m_messageBoxes; }

    // What the main form works with: these services, and what the program
    // was started with.
    wnPrincipalContext formContext(platform::SingleInstance *instance, const QString &programFolder,
                                   const QString &commandLine, const QString &agentProgram,
                                   std::function<void()> endProgram);

private:
    SystemClock m_clock;
    std::unique_ptr<platform::MessageBoxes> m_messageBoxes;
    std::unique_ptr<platform::TrayBackend> m_tray;
    std::unique_ptr<platform::ProcessWindows> m_processWindows;
    std::unique_ptr<platform::SoundPlayer> m_sound;
    std::unique_ptr<platform::ConnectionState> m_connectionState;
    std::unique_ptr<Adds> m_adds;
    std::unique_ptr<platform::SocketX> m_socket;
    std::unique_ptr<Net> m_net;
    std::unique_ptr<platform::FileTransfer> m_transfer;
    std::unique_ptr<platform::ShellFolders> m_shellFolders;
    std::unique_ptr<platform::WindowPin> m_windowPin;
};

// Boxes answered without a person, for unattended runs: set ORVEX_ANSWER to
// "yes" or "no"; ORVEX_INPUT, when set, is typed into every input box (else
// it is cancelled). Each box is written to the log.
std::unique_ptr<platform::MessageBoxes> createScriptedMessageBoxes(platform::Answer answer);

} // namespace orvex
