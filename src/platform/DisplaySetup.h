#pragma once

namespace orvex::platform {

// Settings for the windowing system that must be made before the
// application object exists. The agent's own choices never override what
// the user set in the environment.
void prepareDisplay();

} // namespace orvex::platform
