#pragma once
// The collaborators the utility class works through. Production wires the
// real platform implementations; tests pass fakes. A null pointer means "not
// available": the routines that need it report failure by their result.

namespace orvex::platform {
class ProcessWindows;
class SoundPlayer;
class MessageBoxes;
class TrayBackend;
class ConnectionState;
} // namespace orvex::platform

namespace orvex {

class Clock;

struct AddsServices
{
    platform::ProcessWindows *processWindows = nullptr;
    platform::SoundPlayer *sound = nullptr;
    platform::MessageBoxes *messageBoxes = nullptr;
    platform::TrayBackend *tray = nullptr;
    platform::ConnectionState *connectionState = nullptr;
    const Clock *clock = nullptr;
};

} // namespace orvex
