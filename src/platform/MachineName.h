#pragma once
#include <string>

namespace orvex::platform {

// The computer's name as the system reports it (UTF-8); empty when unknown.
std::string machineName();

} // namespace orvex::platform
