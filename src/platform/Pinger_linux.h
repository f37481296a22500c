#pragma once
// The ICMP message rules the Linux pinger builds and reads by hand; kept apart
// so that they can be tested without a socket.
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace orvex::platform::icmp {

// RFC 792 checksum: the one's complement of the one's complement sum of the
// message's 16-bit words (an odd last byte padded with zero). Returned in host
// order; it goes on the wire big-endian.
std::uint16_t checksum(std::span<const std::uint8_t> message);

// An echo request (type 8) with our identifier, sequence number and data, its
// checksum filled in.
std::vector<std::uint8_t> buildEchoRequest(std::uint16_t id, std::uint16_t sequence);

// The status that one received ICMP message means for our request `id` /
// `sequence`: 0 for the matching echo reply, an echo status for an error that
// quotes our request, nothing for anything else (other programs' traffic, our
// own request seen on loopback). `withIpHeader` is true for what a raw socket
// reads (the IP header comes first).
std::optional<std::uint32_t> matchReply(std::span<const std::uint8_t> received, bool withIpHeader,
                                        std::uint16_t id, std::uint16_t sequence);

// True when `message` is our own echo request (as an ICMP error quotes it).
bool isOurRequest(std::span<const std::uint8_t> message, std::uint16_t id, std::uint16_t sequence);

// Echo status for an ICMP error of `type` and `code`.
std::uint32_t statusForError(std::uint8_t type, std::uint8_t code);

} // namespace orvex::platform::icmp
