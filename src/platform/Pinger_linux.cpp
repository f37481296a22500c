#include "platform/Pinger_linux.h"
#include "platform/Pinger.h"

#include <arpa/inet.h>
#include <linux/errqueue.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace orvex::platform {
namespace icmp {
namespace {

constexpr std::uint8_t kEchoReply = 0;
constexpr std::uint8_t kDestUnreachable = 3;
constexpr std::uint8_t kEchoRequest = 8;
constexpr std::uint8_t kTimeExceeded = 11;
constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kMinIpHeader = 20;

// Any short data serves; RFC 792 has the reply carry it back unchanged.
constexpr std::array<std::uint8_t, 32> kData = {
    'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l', 'm', 'n', 'o', 'p',
    'q', 'r', 's', 't', 'u', 'v', 'w', 'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i'};

std::uint16_t read16(std::span<const std::uint8_t> m, std::size_t at)
{
    return static_cast<std::uint16_t>((m[at] << 8) | m[at + 1]);
}

// Skips the IP header a raw socket delivers; empty when it is not there whole.
std::span<const std::uint8_t> skipIpHeader(std::span<const std::uint8_t> packet)
{
    if (packet.size() < kMinIpHeader || (packet[0] >> 4) != 4)
        return {};
    const std::size_t ihl = std::size_t(packet[0] & 0x0f) * 4;
    if (ihl < kMinIpHeader || packet.size() < ihl)
        return {};
    return packet.subspan(ihl);
}

} // namespace

std::uint16_t checksum(std::span<const std::uint8_t> message)
{
    std::uint32_t sum = 0;
    std::size_t i = 0;
    for (; i + 1 < message.size(); i += 2)
        sum += read16(message, i);
    if (i < message.size())
        sum += std::uint32_t(message[i]) << 8;
    while (sum >> 16)
        sum = (sum & 0xffff) + (sum >> 16);
    return static_cast<std::uint16_t>(~sum);
}

std::vector<std::uint8_t> buildEchoRequest(std::uint16_t id, std::uint16_t sequence)
{
    std::vector<std::uint8_t> m(kHeaderSize + kData.size(), 0);
    m[0] = kEchoRequest;
    m[4] = static_cast<std::uint8_t>(id >> 8);
    m[5] = static_cast<std::uint8_t>(id);
    m[6] = static_cast<std::uint8_t>(sequence >> 8);
    m[7] = static_cast<std::uint8_t>(sequence);
    std::copy(kData.begin(), kData.end(), m.begin() + kHeaderSize);
    const std::uint16_t sum = checksum(m);
    m[2] = static_cast<std::uint8_t>(sum >> 8);
    m[3] = static_cast<std::uint8_t>(sum);
    return m;
}

bool isOurRequest(std::span<const std::uint8_t> message, std::uint16_t id, std::uint16_t sequence)
{
    return message.size() >= kHeaderSize && message[0] == kEchoRequest &&
           read16(message, 4) == id && read16(message, 6) == sequence;
}

std::uint32_t statusForError(std::uint8_t type, std::uint8_t code)
{
    if (type == kTimeExceeded)
        return echo_status::TtlExpiredTransit;
    if (type != kDestUnreachable)
        return echo_status::GeneralFailure;
    switch (code) {
    case 0:
        return echo_status::DestNetUnreachable;
    case 2:
        return echo_status::DestProtUnreachable;
    case 3:
        return echo_status::DestPortUnreachable;
    default:
        return echo_status::DestHostUnreachable;
    }
}

std::optional<std::uint32_t> matchReply(std::span<const std::uint8_t> received, bool withIpHeader,
                                        std::uint16_t id, std::uint16_t sequence)
{
    const auto m = withIpHeader ? skipIpHeader(received) : received;
    if (m.size() < kHeaderSize)
        return std::nullopt;
    if (m[0] == kEchoReply) {
        if (read16(m, 4) != id || read16(m, 6) != sequence)
            return std::nullopt;
        const auto data = m.subspan(kHeaderSize);
        if (!std::equal(data.begin(), data.end(), kData.begin(), kData.end()))
            return std::nullopt;
        return echo_status::Success;
    }
    if (m[0] == kDestUnreachable || m[0] == kTimeExceeded) {
        // RFC 792: the error carries the IP header and first 8 bytes of the
        // datagram it is about, which is enough to see our id and sequence.
        const auto quoted = skipIpHeader(m.subspan(kHeaderSize));
        if (!isOurRequest(quoted, id, sequence))
            return std::nullopt;
        return statusForError(m[0], m[1]);
    }
    return std::nullopt;
}

} // namespace icmp

