#pragma once
// The one-second scan: the chat pump, the keep-alives and the chat
// reconnects, the judged status and its warning sound, the sibling module's
// folders, the delay upload and the exchange helper, in that order.
#include <QDateTime>
#include <QObject>
#include <QString>
#include <QTimer>

#include <memory>
#include <vector>

namespace orvex {

class Adds;
class ChatRouter;
class DelayUpload;
class ExchangeHelper;
class KeepAliveSender;
class Net;
class ProgressCaption;
class ServerTable;
class SiblingFolders;
struct DynIpServer;
struct ScanStatus;
namespace platform {
class SocketX;
}

class ScanCycle final : public QObject
{
    Q_OBJECT
public:
    static constexpr int kIntervalMs = 1000;
    // A chat connection that failed waits this long before the next
    // attempt, doubling up to the most.
    static constexpr int kChatRetryFirstSeconds = 5;
    static constexpr int kChatRetryMostSeconds = 300;

    struct Parts
    {
        Adds &adds;
        platform::SocketX &socket;
        Net &net;
        ServerTable &servers;
        ChatRouter &chats;
        QString programFolder;
        QString iniPath;
        // Where the delay upload shows its progress (the window's caption).
        ProgressCaption *uploadProgress = nullptr;
    };

    explicit ScanCycle(const Parts &parts);
    ~ScanCycle() override;

    // Runs every second while enabled.
    QTimer &TimerScan() { return m_timerScan; }
    // One tick. A tick that arrives while the previous one still waits on
    // the network returns at once.
    void TimerScan_Timer();
    bool busy() const { return m_busy; }
    // Every server but the support one is asked again, now.
    void checkNow();

signals:
    // A keep-alive judged the server at this index anew.
    void serverJudged(int index);
    // What all the servers add up to, once a tick.
    void statusJudged(const ScanStatus &status);
    // The tick's uploads are done: their progress caption may go.
    void uploadsDone();

private:
    struct ChatRetry
    {
        QDateTime next;
        int waitSeconds = 0;
        bool attempted = false;
    };

    void sendKeepAlives();
    void reconnectChat(size_t index);
    void judgeStatus();

    Adds &m_adds;
    ServerTable &m_servers;
    ChatRouter &m_chats;
    ProgressCaption *m_uploadProgress;
    QString m_programFolder;
    std::unique_ptr<KeepAliveSender> m_keepAlive;
    std::unique_ptr<SiblingFolders> m_siblingFolders;
    std::unique_ptr<DelayUpload> m_delayUpload;
    std::unique_ptr<ExchangeHelper> m_exchangeHelper;
    std::vector<ChatRetry> m_chatRetries;
    QTimer m_timerScan;
    bool m_busy = false;
    // The overall state judged last, to log its changes.
    qint32 m_loggedOverall = -1;
};

} // namespace orvex
