#include "platform/CodePage.h"

namespace orvex::platform {

bool systemAnsiCodePageIsNative()
{
    return false;
}

} // namespace orvex::platform
