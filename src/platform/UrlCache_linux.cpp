#include "platform/UrlCache.h"

namespace orvex::platform {
namespace {

// Linux has no system-wide URL cache.
class NoUrlCache final : public UrlCache
{
public:
    std::vector<std::string> entryUrls() override { return {}; }
    bool deleteEntry(const std::string &) override { return false; }
};

} // namespace

std::unique_ptr<UrlCache> createUrlCache()
{
    return std::make_unique<NoUrlCache>();
}

} // namespace orvex::platform
