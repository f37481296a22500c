#include "app/AppServices.h"

#include "platform/ConnectionState.h"
#include "platform/FileTransfer.h"
#include "platform/IrcClient.h"
#include "platform/ProcessWindows.h"
#include "platform/ShellFolders.h"
#include "platform/SocketX.h"
#include "platform/SoundPlayer.h"
#include "platform/TrayBackend.h"
#include "platform/WindowPin.h"
#include "support/Net.h"

#include <QLoggingCategory>
#include <QtGlobal>

#include <optional>

Q_LOGGING_CATEGORY(lcMessages, "orvex.messages")

namespace orvex {
namespace {

class ScriptedMessageBoxes final : public platform::MessageBoxes
{
public:
    ScriptedMessageBoxes(platform::Answer answer, std::optional<QString> input)
        : m_answer(answer), m_input(std::move(input))
    {}

    platform::Answer show(const platform::MessageBoxRequest &request) override
    {
        if (request.buttons == platform::BoxButtons::Ok) {
            qCInfo(lcMessages).noquote() << "message" << request.title << ":" << request.text;
            return platform::Answer::Ok;
        }
        qCInfo(lcMessages).noquote() << "question" << request.title << ":" << request.text;
        return m_answer;
    }

    std::optional<QString> inputBox(const platform::InputBoxRequest &request) override
    {
        qCInfo(lcMessages).noquote() << "input" << request.title << ":" << request.prompt;
        return m_input;
    }

private:
    platform::Answer m_answer;
    std::optional<QString> m_input;
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
    std::optional<QString> input;
    if (qEnvironmentVariableIsSet("ORVEX_INPUT"))
        input = qEnvironmentVariable("ORVEX_INPUT");
    return std::make_unique<ScriptedMessageBoxes>(answer, std::move(input));
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
    m_socket = std::make_unique<platform::SocketX>();
    m_net = createSystemNet();
    m_transfer = platform::createFileTransfer();
    m_shellFolders = platform::createShellFolders();
    m_windowPin = platform::createWindowPin();
}

AppServices::~AppServices()
{
    // The utility object talks to the services: it goes first.
    m_adds.reset();
}

wnPrincipalContext AppServices::formContext(platform::SingleInstance *instance,
                                            const QString &programFolder,
                                            const QString &commandLine, const QString &agentProgram,
                                            std::function<void()> endProgram)
{
    return wnPrincipalContext{
        .adds = *m_adds,
        .messageBoxes = *m_messageBoxes,
        .socket = *m_socket,
        .net = *m_net,
        .transfer = *m_transfer,
        .shellFolders = *m_shellFolders,
        .windowPin = *m_windowPin,
        .makeChatClient = [] { return std::make_unique<platform::IrcClient>(); },
        .endProgram = std::move(endProgram),
        .instance = instance,
        .programFolder = programFolder,
        .commandLine = commandLine,
        .agentProgram = agentProgram,
    };
}

} // namespace orvex