namespace {

class Fd
{
public:
    explicit Fd(int fd) : m_fd(fd) {}
    ~Fd()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;
};

std::atomic<std::uint16_t> g_sequence{0};

EchoResult failure(std::uint32_t status, std::string detail)
{
    EchoResult r;
    r.status = status;
    r.detail = std::move(detail);
    return r;
}

std::string errnoText(const char *what, int err)
{
    return std::string(what) + ": " + std::strerror(err);
}

// An unprivileged ICMP datagram socket where net.ipv4.ping_group_range allows
// it, else a raw socket (root or CAP_NET_RAW).
int openIcmpSocket(bool &raw, std::string &why)
{
    raw = false;
    int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_ICMP);
    if (fd >= 0)
        return fd;
    why = errnoText("no ICMP datagram socket (net.ipv4.ping_group_range)", errno);
    raw = true;
    fd = ::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP);
    if (fd < 0)
        why += "; " + errnoText("no raw ICMP socket (needs CAP_NET_RAW)", errno);
    return fd;
}

class LinuxPinger final : public Pinger
{
public:
    EchoResult echo(std::uint32_t address, std::uint32_t timeoutMs) override
    {
        bool raw = false;
        std::string why;
        Fd fd(openIcmpSocket(raw, why));
        if (fd.get() < 0)
            return failure(echo_status::GeneralFailure, why);
        if (!raw) {
            // ICMP errors about our echo reach a datagram socket only through
            // its error queue.
            const int on = 1;
            ::setsockopt(fd.get(), IPPROTO_IP, IP_RECVERR, &on, sizeof on);
        }

        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_addr.s_addr = address;

        std::uint16_t id = static_cast<std::uint16_t>(::getpid());
        const std::uint16_t sequence = ++g_sequence;
        const auto request = icmp::buildEchoRequest(id, sequence);
        const auto start = std::chrono::steady_clock::now();
        if (::sendto(fd.get(), request.data(), request.size(), 0,
                     reinterpret_cast<const sockaddr *>(&to), sizeof to) < 0) {
            return failure(echo_status::GeneralFailure, errnoText("sendto", errno));
        }
        if (!raw) {
            // The system puts its own identifier into the echo of a datagram
            // socket: the socket's local port.
            sockaddr_in local{};
            socklen_t len = sizeof local;
            if (::getsockname(fd.get(), reinterpret_cast<sockaddr *>(&local), &len) == 0)
                id = ntohs(local.sin_port);
        }

        const auto deadline = start + std::chrono::milliseconds(timeoutMs);
        std::array<std::uint8_t, 1500> buffer{};
        for (;;) {
            const auto now = std::chrono::steady_clock::now();
            if (now >= deadline)
                break;
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - now).count();
            pollfd p{fd.get(), POLLIN, 0};
            const int ready = ::poll(&p, 1, static_cast<int>(left));
            if (ready < 0 && errno == EINTR)
                continue;
            if (ready < 0)
                return failure(echo_status::GeneralFailure, errnoText("poll", errno));
            if (ready == 0)
                break;

            std::optional<std::uint32_t> status;
            if (p.revents & POLLERR)
                status = readErrorQueue(fd.get(), buffer, id, sequence);
            if (!status && (p.revents & POLLIN)) {
                const ssize_t n = ::recv(fd.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
                if (n > 0) {
                    status = icmp::matchReply(std::span(buffer.data(), std::size_t(n)), raw, id,
                                              sequence);
                }
            }
            if (status) {
                EchoResult r;
                r.replies = 1;
                r.status = *status;
                r.roundTripMs = static_cast<std::uint32_t>(
                    std::chrono::duration_cast<std::chrono::milliseconds>(
                        std::chrono::steady_clock::now() - start)
                        .count());
                if (*status != echo_status::Success)
                    r.detail = "ICMP error about the echo";
                return r;
            }
        }
        return failure(echo_status::RequestTimedOut,
                       "no reply within " + std::to_string(timeoutMs) + " ms");
    }

private:
    // One entry of a datagram socket's error queue: the ICMP error and the
    // request it quotes.
    static std::optional<std::uint32_t> readErrorQueue(int fd, std::array<std::uint8_t, 1500> &buf,
                                                       std::uint16_t id, std::uint16_t sequence)
    {
        std::array<char, 512> control{};
        iovec iov{buf.data(), buf.size()};
        msghdr msg{};
        msg.msg_iov = &iov;
        msg.msg_iovlen = 1;
        msg.msg_control = control.data();
        msg.msg_controllen = control.size();
        const ssize_t n = ::recvmsg(fd, &msg, MSG_ERRQUEUE | MSG_DONTWAIT);
        if (n < 0)
            return std::nullopt;
        if (!icmp::isOurRequest(std::span(buf.data(), std::size_t(n)), id, sequence))
            return std::nullopt;
        for (cmsghdr *c = CMSG_FIRSTHDR(&msg); c; c = CMSG_NXTHDR(&msg, c)) {
            if (c->cmsg_level != IPPROTO_IP || c->cmsg_type != IP_RECVERR)
                continue;
            sock_extended_err err{};
            std::memcpy(&err, CMSG_DATA(c), sizeof err);
            if (err.ee_origin == SO_EE_ORIGIN_ICMP)
                return icmp::statusForError(err.ee_type, err.ee_code);
        }
        return std::nullopt;
    }
};

} // namespace

std::unique_ptr<Pinger> createPinger()
{
    return std::make_unique<LinuxPinger>();
}

} // namespace orvex::platform
