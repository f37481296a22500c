#include "platform/SystemMenu.h"

namespace orvex::platform {

// X11 and Wayland windows have no application-owned title-bar menu.
bool deleteSystemMenuItem(std::uint64_t, int)
{
    return false;
}

bool appendSystemMenuLines(std::uint64_t, const std::vector<std::string> &)
{
    return false;
}

} // namespace orvex::platform
