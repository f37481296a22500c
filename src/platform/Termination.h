#pragma once
#include <functional>

namespace orvex::platform {

// Calls `stop` from the event loop when the system asks the program to end
// (SIGTERM or SIGINT on Linux), so that it ends as its exit command would:
// tray icon removed, status 0. Where the system asks otherwise (Windows'
// session end reaches Qt's own handling), it does nothing.
void onTerminationRequest(std::function<void()> stop);

} // namespace orvex::platform
