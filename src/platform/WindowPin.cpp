#include "platform/WindowPin.h"

#include <QWidget>

namespace orvex::platform {
namespace {

class StayOnTopPin final : public WindowPin
{
public:
    void setPinned(QWidget &window, bool pinned) override
    {
        if (isPinned(window) == pinned)
            return;
        // Changing a window's flags hides it; a visible one is shown again
        // where it was.
        const bool visible = window.isVisible();
        window.setWindowFlag(Qt::WindowStaysOnTopHint, pinned);
        if (visible)
            window.show();
    }
    bool isPinned(const QWidget &window) const override
    {
        return window.windowFlags().testFlag(Qt::WindowStaysOnTopHint);
    }
};

} // namespace

std::unique_ptr<WindowPin> createWindowPin()
{
    return std::make_unique<StayOnTopPin>();
}

} // namespace orvex::platform
