#pragma once
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

// The real platform services and the one shared utility object, wired
// together for the running program.
class AppServices
{
public:
    AppServices();
    ~AppServices();

    Adds &adds() { return *m_adds; }
    platform::MessageBoxes &messageBoxes() { return *m_messageBoxes; }

private:
    SystemClock m_clock;
    std::unique_ptr<platform::MessageBoxes> m_messageBoxes;
    std::unique_ptr<platform::TrayBackend> m_tray;
    std::unique_ptr<platform::ProcessWindows> m_processWindows;
    std::unique_ptr<platform::SoundPlayer> m_sound;
    std::unique_ptr<platform::ConnectionState> m_connectionState;
    std::unique_ptr<Adds> m_adds;
};

// Boxes answered without a person, for unattended runs: set ORVEX_ANSWER to
// "yes" or "no"; ORVEX_INPUT, when set, is typed into every input box (else
// it is cancelled). Each box is written to the log.
std::unique_ptr<platform::MessageBoxes> createScriptedMessageBoxes(platform::Answer answer);

} // namespace orvex
