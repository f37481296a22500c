#include "platform/SingleInstance.h"

#include <QLocalSocket>
#include <QPointer>
#include <QtGlobal>

namespace orvex::platform {
namespace {
constexpr int kConnectMs = 500;
const QByteArray kCloseRequest = QByteArrayLiteral("close\n");
} // namespace

SingleInstance::SingleInstance(QObject *parent) : QObject(parent), m_key(defaultKey())
{
    connect(&m_server, &QLocalServer::newConnection, this, &SingleInstance::onNewConnection);
}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::defaultKey()
{
    const QString fromEnv = qEnvironmentVariable("ORVEX_INSTANCE_KEY");
    if (!fromEnv.isEmpty())
        return fromEnv;
    QString user = qEnvironmentVariable("USER");
    if (user.isEmpty())
        user = qEnvironmentVariable("USERNAME");
    return QStringLiteral("orvex-agent-") + user;
}

bool SingleInstance::anotherIsRunning() const
{
    QLocalSocket probe;
    probe.connectToServer(m_key);
    const bool up = probe.waitForConnected(kConnectMs);
    probe.abort();
    return up;
}

bool SingleInstance::askOtherToClose() const
{
    QLocalSocket socket;
    socket.connectToServer(m_key);
    if (!socket.waitForConnected(kConnectMs))
        return false;
    socket.write(kCloseRequest);
    const bool sent = socket.waitForBytesWritten(kConnectMs);
    socket.disconnectFromServer();
    return sent;
}

bool SingleInstance::claim()
{
    if (m_server.isListening())
        return true;
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    if (m_server.listen(m_key))
        return true;
    // A copy that crashed, or one that is closing, leaves its name behind.
    QLocalServer::removeServer(m_key);
    return m_server.listen(m_key);
}

void SingleInstance::onNewConnection()
{
    while (QLocalSocket *peer = m_server.nextPendingConnection()) {
        connect(peer, &QLocalSocket::disconnected, peer, &QObject::deleteLater);
        QPointer<QLocalSocket> guard(peer);
        connect(peer, &QLocalSocket::readyRead, this, [this, guard] {
            if (!guard)
                return;
            if (guard->readAll().contains(kCloseRequest))
                emit closeRequested();
        });
    }
}

} // namespace orvex::platform
