#include "app/ServerTable.h"

#include "support/Adds.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcStart, "orvex.start")

using namespace Qt::Literals::StringLiterals;

namespace orvex {
namespace {
// The centre's own home server, used when neither the command line nor
// "Orvex.ini" names another.
const QString kCentreDefaultHost = u"centro.sendaro.net"_s;
const QString kNoValue = u"\u00B7"_s;
} // namespace

ServerTable::ServerTable(Adds &adds, QString iniPath, ChatClientFactory makeChatClient)
    : m_adds(adds), m_iniPath(std::move(iniPath)), m_makeChatClient(std::move(makeChatClient))
{}

QString ServerTable::chooseHomeServer(const QString &commandLine)
{
    // Installations (and the tests) may point the agent at another centre.
    m_adds.INI_SetFileName(m_iniPath);
    const QString host = m_adds.INI_GetString(u"Centro"_s, u"Host"_s, kNoValue).trimmed();
    m_centreHost = host.isEmpty() || host == kNoValue ? kCentreDefaultHost : host;
    const QString command = commandLine.trimmed();
    m_homeServerHost = command.isEmpty() ? m_centreHost : command;
    return m_homeServerHost;
}

void ServerTable::read()
{
    m_adds.INI_SetFileName(m_iniPath);
    m_servers.clear();
    m_servers.emplace_back();
    readIniServers();
    fillSupportServer();
}

void ServerTable::readIniServers()
{
    m_lastDomain.clear();
    for (int n = 1; n <= 10; ++n) {
        const QString value =
            m_adds.INI_GetString(u"DynIP"_s, u"DynIP Server "_s + QString::number(n), kNoValue);
        const DynIpServerValue parsed = parseDynIpServerValue(value);
        if (!parsed.hasSeparator)
            continue;
        m_lastDomain = parsed.domainField;
        if (!parsed.valid) {
            qCInfo(lcStart) << "DynIP Server" << n << "skipped: no host or domain";
            continue;
        }
        DynIpServer server;
        server.Name = parsed.Name;
        server.Domain = parsed.Domain;
        server.Host = parsed.Host;
        server.Port = parsed.Port;
        server.Version = parsed.Version;
        server.KeepAliveSeconds = parsed.KeepAliveSeconds;
        if (server.Version == u"V2"_s)
            server.ChatClient = newChatClient(server.Host, u"#"_s + server.Name, server.Domain);
        m_servers.push_back(std::move(server));
    }
}

void ServerTable::fillSupportServer()
{
    DynIpServer &support = m_servers[0];
    support.Name = u"Sendaro"_s;
    support.Domain = m_lastDomain;
    support.Host = Adds::Win_InDevelopment ? u"localhost"_s : m_centreHost;
    support.Port = u"9751"_s;
    support.Version = u"V2"_s;
    support.KeepAliveSeconds = 900;
    support.ChatClient = newChatClient(Adds::Win_InDevelopment ? u"localhost"_s : m_homeServerHost,
                                       u"#ox2k4"_s, support.Domain);
}

std::unique_ptr<platform::IrcClient>
ServerTable::newChatClient(const QString &host, const QString &channel, const QString &nick)
{
    std::unique_ptr<platform::IrcClient> chat = m_makeChatClient();
    if (!chat)
        return chat;
    chat->setServerHost(host);
    chat->setPort(kChatPort);
    chat->setChannel(channel);
    chat->setNickName(nick);
    chat->setUserName(nick);
    return chat;
}

QString ServerTable::serverName(int index) const
{
    if (index < 0 || size_t(index) >= m_servers.size())
        return {};
    return m_servers[size_t(index)].Name;
}

platform::IrcClient *ServerTable::chatClient(int index) const
{
    if (index < 0 || size_t(index) >= m_servers.size())
        return nullptr;
    return m_servers[size_t(index)].ChatClient.get();
}

} // namespace orvex
