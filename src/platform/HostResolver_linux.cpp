#include "platform/HostResolver.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstring>

namespace orvex::platform {
namespace {

class LinuxHostResolver final : public HostResolver
{
public:
    std::optional<std::uint32_t> resolveIPv4(const std::string &name) override
    {
        if (name.empty())
            return std::nullopt;
        addrinfo hints{};
        hints.ai_family = AF_INET;
        addrinfo *found = nullptr;
        if (::getaddrinfo(name.c_str(), nullptr, &hints, &found) != 0 || !found)
            return std::nullopt;
        std::optional<std::uint32_t> address;
        for (const addrinfo *a = found; a; a = a->ai_next) {
            if (a->ai_family == AF_INET && a->ai_addrlen >= sizeof(sockaddr_in)) {
                sockaddr_in in{};
                std::memcpy(&in, a->ai_addr, sizeof in);
                address = in.sin_addr.s_addr;
                break;
            }
        }
        ::freeaddrinfo(found);
        return address;
    }
};

} // namespace

std::unique_ptr<HostResolver> createHostResolver()
{
    return std::make_unique<LinuxHostResolver>();
}

} // namespace orvex::platform
