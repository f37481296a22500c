#pragma once
// The X display's top-level windows, read over one X connection that lives as
// long as this object. The scan cycle looks for a window every second: a
// look-up sends all its requests at once and then reads all the replies, so
// it costs a few round trips however many windows there are.
#include "platform/ProcessWindows.h"

#include <cstdint>
#include <string>
#include <vector>

struct xcb_connection_t;

namespace orvex::platform {

class XWindowList
{
public:
    XWindowList() = default;
    ~XWindowList();
    XWindowList(const XWindowList &) = delete;
    XWindowList &operator=(const XWindowList &) = delete;

    // False when no X display can be reached now.
    bool connected() { return connection() != nullptr; }

    // The first window whose title is `title` (when given); failing that, the
    // first whose WM_CLASS instance or class name is `className` (when
    // given). 0 when none is.
    WindowHandle find(const std::string *title, const std::string *className);

    // Asks the window to close: through WM_DELETE_WINDOW when it takes that,
    // else through the window manager. False when it is no window.
    bool postClose(WindowHandle window);

private:
    struct Atoms
    {
        std::uint32_t clientList = 0;
        std::uint32_t netWmName = 0;
        std::uint32_t utf8String = 0;
        std::uint32_t compoundText = 0;
        std::uint32_t protocols = 0;
        std::uint32_t deleteWindow = 0;
        std::uint32_t netCloseWindow = 0;
    };

    // The open connection; a broken one (a restarted X server) is replaced
    // here, and nullptr means there is no display.
    xcb_connection_t *connection();
    void disconnect();
    bool internAtoms();
    std::uint32_t root() const;
    std::vector<std::uint32_t> topLevelWindows();

    xcb_connection_t *m_connection = nullptr;
    int m_screen = 0; // the screen DISPLAY names
    Atoms m_atoms;
};

} // namespace orvex::platform
