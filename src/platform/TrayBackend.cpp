#include "platform/TrayBackend.h"

#include <QSystemTrayIcon>
#include <QTimer>

namespace orvex::platform {
namespace {

// Qt has no signal for a notification area that comes or goes, so the
// backend looks every few seconds; the look is a cheap property read.
constexpr int kHostCheckMs = 3000;

class QtTrayBackend final : public TrayBackend
{
public:
    QtTrayBackend()
    {
        m_hostAvailable = QSystemTrayIcon::isSystemTrayAvailable();
        m_hostCheck.setInterval(kHostCheckMs);
        connect(&m_hostCheck, &QTimer::timeout, this, &QtTrayBackend::checkHost);
        m_hostCheck.start();
    }

    bool add(const QIcon &icon, const QString &tip) override
    {
        if (!m_icon) {
            m_icon = std::make_unique<QSystemTrayIcon>();
            connect(m_icon.get(), &QSystemTrayIcon::activated, this, &QtTrayBackend::onActivated);
        }
        m_icon->setIcon(icon);
        m_icon->setToolTip(tip);
        // An icon without a picture cannot be shown; it appears with the
        // first picture it is given.
        if (!icon.isNull())
            m_icon->show();
        return true;
    }

    void modify(const QIcon &icon, const QString &tip) override
    {
        if (!m_icon)
            return;
        if (icon.cacheKey() != m_icon->icon().cacheKey())
            m_icon->setIcon(icon);
        if (tip != m_icon->toolTip())
            m_icon->setToolTip(tip);
        if (!icon.isNull() && !m_icon->isVisible())
            m_icon->show();
    }

    void remove() override
    {
        if (m_icon)
            m_icon->hide();
        m_icon.reset();
    }

    bool hostAvailable() const override { return m_hostAvailable; }

private:
    void onActivated(QSystemTrayIcon::ActivationReason reason)
    {
        switch (reason) {
        case QSystemTrayIcon::Trigger:
            emit mouseEvent(Event::LeftDown);
            break;
        case QSystemTrayIcon::DoubleClick:
            emit mouseEvent(Event::LeftDoubleClick);
            break;
        case QSystemTrayIcon::Context:
            emit mouseEvent(Event::RightDown);
            break;
        default:
            break;
        }
    }

    void checkHost()
    {
        const bool now = QSystemTrayIcon::isSystemTrayAvailable();
        if (now == m_hostAvailable)
            return;
        m_hostAvailable = now;
        // A host that appears late only learns of icons shown after it came:
        // show ours again.
        if (now && m_icon) {
            m_icon->hide();
            m_icon->show();
        }
        emit hostAvailabilityChanged(now);
    }

    std::unique_ptr<QSystemTrayIcon> m_icon;
    QTimer m_hostCheck;
    bool m_hostAvailable = false;
};

} // namespace

std::unique_ptr<TrayBackend> createTrayBackend()
{
    return std::make_unique<QtTrayBackend>();
}

} // namespace orvex::platform
