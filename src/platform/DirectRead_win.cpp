#include "platform/DirectRead.h"

namespace orvex::platform {

// Winsock's readiness notices are re-armed by the toolkit's own reads, so
// reading past it could leave the socket without one: it reads everything.
qint64 systemPendingBytes(qintptr)
{
    return 0;
}

qint64 receivePending(qintptr, char *, qint64)
{
    return 0;
}

} // namespace orvex::platform
