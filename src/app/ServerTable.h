#pragma once
// The centre's servers as "Orvex.ini" lists them, the built-in support server
// as element 0, and the home server every maintenance request goes to.
#include "app/DynIpServer.h"

#include <QString>

#include <functional>
#include <memory>
#include <vector>

namespace orvex {

class Adds;

class ServerTable
{
public:
    using ChatClientFactory = std::function<std::unique_ptr<platform::IrcClient>()>;
    static constexpr quint16 kChatPort = 9744;

    // `iniPath` is the agent's "Orvex.ini"; each server of protocol "V2" and
    // the support server get a chat connection made by `makeChatClient`.
    ServerTable(Adds &adds, QString iniPath, ChatClientFactory makeChatClient);

    // The home server: the whole command line, else the centre's host
    // ("[Centro] Host" of the settings, else the centre's own name).
    QString chooseHomeServer(const QString &commandLine);
    QString homeServerHost() const { return m_homeServerHost; }

    // Builds the table anew: the valid "DynIP Server 1" to "10" values at
    // indexes 1 and up, then element 0, which takes the domain of the last
    // value with a "/".
    void read();

    const std::vector<DynIpServer> &servers() const { return m_servers; }
    std::vector<DynIpServer> &servers() { return m_servers; }
    size_t size() const { return m_servers.size(); }

    // A server's label; empty for an index the table does not hold.
    QString serverName(int index) const;
    // A server's chat connection; null when it has none.
    platform::IrcClient *chatClient(int index) const;

private:
    void readIniServers();
    void fillSupportServer();
    std::unique_ptr<platform::IrcClient> newChatClient(const QString &host, const QString &channel,
                                                       const QString &nick);

    Adds &m_adds;
    QString m_iniPath;
    ChatClientFactory m_makeChatClient;
    std::vector<DynIpServer> m_servers;
    QString m_homeServerHost;
    QString m_centreHost;
    QString m_lastDomain;
};

} // namespace orvex
