#pragma once
#include <QIcon>
#include <QObject>
#include <QString>
#include <memory>

namespace orvex::platform {

// The desktop's notification area. The agent adds one icon with a tip and
// hears about four button events on it.
class TrayBackend : public QObject
{
    Q_OBJECT
public:
    enum class Event { LeftDown, LeftDoubleClick, RightDown, RightDoubleClick };
    Q_ENUM(Event)

    using QObject::QObject;

    // Shows the icon; false when the facility refuses it.
    virtual bool add(const QIcon &icon, const QString &tip) = 0;
    virtual void modify(const QIcon &icon, const QString &tip) = 0;
    virtual void remove() = 0;
    // Whether some notification area is there to show the icon right now.
    virtual bool hostAvailable() const = 0;

signals:
    void mouseEvent(orvex::platform::TrayBackend::Event event);
    // A notification area appeared or went away (a panel restarted, a
    // StatusNotifier host started late).
    void hostAvailabilityChanged(bool available);
};

std::unique_ptr<TrayBackend> createTrayBackend();

} // namespace orvex::platform
