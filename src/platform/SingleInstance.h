#pragma once
#include <QObject>
#include <QString>

#include <memory>

namespace orvex::platform {

// Tells whether another copy of the agent runs for this user, and lets the
// new copy ask the old one to close.
class SingleInstance : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    virtual bool anotherIsRunning() const = 0;
    // Posts the close request to the running copy; does not wait for it.
    virtual bool askOtherToClose() const = 0;
    // Becomes the running copy. While an older copy still answers (it was
    // asked to close and is on its way out) the name is taken over as soon
    // as it has gone; the caller does not wait for that.
    virtual void claim() = 0;
    virtual bool isClaimed() const = 0;

signals:
    // A newer copy asked this one to close.
    void closeRequested();
};

// The name copies of the agent meet under: ORVEX_INSTANCE_KEY when set (so
// that tests do not meet a running agent), else one per user.
QString defaultInstanceKey();

// A local socket named `key`, which works on every desktop, with or without
// a window list to search.
std::unique_ptr<SingleInstance> createSingleInstance(const QString &key = defaultInstanceKey());

} // namespace orvex::platform
