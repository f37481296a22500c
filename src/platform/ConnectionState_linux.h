#pragma once
#include "platform/ConnectionState.h"

#include <filesystem>

namespace orvex::platform {

// The connection flags as the kernel's interface list shows them under
// `<sysRoot>/class/net`:
// - an interface that is up (IFF_UP) with carrier is a connection: Modem for
//   point-to-point and mobile-broadband links (ppp*, wwan*, or ARPHRD_PPP),
//   Lan for everything else;
// - Configured when any interface other than loopback exists;
// - Offline when no such interface is connected.
// Proxy, ModemBusy and RasInstalled have no counterpart here and stay clear.
class SysfsConnectionState final : public ConnectionState
{
public:
    explicit SysfsConnectionState(std::filesystem::path sysRoot = "/sys");
    std::uint32_t flags() override;

private:
    std::filesystem::path m_sysRoot;
};

} // namespace orvex::platform
