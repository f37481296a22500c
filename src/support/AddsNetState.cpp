#include "support/Adds.h"

namespace orvex {

bool Adds::NET_CheckState(qint32 flag)
{
    (void)flag;
    return false;
}

} // namespace orvex
