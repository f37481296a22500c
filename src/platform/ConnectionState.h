#pragma once
// The system's connection flags. Standard C++ types only: the Windows
// implementation is built without Qt.
#include <cstdint>
#include <memory>

namespace orvex::platform {

// The bits as the WinINet connected-state function reports them.
namespace connection_flag {
constexpr std::uint32_t Modem = 0x01;
constexpr std::uint32_t Lan = 0x02;
constexpr std::uint32_t Proxy = 0x04;
constexpr std::uint32_t ModemBusy = 0x08;
constexpr std::uint32_t RasInstalled = 0x10;
constexpr std::uint32_t Offline = 0x20;
constexpr std::uint32_t Configured = 0x40;
} // namespace connection_flag

class ConnectionState
{
public:
    virtual ~ConnectionState() = default;
    virtual std::uint32_t flags() = 0;
};

std::unique_ptr<ConnectionState> createConnectionState();

// Whether `flags` hold `flag`, which must be exactly one of the seven known
// bits: any other value (0, several bits, an unknown bit) is never held.
constexpr bool connectionFlagSet(std::uint32_t flags, std::int32_t flag)
{
    const bool oneKnownBit = flag > 0 && flag <= 0x40 && (flag & (flag - 1)) == 0;
    return oneKnownBit && (flags & static_cast<std::uint32_t>(flag)) != 0;
}

} // namespace orvex::platform
