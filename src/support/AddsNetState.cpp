#include "support/Adds.h"

#include "platform/ConnectionState.h"

namespace orvex {

bool Adds::NET_CheckState(qint32 flag)
{
    if (!m_services.connectionState)
        return false;
    return platform::connectionFlagSet(m_services.connectionState->flags(), flag);
}

} // namespace orvex
