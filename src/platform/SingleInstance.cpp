#include "platform/SingleInstance.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QLoggingCategory>
#include <QPointer>
#include <QTimer>
#include <QtGlobal>

Q_LOGGING_CATEGORY(lcInstance, "orvex.instance")

namespace orvex::platform {
namespace {
constexpr int kConnectMs = 500;
const QByteArray kCloseRequest = QByteArrayLiteral("close\n");

class LocalSingleInstance final : public SingleInstance
{
public:
    explicit LocalSingleInstance(QString key);

    bool anotherIsRunning() const override;
    bool askOtherToClose() const override;
    void claim() override;
    bool isClaimed() const override { return m_server.isListening(); }

private:
    void onNewConnection();
    bool tryClaim();

    QString m_key;
    QLocalServer m_server;
    QTimer m_retry;
};

LocalSingleInstance::LocalSingleInstance(QString key) : m_key(std::move(key))
{
    connect(&m_server, &QLocalServer::newConnection, this, &LocalSingleInstance::onNewConnection);
    m_retry.setInterval(250);
    connect(&m_retry, &QTimer::timeout, this, [this] {
        if (tryClaim())
            m_retry.stop();
    });
}

bool LocalSingleInstance::anotherIsRunning() const
{
    QLocalSocket probe;
    probe.setSocketOptions(QLocalSocket::AbstractNamespaceOption);
    probe.connectToServer(m_key);
    return probe.waitForConnected(kConnectMs); // the probe's end closes it
}

bool LocalSingleInstance::askOtherToClose() const
{
    QLocalSocket socket;
    socket.setSocketOptions(QLocalSocket::AbstractNamespaceOption);
    socket.connectToServer(m_key);
    if (!socket.waitForConnected(kConnectMs))
        return false;
    socket.write(kCloseRequest);
    const bool sent = socket.waitForBytesWritten(kConnectMs);
    socket.disconnectFromServer();
    return sent;
}

void LocalSingleInstance::claim()
{
    if (!tryClaim())
        m_retry.start();
}

bool LocalSingleInstance::tryClaim()
{
    if (m_server.isListening())
        return true;
    // In the abstract namespace (Linux) the name has no file: it is free the
    // moment its holder ends, crash or not, and a copy on its way out cannot
    // remove the name its successor already holds. Windows' named pipes
    // behave the same way.
    m_server.setSocketOptions(QLocalServer::AbstractNamespaceOption);
    if (!m_server.listen(m_key))
        return false;
    qCInfo(lcInstance).noquote() << "running copy:" << m_key;
    return true;
}

void LocalSingleInstance::onNewConnection()
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

} // namespace

QString defaultInstanceKey()
{
    const QString fromEnv = qEnvironmentVariable("ORVEX_INSTANCE_KEY");
    if (!fromEnv.isEmpty())
        return fromEnv;
    QString user = qEnvironmentVariable("USER");
    if (user.isEmpty())
        user = qEnvironmentVariable("USERNAME");
    return QStringLiteral("orvex-agent-") + user;
}

std::unique_ptr<SingleInstance> createSingleInstance(const QString &key)
{
    return std::make_unique<LocalSingleInstance>(key);
}

} // namespace orvex::platform
