#include "platform/Termination.h"

namespace orvex::platform {

void onTerminationRequest(std::function<void()>) {}

} // namespace orvex::platform
