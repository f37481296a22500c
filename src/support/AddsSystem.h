#pragma once
// Process, window, sound and system-menu routines of the utility class. The
// window and process work goes through the ProcessWindows seam and sounds
// through the SoundPlayer; without them the routines report failure.
#include "support/AddsServices.h"

#include <QString>
#include <QStringList>
#include <QVariant>
#include <QtGlobal>

#include <optional>

namespace orvex {

class Clock;

class AddsSystem
{
public:
    explicit AddsSystem(const AddsServices &services);

    // Starts `commandLine` (handles inherited) and waits, with events still
    // running, until it ends or `timeoutSeconds` have passed; no limit when
    // absent or negative. The exit code is not read. `unused` is accepted for
    // the callers' sake only.
    void Win_RunAppAndWait(const QString &commandLine, const QVariant &unused = {},
                           std::optional<qint32> timeoutSeconds = std::nullopt);

    // Starts `commandLine` in a normal window and does not wait for it.
    bool Win_RunApp(const QString &commandLine, const QString &workingDirectory = {});

    // Asks a window to close: the argument is a window handle when it is all
    // digits, else the exact title of a top-level window. Returns at once;
    // nothing happens when no such window exists.
    void App_Close(const QString &titleOrHandle);

    // True when a top-level window has `name` as its title, or else as its
    // window class.
    bool App_IsRunningForNT(const QString &name);

    // Plays the WAV file `count` times; synchronous play waits (events still
    // running) until it has ended. 1 when the sound started, 0 otherwise.
    qint16 Sonido_PlayWav(const QString &file, qint16 count, bool async);

    // Waits `seconds` of the clock's time while events keep running.
    void DateTime_PausaTimer(double seconds);

    // The computer's name; empty when the system does not say.
    QString NET_CurrentMachineName();

    // Deletes the item at zero-based `position` of the window's system menu.
    // False where windows have no such menu: the caller then drops the close
    // button through the toolkit instead.
    bool Win_DeleteSystemMenuItem(quint64 window, int position);

    // Appends a separator and the maker's credit lines (aboutLines()) to the
    // window's system menu. False where windows have no such menu.
    bool Lumaris_AgregarAboutEnMenu(quint64 window);

    static QStringList aboutLines();

private:
    platform::ProcessWindows *m_processWindows = nullptr;
    platform::SoundPlayer *m_sound = nullptr;
    const Clock &m_clock;
};

} // namespace orvex
