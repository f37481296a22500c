#include "platform/HostResolver.h"

// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
// clang-format on

#include <cstring>

namespace orvex::platform {
namespace {

class WinHostResolver final : public HostResolver
{
public:
    WinHostResolver() { m_started = WSAStartup(MAKEWORD(2, 2), &m_wsa) == 0; }
    ~WinHostResolver() override
    {
        if (m_started)
            WSACleanup();
    }
    WinHostResolver(const WinHostResolver &) = delete;
    WinHostResolver &operator=(const WinHostResolver &) = delete;

    std::optional<std::uint32_t> resolveIPv4(const std::string &name) override
    {
        if (!m_started || name.empty())
            return std::nullopt;
        addrinfo hints{};
        hints.ai_family = AF_INET;
        addrinfo *found = nullptr;
        if (getaddrinfo(name.c_str(), nullptr, &hints, &found) != 0 || !found)
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
        freeaddrinfo(found);
        return address;
    }

private:
    WSADATA m_wsa{};
    bool m_started = false;
};

} // namespace

std::unique_ptr<HostResolver> createHostResolver()
{
    return std::make_unique<WinHostResolver>();
}

} // namespace orvex::platform
