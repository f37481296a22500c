#pragma once
// Backing a large buffer with memory before it is filled. Only requests:
// the memory is usable either way, and where the system has no such
// facility nothing happens.
#include <cstdint>

namespace orvex::platform {

// Asks for large pages behind the whole 2 MB blocks of [data, data + size),
// so that the buffer costs a fault every 2 MB instead of every 4 KB.
void adviseLargePages(char *data, std::int64_t size);

// Has the system back the pages of [data, data + size) now, in one call,
// instead of one fault at a time as they are first written.
void prefaultForWriting(char *data, std::int64_t size);

} // namespace orvex::platform
