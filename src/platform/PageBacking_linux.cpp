#include "platform/PageBacking.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

#ifndef MADV_POPULATE_WRITE
#define MADV_POPULATE_WRITE 23
#endif

namespace orvex::platform {

void adviseLargePages(char *data, std::int64_t size)
{
    if (!data || size <= 0)
        return;
    constexpr std::uintptr_t kLarge = std::uintptr_t(2) << 20;
    const auto first = reinterpret_cast<std::uintptr_t>(data);
    const std::uintptr_t begin = (first + kLarge - 1) & ~(kLarge - 1);
    const std::uintptr_t end = (first + static_cast<std::uintptr_t>(size)) & ~(kLarge - 1);
    if (end > begin)
        ::madvise(reinterpret_cast<void *>(begin), end - begin, MADV_HUGEPAGE);
}

void prefaultForWriting(char *data, std::int64_t size)
{
    if (!data || size <= 0)
        return;
    // Whole pages around the range: each of them is mapped, since it holds
    // at least one byte of the range.
    static const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    const auto first = reinterpret_cast<std::uintptr_t>(data);
    const std::uintptr_t begin = first & ~(page - 1);
    const std::uintptr_t end = (first + static_cast<std::uintptr_t>(size) + page - 1) & ~(page - 1);
    // Older systems refuse the advice; the pages then fault in as they fill.
    ::madvise(reinterpret_cast<void *>(begin), end - begin, MADV_POPULATE_WRITE);
}

} // namespace orvex::platform
