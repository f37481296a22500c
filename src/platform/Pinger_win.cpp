#include "platform/Pinger.h"

// clang-format off
#include <winsock2.h>
#include <windows.h>
#include <iphlpapi.h>
#include <icmpapi.h>
// clang-format on

#include <vector>

namespace orvex::platform {
namespace {

class WinPinger final : public Pinger
{
public:
    EchoResult echo(std::uint32_t address, std::uint32_t timeoutMs) override
    {
        EchoResult r;
        HANDLE icmp = IcmpCreateFile();
        if (icmp == INVALID_HANDLE_VALUE) {
            r.status = GetLastError();
            r.detail = "IcmpCreateFile failed";
            return r;
        }
        // Any short data serves; the system's default time-to-live is used.
        static const char data[] = "abcdefghijklmnopqrstuvwabcdefghi";
        const DWORD dataSize = sizeof data - 1;
        // Room for one reply, its echoed data and the 8 bytes of an ICMP error
        // header the system may add.
        std::vector<unsigned char> reply(sizeof(ICMP_ECHO_REPLY) + dataSize + 8, 0);
        IP_OPTION_INFORMATION options{};
        options.Ttl = 128;

        const DWORD count =
            IcmpSendEcho(icmp, static_cast<IPAddr>(address), const_cast<char *>(data),
                         static_cast<WORD>(dataSize), &options, reply.data(),
                         static_cast<DWORD>(reply.size()), timeoutMs);
        const DWORD lastError = GetLastError();
        const auto *echoReply = reinterpret_cast<const ICMP_ECHO_REPLY *>(reply.data());
        r.replies = count;
        r.status = echoReply->Status;
        r.roundTripMs = echoReply->RoundTripTime;
        // With no reply the buffer may be left untouched; the reason is then
        // only in the last error (IP_REQ_TIMED_OUT and the like).
        if (count == 0 && r.status == 0)
            r.status = lastError;
        if (count == 0 || r.status != 0)
            r.detail = "IcmpSendEcho: no successful reply";
        IcmpCloseHandle(icmp);
        return r;
    }
};

} // namespace

std::unique_ptr<Pinger> createPinger()
{
    return std::make_unique<WinPinger>();
}

} // namespace orvex::platform
