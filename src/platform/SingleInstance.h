#pragma once
#include <QLocalServer>
#include <QObject>
#include <QString>
#include <QTimer>

namespace orvex::platform {

// Tells whether another copy of the agent runs for this user, and lets the
// new copy ask the old one to close. A local socket works on every desktop,
// with or without a window list to search.
class SingleInstance : public QObject
{
    Q_OBJECT
public:
    // `key` names the instance; ORVEX_INSTANCE_KEY in the environment
    // replaces the default so that tests do not meet a running agent.
    explicit SingleInstance(QObject *parent = nullptr);
    ~SingleInstance() override;

    static QString defaultKey();
    QString key() const { return m_key; }

    bool anotherIsRunning() const;
    // Posts the close request to the running copy; does not wait for it.
    bool askOtherToClose() const;
    // Becomes the running copy. While an older copy still answers (it was
    // asked to close and is on its way out) the name is taken over as soon
    // as it has gone; the caller does not wait for that.
    void claim();
    bool isClaimed() const { return m_server.isListening(); }

signals:
    void closeRequested();

private:
    void onNewConnection();
    bool tryClaim();

    QString m_key;
    QLocalServer m_server;
    QTimer m_retry;
};

} // namespace orvex::platform
