#pragma once
// Echo and name look-up answered as the test says, for code that pings.
#include "platform/HostResolver.h"
#include "platform/Pinger.h"
#include "platform/UrlCache.h"
#include "support/Net.h"

#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace orvex::test {

// The address a.b.c.d as it lies in memory in network byte order.
inline std::uint32_t ipv4(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d)
{
    const std::uint8_t bytes[4] = {a, b, c, d};
    std::uint32_t v;
    std::memcpy(&v, bytes, sizeof v);
    return v;
}

// Answers the echoes to `answering` with success, every other with a
// time-out; records each address.
struct FakePinger final : platform::Pinger
{
    platform::EchoResult echo(std::uint32_t address, std::uint32_t) override
    {
        sent.push_back(address);
        platform::EchoResult r;
        r.replies = 1;
        r.status = answering.count(address) ? platform::echo_status::Success
                                            : platform::echo_status::RequestTimedOut;
        return r;
    }
    std::map<std::uint32_t, bool> answering;
    std::vector<std::uint32_t> sent;
};

// Knows the names in `names`; dotted addresses resolve to themselves.
struct FakeResolver final : platform::HostResolver
{
    std::optional<std::uint32_t> resolveIPv4(const std::string &name) override
    {
        if (auto it = names.find(name); it != names.end())
            return it->second;
        const quint32 parsed = Net::IP2Long(QString::fromStdString(name));
        if (parsed != 0xFFFFFFFFu)
            return parsed;
        return std::nullopt;
    }
    std::map<std::string, std::uint32_t> names;
};

struct EmptyUrlCache final : platform::UrlCache
{
    std::vector<std::string> entryUrls() override { return {}; }
    bool deleteEntry(const std::string &) override { return false; }
};

// A Net whose pings answer as `pinger` says.
struct FakeNet
{
    FakePinger pinger;
    FakeResolver resolver;
    EmptyUrlCache cache;
    Net net{pinger, resolver, cache};
};

} // namespace orvex::test
