#include "platform/DirectRead.h"

namespace orvex::platform {

// Winsock's readiness notices are re-armed by the toolkit's own reads, so
// reading past it could leave the socket without one: it reads everything.
std::int64_t systemPendingBytes(std::intptr_t)
{
    return 0;
}

std::int64_t receivePending(std::intptr_t, char *, std::int64_t)
{
    return 0;
}

} // namespace orvex::platform
