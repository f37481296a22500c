#pragma once
// The system's URL cache (WinINet). Other systems have none: the list is
// empty and deleting does nothing. Standard C++ types only: the Windows
// implementation is built without Qt.
#include <memory>
#include <string>
#include <vector>

namespace orvex::platform {

class UrlCache
{
public:
    virtual ~UrlCache() = default;
    // Each entry's source URL, as ANSI bytes.
    virtual std::vector<std::string> entryUrls() = 0;
    // False when the entry could not be deleted (or there is no cache).
    virtual bool deleteEntry(const std::string &url) = 0;
};

std::unique_ptr<UrlCache> createUrlCache();

} // namespace orvex::platform
