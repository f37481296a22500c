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
    if (packet.empty() || (packet[0] >> 4) != 4)
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

// One echo request sent on its own ICMP socket; the socket is read without
// waiting each time the caller checks.
class LinuxPendingEcho final : public PendingEcho
{
public:
    LinuxPendingEcho(std::uint32_t address, std::uint32_t timeoutMs)
        : m_start(std::chrono::steady_clock::now()),
          m_deadline(m_start + std::chrono::milliseconds(timeoutMs)), m_timeoutMs(timeoutMs)
    {
        std::string why;
        m_fd = openIcmpSocket(m_raw, why);
        if (m_fd < 0) {
            m_result = failure(echo_status::GeneralFailure, why);
            return;
        }
        if (!m_raw) {
            // ICMP errors about our echo reach a datagram socket only through
            // its error queue.
            const int on = 1;
            ::setsockopt(m_fd, IPPROTO_IP, IP_RECVERR, &on, sizeof on);
        }
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_addr.s_addr = address;
        m_id = static_cast<std::uint16_t>(::getpid());
        m_sequence = ++g_sequence;
        const auto request = icmp::buildEchoRequest(m_id, m_sequence);
        const auto sent = ::sendto(m_fd, request.data(), request.size(), 0,
                                   reinterpret_cast<const sockaddr *>(&to), sizeof to);
        if (sent != static_cast<ssize_t>(request.size())) {
            m_result = failure(echo_status::GeneralFailure, errnoText("sendto", errno));
            return;
        }
        if (!m_raw) {
            // The system puts its own identifier into the echo of a datagram
            // socket: the socket's local port.
            sockaddr_in local{};
            socklen_t len = sizeof local;
            if (::getsockname(m_fd, reinterpret_cast<sockaddr *>(&local), &len) == 0)
                m_id = ntohs(local.sin_port);
        }
    }
    ~LinuxPendingEcho() override
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    LinuxPendingEcho(const LinuxPendingEcho &) = delete;
    LinuxPendingEcho &operator=(const LinuxPendingEcho &) = delete;

    int readableSocket() const override { return m_result ? -1 : m_fd; }

    std::optional<EchoResult> check() override
    {
        if (m_result)
            return m_result;
        // Everything waiting is read: a raw socket also sees other programs'
        // ICMP traffic, which must not keep the socket readable.
        for (;;) {
            pollfd p{m_fd, POLLIN, 0};
            const int ready = ::poll(&p, 1, 0);
            if (ready < 0 && errno == EINTR)
                continue;
            if (ready < 0)
                return m_result = failure(echo_status::GeneralFailure, errnoText("poll", errno));
            if (ready == 0)
                break;
            std::optional<std::uint32_t> status;
            bool read = false;
            if (p.revents & POLLERR)
                status = readErrorQueue(read);
            if (!status && (p.revents & POLLIN)) {
                const ssize_t n = ::recv(m_fd, m_buffer.data(), m_buffer.size(), MSG_DONTWAIT);
                read = read || n >= 0;
                if (n > 0)
                    status = icmp::matchReply(std::span(m_buffer.data(), std::size_t(n)), m_raw,
                                              m_id, m_sequence);
            }
            if (status)
                return m_result = answered(*status);
            if (!read)
                break;
        }
        if (std::chrono::steady_clock::now() >= m_deadline)
            return m_result = failure(echo_status::RequestTimedOut,
                                      "no reply within " + std::to_string(m_timeoutMs) + " ms");
        return std::nullopt;
    }

    // Sleeps on the socket until the answer or the deadline.
    EchoResult wait()
    {
        for (;;) {
            if (auto r = check())
                return *r;
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(
                                  m_deadline - std::chrono::steady_clock::now())
                                  .count();
            pollfd p{m_fd, POLLIN, 0};
            ::poll(&p, 1, static_cast<int>(std::max<std::int64_t>(left, 0)));
        }
    }

private:
    EchoResult answered(std::uint32_t status) const
    {
        EchoResult r;
        r.replies = 1;
        r.status = status;
        r.roundTripMs =
            static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                           std::chrono::steady_clock::now() - m_start)
                                           .count());
        if (status != echo_status::Success)
            r.detail = "ICMP error about the echo";
        return r;
    }

    // One entry of a datagram socket's error queue: the ICMP error and the
    // request it quotes.
    std::optional<std::uint32_t> readErrorQueue(bool &read)
    {
        std::array<char, 512> control{};
        iovec iov{m_buffer.data(), m_buffer.size()};
        msghdr msg{};
        msg.msg_iov = &iov;
        msg.msg_iovlen = 1;
        msg.msg_control = control.data();
        msg.msg_controllen = control.size();
        const ssize_t n = ::recvmsg(m_fd, &msg, MSG_ERRQUEUE | MSG_DONTWAIT);
        if (n < 0)
            return std::nullopt;
        read = true;
        if (!icmp::isOurRequest(std::span(m_buffer.data(), std::size_t(n)), m_id, m_sequence))
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

    std::chrono::steady_clock::time_point m_start, m_deadline;
    std::uint32_t m_timeoutMs;
    int m_fd = -1;
    bool m_raw = false;
    std::uint16_t m_id = 0, m_sequence = 0;
    std::optional<EchoResult> m_result;
    std::array<std::uint8_t, 1500> m_buffer{};
};

class LinuxPinger final : public Pinger
{
public:
    std::unique_ptr<PendingEcho> send(std::uint32_t address, std::uint32_t timeoutMs) override
    {
        return std::make_unique<LinuxPendingEcho>(address, timeoutMs);
    }
    EchoResult echo(std::uint32_t address, std::uint32_t timeoutMs) override
    {
        return LinuxPendingEcho(address, timeoutMs).wait();
    }
};

} // namespace

std::unique_ptr<Pinger> createPinger()
{
    return std::make_unique<LinuxPinger>();
}

} // namespace orvex::platform
