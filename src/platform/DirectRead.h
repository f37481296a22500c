#pragma once
// Reading a connected stream socket's bytes straight from the system into
// the caller's buffer, past the toolkit's own read buffer. Where the system
// offers nothing of the kind both report 0 and the toolkit does all reading.
#include <cstdint>

namespace orvex::platform {

// How many bytes the system holds ready on `descriptor`; 0 when unknown.
std::int64_t systemPendingBytes(std::intptr_t descriptor);

// Takes at most `max` bytes now without waiting; returns how many (0 when
// none). Never asks for more than systemPendingBytes() said, so that the end
// of the stream and its errors stay for the toolkit to find.
std::int64_t receivePending(std::intptr_t descriptor, char *to, std::int64_t max);

} // namespace orvex::platform
