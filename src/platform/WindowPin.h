#pragma once
// Keeps a window above all others while pinned (Qt's stay-on-top flag, which
// is a window manager hint on X11 and Wayland and HWND_TOPMOST on Windows).
#include <memory>

class QWidget;

namespace orvex::platform {

class WindowPin
{
public:
    virtual ~WindowPin() = default;
    virtual void setPinned(QWidget &window, bool pinned) = 0;
    virtual bool isPinned(const QWidget &window) const = 0;
};

std::unique_ptr<WindowPin> createWindowPin();

} // namespace orvex::platform
