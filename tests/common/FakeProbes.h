#pragma once
// Echo and name look-up answered as the test says, for code that pings.
#include "platform/HostResolver.h"
#include "platform/Pinger.h"
#include "platform/UrlCache.h"
#include "support/Net.h"

#include <cstring>
#include <map>
#include <memory>
#include <optional>
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

// Answers every echo with `answer` when set, else the echoes to
// `answering` with success and every other with a time-out. Records each
// address and time-out. With `held`, an echo stays on its way until the test
// releases it (see releaseAll()).
struct FakePinger final : platform::Pinger
{
    struct Pending final : platform::PendingEcho
    {
        explicit Pending(const platform::EchoResult &r, const bool &held) : result(r), held(held) {}
        std::optional<platform::EchoResult> check() override
        {
            if (held)
                return std::nullopt;
            return result;
        }
        platform::EchoResult result;
        const bool &held;
    };

    std::unique_ptr<platform::PendingEcho> send(std::uint32_t address,
                                                std::uint32_t timeoutMs) override
    {
        return std::make_unique<Pending>(echo(address, timeoutMs), held);
    }
    platform::EchoResult echo(std::uint32_t address, std::uint32_t timeoutMs) override
    {
        sent.push_back(address);
        timeouts.push_back(timeoutMs);
        if (answer)
            return *answer;
        platform::EchoResult r;
        r.replies = 1;
        r.status = answering.count(address) ? platform::echo_status::Success
                                            : platform::echo_status::RequestTimedOut;
        return r;
    }
    void releaseAll() { held = false; }

    std::optional<platform::EchoResult> answer;
    std::map<std::uint32_t, bool> answering;
    bool held = false;
    std::vector<std::uint32_t> sent, timeouts;
};

// Knows the names in `names`; dotted addresses resolve to themselves.
// Answers at once and records each name asked.
struct FakeResolver final : platform::HostResolver
{
    void lookupIPv4(const std::string &name, Done done) override
    {
        asked.push_back(name);
        if (auto it = names.find(name); it != names.end())
            return done(it->second);
        const quint32 parsed = Net::IP2Long(QString::fromStdString(name));
        done(parsed != 0xFFFFFFFFu && !name.empty() ? std::optional(parsed) : std::nullopt);
    }
    std::map<std::string, std::uint32_t> names;
    std::vector<std::string> asked;
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
