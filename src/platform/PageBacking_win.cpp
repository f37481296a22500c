#include "platform/PageBacking.h"

namespace orvex::platform {

void adviseLargePages(char *, qint64) {}

void prefaultForWriting(char *, qint64) {}

} // namespace orvex::platform
