#include "platform/DirectRead.h"

#include <sys/ioctl.h>
#include <sys/socket.h>

namespace orvex::platform {

std::int64_t systemPendingBytes(std::intptr_t descriptor)
{
    int pending = 0;
    if (descriptor < 0 || ::ioctl(static_cast<int>(descriptor), FIONREAD, &pending) != 0)
        return 0;
    return pending;
}

std::int64_t receivePending(std::intptr_t descriptor, char *to, std::int64_t max)
{
    if (descriptor < 0 || max <= 0)
        return 0;
    const ssize_t n =
        ::recv(static_cast<int>(descriptor), to, static_cast<size_t>(max), MSG_DONTWAIT);
    return n > 0 ? n : 0;
}

} // namespace orvex::platform
