#include "support/Adds.h"

#include "platform/ConnectionState.h"

namespace orvex {

bool Adds::NET_CheckState(qint32 flag)
{
    switch (flag) {
    case 1:
    case 2:
    case 4:
    case 8:
    case 16:
    case 32:
    case 64:
        break;
    default:
        return false;
    }
    if (!m_services.connectionState)
        return false;
    return (m_services.connectionState->flags() & static_cast<std::uint32_t>(flag)) != 0;
}

} // namespace orvex
