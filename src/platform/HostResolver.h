#pragma once
// Host name -> first IPv4 address. Standard C++ types only: the Windows
// implementation is built without Qt.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace orvex::platform {

class HostResolver
{
public:
    virtual ~HostResolver() = default;
    // `name` is ANSI bytes (a host name or a dotted address). The result is in
    // network byte order; empty when the name does not resolve.
    virtual std::optional<std::uint32_t> resolveIPv4(const std::string &name) = 0;
};

std::unique_ptr<HostResolver> createHostResolver();

} // namespace orvex::platform
