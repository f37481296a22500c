#include "platform/ConnectionState.h"

// clang-format off
#include <windows.h>
#include <wininet.h>
// clang-format on

namespace orvex::platform {
namespace {

class WinConnectionState final : public ConnectionState
{
public:
    std::uint32_t flags() override
    {
        // The flags are filled in whether or not the call reports a
        // connection, and only the flags are of interest.
        DWORD flags = 0;
        InternetGetConnectedState(&flags, 0);
        return flags;
    }
};

} // namespace

std::unique_ptr<ConnectionState> createConnectionState()
{
    return std::make_unique<WinConnectionState>();
}

} // namespace orvex::platform
