#include "platform/PageBacking.h"

namespace orvex::platform {

void adviseLargePages(char *, std::int64_t) {}

void prefaultForWriting(char *, std::int64_t) {}

} // namespace orvex::platform
