#include "platform/LargeBuffer.h"

#include <sys/mman.h>

#include <cstdint>

namespace orvex::platform {

void adviseSequentialFill(void *data, std::size_t size)
{
    // Huge pages cover aligned 2 MB blocks; advise the aligned interior.
    constexpr std::uintptr_t kHuge = std::uintptr_t(2) << 20;
    const auto begin = reinterpret_cast<std::uintptr_t>(data);
    const std::uintptr_t first = (begin + kHuge - 1) & ~(kHuge - 1);
    const std::uintptr_t last = (begin + size) & ~(kHuge - 1);
    if (last > first)
        ::madvise(reinterpret_cast<void *>(first), last - first, MADV_HUGEPAGE);
}

} // namespace orvex::platform
