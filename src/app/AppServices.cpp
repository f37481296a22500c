#include "app/AppServices.h"

#include "platform/ConnectionState.h"
#include "platform/ProcessWindows.h"
#include "platform/SoundPlayer.h"
#include "platform/TrayBackend.h"

#include <QLoggingCategory>
#include <QtGlobal>

Q_LOGGING_CATEGORY(lcMessages, "orvex.messages")

namespace orvex {
namespace {

class ScriptedMessageBoxes final : public platform::MessageBoxes
{
public:
    explicit ScriptedMessageBoxes(platform::Answer answer) : m_answer(answer) {}

    platform::Answer question(const QString &title, const QString &text) override
    {
        qCInfo(lcMessages).noquote() << "question" << title << ":" << text << "->"
                                     << (m_answer == platform::Answer::Yes ? "yes" : "no");
        return m_answer;
    }

    void exclamation(const QString &title, const QString &text) override
    {
        qCInfo(lcMessages).noquote() << "exclamation" << title << ":" << text;
    }

private:
    platform::Answer m_answer;
};

std::unique_ptr<platform::MessageBoxes> chooseMessageBoxes()
{
    const QString scripted = qEnvironmentVariable("ORVEX_ANSWER").toLower();
    if (scripted == QStringLiteral("yes"))
        return createScriptedMessageBoxes(platform::Answer::Yes);
    if (scripted == QStringLiteral("no"))
        return createScriptedMessageBoxes(platform::Answer::No);
    return platform::createMessageBoxes();
}

} // namespace

std::unique_ptr<platform::MessageBoxes> createScriptedMessageBoxes(platform::Answer answer)
{
    return std::make_unique<ScriptedMessageBoxes>(answer);
}

AppServices::AppServices()
    : m_messageBoxes(chooseMessageBoxes()), m_tray(platform::createTrayBackend()),
      m_processWindows(platform::createProcessWindows()), m_sound(platform::createSoundPlayer()),
      m_connectionState(platform::createConnectionState())
{
    AddsServices services;
    services.processWindows = m_processWindows.get();
    services.sound = m_sound.get();
    services.messageBoxes = m_messageBoxes.get();
    services.tray = m_tray.get();
    services.connectionState = m_connectionState.get();
    services.clock = &m_clock;
    m_adds = std::make_unique<Adds>(services);
}

AppServices::~AppServices()
{
    // The utility object talks to the services: it goes first.
    m_adds.reset();
}

} // namespace orvex
