#include "platform/UrlCache.h"

// clang-format off
#include <windows.h>
#include <wininet.h>
// clang-format on

#include <vector>

namespace orvex::platform {
namespace {

class WinUrlCache final : public UrlCache
{
public:
    std::vector<std::string> entryUrls() override
    {
        std::vector<std::string> urls;
        std::vector<unsigned char> buffer(4096);
        HANDLE find = nullptr;
        const auto first = [&](DWORD &size) {
            find = FindFirstUrlCacheEntryA(nullptr, entry(buffer), &size);
            return find != nullptr;
        };
        const auto next = [&](DWORD &size) {
            return FindNextUrlCacheEntryA(find, entry(buffer), &size) != FALSE;
        };
        if (!withGrowth(buffer, first))
            return urls;
        // The walk ends at ERROR_NO_MORE_ITEMS (or at a real failure).
        do {
            if (const char *url = entry(buffer)->lpszSourceUrlName)
                urls.emplace_back(url);
        } while (withGrowth(buffer, next));
        FindCloseUrlCache(find);
        return urls;
    }

    bool deleteEntry(const std::string &url) override
    {
        return DeleteUrlCacheEntryA(url.c_str()) != FALSE;
    }

private:
    // Calls `fetch` again with a larger buffer when the system reports the
    // entry too big for it.
    template <typename Fetch>
    static bool withGrowth(std::vector<unsigned char> &buffer, const Fetch &fetch)
    {
        DWORD size = static_cast<DWORD>(buffer.size());
        if (fetch(size))
            return true;
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER)
            return false;
        buffer.resize(size);
        size = static_cast<DWORD>(buffer.size());
        return fetch(size);
    }

    static INTERNET_CACHE_ENTRY_INFOA *entry(std::vector<unsigned char> &buffer)
    {
        return reinterpret_cast<INTERNET_CACHE_ENTRY_INFOA *>(buffer.data());
    }
};

} // namespace

std::unique_ptr<UrlCache> createUrlCache()
{
    return std::make_unique<WinUrlCache>();
}

} // namespace orvex::platform
