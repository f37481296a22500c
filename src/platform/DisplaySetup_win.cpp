#include "platform/DisplaySetup.h"

namespace orvex::platform {

// Windows paints without a display server: nothing to set.
void prepareDisplay() {}

} // namespace orvex::platform
