#include "platform/LargeBuffer.h"

namespace orvex::platform {

void adviseSequentialFill(void *, std::size_t) {}

} // namespace orvex::platform
