#pragma once
#include <cstddef>

namespace orvex::platform {

// Tells the system that a freshly reserved buffer of many megabytes is about
// to be filled from start to end, so that it can back it with large pages
// instead of faulting it in 4 KB at a time. Only a hint: nothing changes
// where the system has no such facility.
void adviseSequentialFill(void *data, std::size_t size);

} // namespace orvex::platform
