#include "platform/CodePage.h"

namespace orvex::platform {

bool systemAnsiCodePageIsNative()
{
    return true;
}

} // namespace orvex::platform
