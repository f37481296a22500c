#include "app/ScanCycle.h"

#include "app/ChatRouter.h"
#include "app/DelayUpload.h"
#include "app/ExchangeHelper.h"
#include "app/KeepAlive.h"
#include "app/ScanLog.h"
#include "app/ScanStatus.h"
#include "app/ServerTable.h"
#include "app/SiblingFolders.h"
#include "support/Adds.h"

#include <QDir>
#include <QScopeGuard>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace orvex {

ScanCycle::ScanCycle(const Parts &parts)
    : m_adds(parts.adds), m_servers(parts.servers), m_chats(parts.chats),
      m_uploadProgress(parts.uploadProgress), m_programFolder(parts.programFolder),
      m_keepAlive(std::make_unique<KeepAliveSender>(parts.adds, parts.socket, parts.net)),
      m_siblingFolders(std::make_unique<SiblingFolders>(parts.adds, parts.adds.clock(),
                                                        parts.programFolder, parts.iniPath)),
      m_delayUpload(std::make_unique<DelayUpload>(
          parts.adds, parts.socket, QDir(parts.programFolder).filePath(u"OxDemoras.txt"_s))),
      m_exchangeHelper(std::make_unique<ExchangeHelper>(parts.adds, parts.programFolder))
{
    m_timerScan.setInterval(kIntervalMs);
    connect(&m_timerScan, &QTimer::timeout, this, &ScanCycle::TimerScan_Timer);
}

ScanCycle::~ScanCycle() = default;

void ScanCycle::TimerScan_Timer()
{
    if (m_busy)
        return;
    m_busy = true;
    const auto done = qScopeGuard([this] { m_busy = false; });

    m_chats.pump();
    sendKeepAlives();
    judgeStatus();
    m_siblingFolders->tick();
    m_delayUpload->tick(m_servers.servers(), m_uploadProgress);
    emit uploadsDone();
    m_exchangeHelper->tick();
}

void ScanCycle::checkNow()
{
    auto &servers = m_servers.servers();
    for (size_t i = 1; i < servers.size(); ++i)
        servers[i].NextKeepAlive = QDateTime();
    TimerScan_Timer();
}

void ScanCycle::sendKeepAlives()
{
    auto &servers = m_servers.servers();
    m_chatRetries.resize(servers.size());
    const Clock &clock = m_adds.clock();
    for (size_t i = 0; i < servers.size(); ++i) {
        DynIpServer &server = servers[i];
        if (server.NextKeepAlive.isNull() || clock.now() >= server.NextKeepAlive) {
            const KeepAliveOutcome outcome = m_keepAlive->send(server);
            if (outcome.state != server.State || outcome.failure != server.LastFailure)
                qCInfo(lcScan) << server.Name << serverStateText(outcome.state) << outcome.failure;
            server.State = outcome.state;
            const QDateTime after = clock.now();
            if (outcome.state == server_state::Online)
                server.LastSuccess = after;
            else
                server.LastFailure = outcome.failure;
            server.LastAttempt = after;
            server.NextKeepAlive = after.addSecs(server.KeepAliveSeconds);
            emit serverJudged(int(i));
        }
        reconnectChat(i);
    }
}

void ScanCycle::reconnectChat(size_t index)
{
    const DynIpServer &server = m_servers.servers()[index];
    platform::IrcClient *chat = server.ChatClient.get();
    if (server.State != server_state::Online || !chat || chat->ServerHost().isEmpty())
        return;
    ChatRetry &retry = m_chatRetries[index];
    if (chat->isConnected()) {
        if (retry.waitSeconds > 0)
            qCInfo(lcScan).noquote() << "chat with" << server.Name << "connected";
        retry = {};
        return;
    }
    const QDateTime now = m_adds.clock().now();
    if (!retry.next.isNull() && now < retry.next)
        return;
    if (retry.attempted) {
        // The last attempt did not connect: wait longer before the next,
        // and say so once.
        if (retry.waitSeconds == 0)
            qCInfo(lcScan).noquote() << "chat with" << server.Name << "did not connect: retrying";
        retry.waitSeconds = retry.waitSeconds == 0
                                ? kChatRetryFirstSeconds
                                : std::min(retry.waitSeconds * 2, kChatRetryMostSeconds);
    } else {
        qCInfo(lcScan).noquote() << "chat with" << server.Name << "to" << chat->ServerHost();
    }
    retry.attempted = true;
    retry.next = now.addSecs(retry.waitSeconds == 0 ? kChatRetryFirstSeconds : retry.waitSeconds);
    // The settings are written again before connecting, as they were at
    // start-up.
    chat->setServerHost(chat->ServerHost());
    chat->setNickName(chat->NickName());
    chat->setUserName(chat->UserName());
    chat->setPort(ServerTable::kChatPort);
    chat->setChannel(chat->Channel());
    chat->Connect();
}

void ScanCycle::judgeStatus()
{
    const ScanStatus status = judgeServers(m_servers.servers());
    if (status.hasRow() && status.overall != m_loggedOverall) {
        qCInfo(lcScan).noquote() << status.statusText() << status.problems;
        m_loggedOverall = status.overall;
    }
    emit statusJudged(status);
    if (status.changed) {
        qCInfo(lcScan) << "warning sound: a server's state changed";
        m_adds.Sonido_PlayWav(m_programFolder + u"/resources/orvex_problemared.wav"_s, 1, true);
        for (DynIpServer &s : m_servers.servers())
            s.PrevState = s.State;
    }
}

} // namespace orvex
