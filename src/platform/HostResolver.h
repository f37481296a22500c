#pragma once
// Host name -> first IPv4 address, without holding up the caller: the
// answer arrives later through the event loop (or at once when it is known).
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace orvex::platform {

class HostResolver
{
public:
    // The address in network byte order; nothing when the name does not resolve.
    using Done = std::function<void(std::optional<std::uint32_t>)>;

    virtual ~HostResolver() = default;
    // `name` is ANSI bytes (a host name or a dotted address). `done` is called
    // exactly once, possibly before this returns.
    virtual void lookupIPv4(const std::string &name, Done done) = 0;
};

// The system's resolver, through Qt on every platform.
std::unique_ptr<HostResolver> createHostResolver();

} // namespace orvex::platform
