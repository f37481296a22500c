#pragma once
#include <QObject>
#include <QString>

namespace orvex::platform {

// One connection to a chat server: where it goes and who it is there.
class IrcClient : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    QString ServerHost() const { return m_serverHost; }
    void setServerHost(const QString &host) { m_serverHost = host; }
    quint16 Port() const { return m_port; }
    void setPort(quint16 port) { m_port = port; }
    QString Channel() const { return m_channel; }
    void setChannel(const QString &channel) { m_channel = channel; }
    QString NickName() const { return m_nickName; }
    void setNickName(const QString &nick) { m_nickName = nick; }
    QString UserName() const { return m_userName; }
    void setUserName(const QString &user) { m_userName = user; }

    virtual bool isConnected() const { return false; }
    virtual void Connect() {}

private:
    QString m_serverHost;
    quint16 m_port = 0;
    QString m_channel;
    QString m_nickName;
    QString m_userName;
};

} // namespace orvex::platform
