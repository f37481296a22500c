#include "app/ChatRouter.h"

#include "app/ServerTable.h"
#include "chat/wnChat.h"
#include "chat/wnChatTo.h"
#include "support/Adds.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcChatPump, "orvex.chat.server")

using namespace Qt::Literals::StringLiterals;

namespace orvex {

ChatRouter::ChatRouter(Adds &adds, const ServerTable &servers, QString programFolder,
                       QWidget *dialogParent)
    : m_adds(adds), m_servers(servers), m_programFolder(std::move(programFolder)),
      m_chatTo(std::make_unique<wnChatTo>(this, dialogParent))
{}

ChatRouter::~ChatRouter() = default;

void ChatRouter::listDestinations()
{
    const auto &servers = m_servers.servers();
    for (size_t i = 1; i < servers.size(); ++i) {
        if (servers[i].Version == u"V2"_s)
            m_chatTo->addServer(servers[i].Name, int(i));
    }
    m_chatTo->addServer(u"Sendaro"_s, 0);
}

void ChatRouter::openFirstChatWindow()
{
    m_windows.clear();
    m_byTag.clear();
    chatWindow(u"0\\Soporte"_s, u"Soporte(Lumaris)"_s);
}

QString ChatRouter::serverName(int index) const
{
    return m_servers.serverName(index);
}

platform::IrcClient *ChatRouter::chatClient(int index) const
{
    return m_servers.chatClient(index);
}

wnChat &ChatRouter::chatWindow(const QString &key, const QString &caption)
{
    if (wnChat *known = m_byTag.value(key))
        return *known;
    auto chat = std::make_unique<wnChat>(wnChatContext{&m_adds, this, m_programFolder});
    chat->setTag(key);
    chat->setWindowTitle(caption);
    m_byTag.insert(key, chat.get());
    m_windows.push_back(std::move(chat));
    return *m_windows.back();
}

void ChatRouter::pump()
{
    const auto &servers = m_servers.servers();
    for (size_t i = 0; i < servers.size(); ++i) {
        platform::IrcClient *client = servers[i].ChatClient.get();
        if (!client || client->ServerHost().isEmpty())
            continue;
        const QString &name = servers[i].Name;
        for (const QString &item : client->takeReceived()) {
            const QStringList f = QString(item + u"\t\t\t\t"_s).split(u'\t');
            if (f[0] == u"DATA"_s) {
                // The chat server's message of the day, kept for support.
                if (f[2] == u"372"_s && f[3].startsWith(u"- "_s))
                    qCInfo(lcChatPump).noquote() << name << f[3].mid(2);
            } else if (f[0] == u"PRIVMSG"_s) {
                deliver(int(i), name, f);
            }
        }
    }
}

void ChatRouter::deliver(int server, const QString &name, const QStringList &f)
{
    const QString key = QString::number(server) + u'\\' + f[1];
    if (!m_byTag.contains(key) && !mayOpenWindowFor(server)) {
        qCWarning(lcChatPump).noquote() << "too many conversations, not shown:" << f[1] << f[3];
        return;
    }
    qCInfo(lcChatPump).noquote() << "message from" << f[1] << "on" << name;
    chatWindow(key, f[1] + u'(' + name + u')').Chat_Msg(f[1], name, f[2], f[3], f[4]);
}

bool ChatRouter::mayOpenWindowFor(int server)
{
    int &opened = m_openedByPump[server];
    if (opened >= kNewWindowsPerServer)
        return false;
    const QDateTime now = m_adds.clock().now();
    std::deque<QDateTime> &recent = m_recentOpenings[server];
    while (!recent.empty() && recent.front().secsTo(now) >= 60)
        recent.pop_front();
    if (int(recent.size()) >= kNewWindowsPerMinute)
        return false;
    recent.push_back(now);
    ++opened;
    return true;
}

void ChatRouter::hideAll()
{
    for (auto &chat : m_windows)
        chat->hide();
    m_chatTo->hide();
}

void ChatRouter::showWindow(int index)
{
    if (index < 0 || size_t(index) >= m_windows.size())
        return;
    wnChat &chat = *m_windows[size_t(index)];
    chat.setVisible(true);
    chat.show();
    chat.raise();
}

void ChatRouter::showDestinationDialog()
{
    m_chatTo->show();
    m_chatTo->raise();
}

QStringList ChatRouter::captions() const
{
    QStringList out;
    for (const auto &chat : m_windows)
        out << chat->windowTitle();
    return out;
}

} // namespace orvex
