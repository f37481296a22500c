#pragma once
// One ICMP echo (RFC 792) to an IPv4 address. Standard C++ types only: the
// Windows implementation is built without Qt.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace orvex::platform {

// Status numbers of an echo. They are the system's IP_STATUS values on
// Windows; the Linux implementation reports the same numbers for the same
// outcomes so that logs read alike on both.
namespace echo_status {
constexpr std::uint32_t Success = 0;
constexpr std::uint32_t DestNetUnreachable = 11002;
constexpr std::uint32_t DestHostUnreachable = 11003;
constexpr std::uint32_t DestProtUnreachable = 11004;
constexpr std::uint32_t DestPortUnreachable = 11005;
constexpr std::uint32_t RequestTimedOut = 11010;
constexpr std::uint32_t TtlExpiredTransit = 11013;
constexpr std::uint32_t GeneralFailure = 11050;
} // namespace echo_status

struct EchoResult
{
    // How many replies arrived (0 or 1): an ICMP error about our request
    // counts as a reply, with a non-zero status.
    std::uint32_t replies = 0;
    std::uint32_t status = echo_status::GeneralFailure;
    std::uint32_t roundTripMs = 0;
    // Why it failed, for the log (empty on success).
    std::string detail;
};

// What a failed echo says, in the words the agent logs and keeps: no reply
// at all, or a reply that carries a failure status.
inline std::string echoFailureText(const EchoResult &r)
{
    return (r.replies == 0 ? "Ping failed, error = " : "Ping failed to complete, error = ") +
           std::to_string(r.status);
}

// One echo on its way.
class PendingEcho
{
public:
    virtual ~PendingEcho() = default;
    // Looks for the answer without waiting: the result once the reply (or an
    // error about the request) has come or the time-out has passed, nothing
    // while the echo is still on its way.
    virtual std::optional<EchoResult> check() = 0;
    // A socket that turns readable when check() may have news, so that the
    // caller can sleep until then; -1 where there is none and the caller
    // checks on a short timer instead.
    virtual int readableSocket() const { return -1; }
};

class Pinger
{
public:
    virtual ~Pinger() = default;
    // Sends one echo and returns at once. `address` is in network byte order
    // (the bytes a.b.c.d in memory order).
    virtual std::unique_ptr<PendingEcho> send(std::uint32_t address, std::uint32_t timeoutMs) = 0;
    // Sends one echo and blocks until its result, at most `timeoutMs`: for
    // callers without an event loop.
    virtual EchoResult echo(std::uint32_t address, std::uint32_t timeoutMs) = 0;
};

std::unique_ptr<Pinger> createPinger();

} // namespace orvex::platform
