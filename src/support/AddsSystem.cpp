#include "support/AddsSystem.h"

#include "platform/MachineName.h"
#include "platform/ProcessWindows.h"
#include "platform/SoundPlayer.h"
#include "platform/SystemMenu.h"
#include "support/AddsUtilities.h"
#include "support/Clock.h"
#include "support/EventWait.h"

#include <QLoggingCategory>

#include <algorithm>
#include <climits>
#include <cmath>
#include <string>
#include <vector>

namespace orvex {

Q_LOGGING_CATEGORY(lcSystem, "orvex.system")

namespace {

// How often a wait looks again at a child process or a sound; neither
// announces its end with an event.
constexpr int PollMs = 50;

bool isAllDigits(const QString &text)
{
    return !text.isEmpty() &&
           std::all_of(text.begin(), text.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
}

} // namespace

AddsSystem::AddsSystem(const AddsServices &services)
    : m_processWindows(services.processWindows), m_sound(services.sound),
      m_clock(clockOr(services.clock))
{}

void AddsSystem::Win_RunAppAndWait(const QString &commandLine, const QVariant &unused,
                                   std::optional<qint32> timeoutSeconds)
{
    Q_UNUSED(unused);
    if (!m_processWindows) {
        qCWarning(lcSystem) << "no process service; not started:" << commandLine;
        return;
    }
    const platform::ProcessToken process =
        m_processWindows->startProcess(commandLine.toStdString(), {}, platform::StartMode::Inherit);
    if (process == 0) {
        qCWarning(lcSystem) << "could not start:" << commandLine;
        return;
    }
    int timeoutMs = -1;
    if (timeoutSeconds && *timeoutSeconds >= 0)
        timeoutMs = static_cast<int>(std::min<qint64>(qint64(*timeoutSeconds) * 1000, INT_MAX));
    const bool ended =
        waitUntil([&] { return !m_processWindows->isRunning(process); }, timeoutMs, PollMs);
    if (!ended)
        qCInfo(lcSystem) << "still running, not waited for:" << commandLine;
    m_processWindows->release(process);
}

bool AddsSystem::Win_RunApp(const QString &commandLine, const QString &workingDirectory)
{
    if (!m_processWindows)
        return false;
    const platform::ProcessToken process =
        m_processWindows->startProcess(commandLine.toStdString(), workingDirectory.toStdString(),
                                       platform::StartMode::NormalWindow);
    if (process == 0) {
        qCWarning(lcSystem) << "could not start:" << commandLine;
        return false;
    }
    m_processWindows->release(process);
    return true;
}

void AddsSystem::App_Close(const QString &titleOrHandle)
{
    if (!m_processWindows)
        return;
    const QString text = titleOrHandle.trimmed();
    // An overlong number gives handle 0, which closes nothing.
    const platform::WindowHandle window =
        isAllDigits(text) ? text.toULongLong()
                          : m_processWindows->findWindowByTitle(titleOrHandle.toStdString());
    if (window == 0)
        return;
    if (!m_processWindows->postClose(window))
        qCInfo(lcSystem) << "close request not delivered to" << titleOrHandle;
}

bool AddsSystem::App_IsRunningForNT(const QString &name)
{
    if (!m_processWindows)
        return false;
    return m_processWindows->findWindowByTitleOrClass(name.toStdString()) != 0;
}

qint16 AddsSystem::Sonido_PlayWav(const QString &file, qint16 count, bool async)
{
    if (!m_sound || count < 1)
        return 0;
    if (!m_sound->play(toLocalPath(file), count)) {
        qCInfo(lcSystem) << "cannot play" << file;
        return 0;
    }
    if (!async)
        waitUntil([this] { return !m_sound->isPlaying(); }, -1, PollMs);
    return 1;
}

void AddsSystem::DateTime_PausaTimer(double seconds)
{
    if (!(seconds > 0))
        return;
    const double ms = std::min(std::round(seconds * 1000.0), double(INT_MAX));
    m_clock.pause(static_cast<int>(ms));
}

QString AddsSystem::NET_CurrentMachineName()
{
    return QString::fromStdString(platform::machineName());
}

bool AddsSystem::Win_DeleteSystemMenuItem(quint64 window, int position)
{
    return platform::deleteSystemMenuItem(window, position);
}

bool AddsSystem::Lumaris_AgregarAboutEnMenu(quint64 window)
{
    std::vector<std::string> lines;
    for (const QString &line : aboutLines())
        lines.push_back(line.toStdString());
    return platform::appendSystemMenuLines(window, lines);
}

QStringList AddsSystem::aboutLines()
{
    return {
        QStringLiteral("Sendaro - Lumaris Software"),
        QStringLiteral("Desarrollo: Joaquín Ferreyra Albornoz"),
        QStringLiteral("Puerto Alcázar - Argentina"),
        QStringLiteral("Web: www.lumaris-software.example"),
        QStringLiteral("Correo: soporte@lumaris-software.example"),
    };
}

} // namespace orvex
