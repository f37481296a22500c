#pragma once
// One connection to a chat server (RFC 2812): registration, the channel,
// private messages both ways, and the nicknames known on the channel. Nothing
// here blocks; the socket works while events run.
#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTcpSocket>
#include <QTimer>

namespace orvex::platform {

class IrcClient : public QObject
{
    Q_OBJECT
public:
    explicit IrcClient(QObject *parent = nullptr);
    ~IrcClient() override;

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

    // Opens the connection anew and registers; returns at once. An attempt
    // still on its way is left alone (for up to 30 s). A refused or lost
    // connection only shows as not connected.
    virtual void Connect();
    // Registered with the server and able to send.
    virtual bool isConnected() const;
    // One private message to `nick`, as many PRIVMSG lines as its length
    // needs. False when not connected or the text is empty.
    virtual bool SendPrivMsg(const QString &nick, const QString &text);
    // The nickname the server knows this connection by (the wished one, or
    // the one with "_" that was free).
    virtual QString CurrentNick() const;
    // What arrived since the last call, oldest first, each as five fields
    // joined by tabs: kind ("PRIVMSG" or "DATA"), sender, a code or extra
    // value, text, recipient. At most kMaxWaiting wait: older ones are
    // dropped, and how many is logged once per report interval.
    virtual QStringList takeReceived();
    // The nicknames on the channel now, this connection's own left out, in
    // alphabetical order.
    virtual QStringList Nicknames() const;

    static constexpr qsizetype kMaxWaiting = 1000;

    // A link that says nothing for `idleMs` is asked for a PONG; without one
    // within `answerMs` more it counts as dead and is dropped.
    void setLinkCheck(int idleMs, int answerMs);
    // How often the dropped items are counted in the log: once a minute
    // unless told otherwise.
    void setReportInterval(int ms) { m_report.setInterval(ms); }

signals:
    void connectedChanged(bool connected);

private:
    void onConnected();
    void onReadyRead();
    void handleLine(QByteArrayView line);
    void sendLine(const QByteArray &line);
    void addItem(const QStringList &fields);
    void reportDropped();
    void setRegistered(bool registered);
    QString decodeField(const QByteArray &bytes, bool utf8) const;

    QString m_serverHost;
    quint16 m_port = 0;
    QString m_channel;
    QString m_nickName;
    QString m_userName;

    QTcpSocket m_socket;
    QByteArray m_buffer;
    bool m_skipping = false;
    bool m_registered = false;
    int m_nickAttempt = 0;
    QString m_currentNick;
    QStringList m_received;
    qint64 m_dropped = 0; // since the last report
    // The channel's nicknames by their case-folded form.
    QHash<QString, QString> m_nicknames;
    QElapsedTimer m_attempt;
    QTimer m_idle;
    QTimer m_answer;
    QTimer m_report;
};

} // namespace orvex::platform
