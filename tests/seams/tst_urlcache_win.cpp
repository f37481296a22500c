#include "SeamTest.h"
#include "platform/UrlCache.h"

#include <algorithm>

// clang-format off
#include <windows.h>
#include <wininet.h>
// clang-format on

using namespace orvex::platform;

// Puts `url` into the prefix's own URL cache with a small body.
static bool cache(const std::string &url)
{
    char file[MAX_PATH] = {};
    if (!CreateUrlCacheEntryA(url.c_str(), 0, "txt", file, 0))
        return false;
    std::ofstream(file) << "R:OK";
    FILETIME none{};
    return CommitUrlCacheEntryA(url.c_str(), file, none, none, NORMAL_CACHE_ENTRY, nullptr, 0,
                                nullptr, nullptr) != FALSE;
}

TEST_CASE("an entry is enumerated until it is deleted" * doctest::test_suite("urlcache"))
{
    const std::string a = "http://127.0.0.1:9751/DynIP?CMD=KEEPALIVE";
    const std::string b = "http://127.0.0.1/ox/updatelistfiles.cgi?group=Ox";
    REQUIRE((cache(a) && cache(b)));
    const auto urlCache = createUrlCache();
    const auto listed = [&](const std::string &url) {
        return std::ranges::count(urlCache->entryUrls(), url) == 1;
    };
    CHECK((listed(a) && listed(b) && urlCache->deleteEntry(a)));
    CHECK((!listed(a) && listed(b)));
    CHECK_FALSE(urlCache->deleteEntry(a)); // gone already
}
