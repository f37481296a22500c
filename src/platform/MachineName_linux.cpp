#include "platform/MachineName.h"

#include <unistd.h>

#include <cstring>

namespace orvex::platform {

std::string machineName()
{
    char buffer[256] = {};
    if (gethostname(buffer, sizeof buffer - 1) != 0)
        return {};
    // gethostname need not terminate a truncated name; the last byte stays 0.
    return std::string(buffer, strnlen(buffer, sizeof buffer));
}

} // namespace orvex::platform
