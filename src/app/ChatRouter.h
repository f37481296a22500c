#pragma once
// The chat windows and the destination dialog, and the pump that hands what
// every server's chat connection received to the window of its sender.
#include "chat/ChatDirectory.h"

#include <QDateTime>
#include <QHash>
#include <QString>

#include <deque>
#include <memory>
#include <vector>

class QWidget;

namespace orvex {

class Adds;
class ServerTable;
class wnChatTo;

class ChatRouter final : public ChatDirectory
{
public:
    // Messages of new nicknames may open at most this many windows a minute,
    // and this many in all, per server: a chat server's users cannot flood
    // the desktop (and the memory) with windows. Above it, the message goes
    // to the log with its sender; open windows keep working.
    static constexpr int kNewWindowsPerMinute = 20;
    static constexpr int kNewWindowsPerServer = 100;

    // The destination dialog stands over `dialogParent` (the main window).
    ChatRouter(Adds &adds, const ServerTable &servers, QString programFolder,
               QWidget *dialogParent = nullptr);
    ~ChatRouter() override;

    // The destination dialog lists the "V2" servers, then the support one.
    void listDestinations();
    // Window 0: the conversation with support.
    void openFirstChatWindow();
    // Drains every chat connection: private messages go to their sender's
    // window (made when there is none and the limits allow), the server's
    // message of the day to the log.
    void pump();
    void hideAll();
    // Shows window `index` (nothing for one that does not exist), or the
    // destination dialog.
    void showWindow(int index);
    void showDestinationDialog();

    // The chat windows in the order they were made; only ever added to.
    const std::vector<std::unique_ptr<wnChat>> &windows() const { return m_windows; }
    wnChatTo &destinationDialog() const { return *m_chatTo; }
    // The windows' captions, in the same order.
    QStringList captions() const;

    QString serverName(int index) const override;
    platform::IrcClient *chatClient(int index) const override;
    wnChat &chatWindow(const QString &key, const QString &caption) override;

private:
    bool mayOpenWindowFor(int server);
    void deliver(int server, const QString &name, const QStringList &fields);

    Adds &m_adds;
    const ServerTable &m_servers;
    QString m_programFolder;
    std::unique_ptr<wnChatTo> m_chatTo;
    std::vector<std::unique_ptr<wnChat>> m_windows;
    // The last window with each tag.
    QHash<QString, wnChat *> m_byTag;
    // Per server: when the pump opened its windows in the last minute, and
    // how many it opened in all.
    QHash<int, std::deque<QDateTime>> m_recentOpenings;
    QHash<int, int> m_openedByPump;
};

} // namespace orvex
