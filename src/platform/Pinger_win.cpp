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

// Any short data serves; the system's default time-to-live is used.
constexpr char kData[] = "abcdefghijklmnopqrstuvwabcdefghi";
constexpr DWORD kDataSize = sizeof kData - 1;

// One echo sent with IcmpSendEcho2: the system signals the event when the
// reply, an error or the time-out has come, and the caller checks it without
// waiting.
class WinPendingEcho final : public PendingEcho
{
public:
    WinPendingEcho(std::uint32_t address, std::uint32_t timeoutMs)
        // Room for one reply, its echoed data and the 8 bytes of an ICMP
        // error header the system may add.
        : m_reply(sizeof(ICMP_ECHO_REPLY) + kDataSize + 8, 0)
    {
        m_icmp = IcmpCreateFile();
        if (m_icmp == INVALID_HANDLE_VALUE) {
            fail(GetLastError(), "IcmpCreateFile failed");
            return;
        }
        m_event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        if (!m_event) {
            fail(GetLastError(), "CreateEvent failed");
            return;
        }
        IP_OPTION_INFORMATION options{};
        options.Ttl = 128;
        const DWORD sent =
            IcmpSendEcho2(m_icmp, m_event, nullptr, nullptr, static_cast<IPAddr>(address),
                          const_cast<char *>(kData), static_cast<WORD>(kDataSize), &options,
                          m_reply.data(), static_cast<DWORD>(m_reply.size()), timeoutMs);
        // With an event the call normally returns 0 and ERROR_IO_PENDING;
        // anything else is already the answer.
        if (sent != 0)
            m_result = parse();
        else if (const DWORD e = GetLastError(); e != ERROR_IO_PENDING)
            fail(e, "IcmpSendEcho2 failed");
    }
    ~WinPendingEcho() override
    {
        // The system may still write into the reply buffer until the request
        // has completed.
        if (!m_result && m_event)
            WaitForSingleObject(m_event, INFINITE);
        if (m_event)
            CloseHandle(m_event);
        if (m_icmp != INVALID_HANDLE_VALUE)
            IcmpCloseHandle(m_icmp);
    }
    WinPendingEcho(const WinPendingEcho &) = delete;
    WinPendingEcho &operator=(const WinPendingEcho &) = delete;

    std::optional<EchoResult> check() override
    {
        if (!m_result && WaitForSingleObject(m_event, 0) == WAIT_OBJECT_0)
            m_result = parse();
        return m_result;
    }

    EchoResult wait()
    {
        if (!m_result && m_event)
            WaitForSingleObject(m_event, INFINITE);
        return *check();
    }

private:
    void fail(DWORD status, const char *detail)
    {
        EchoResult r;
        r.status = status;
        r.detail = detail;
        m_result = r;
    }

    EchoResult parse()
    {
        EchoResult r;
        const DWORD count = IcmpParseReplies(m_reply.data(), static_cast<DWORD>(m_reply.size()));
        const DWORD lastError = GetLastError();
        const auto *echoReply = reinterpret_cast<const ICMP_ECHO_REPLY *>(m_reply.data());
        r.replies = count;
        r.status = echoReply->Status;
        r.roundTripMs = echoReply->RoundTripTime;
        // With no reply the buffer may be left untouched; the reason is then
        // only in the last error (IP_REQ_TIMED_OUT and the like).
        if (count == 0 && r.status == 0)
            r.status = lastError;
        if (count == 0 || r.status != 0)
            r.detail = "IcmpSendEcho2: no successful reply";
        return r;
    }

    HANDLE m_icmp = INVALID_HANDLE_VALUE;
    HANDLE m_event = nullptr;
    std::vector<unsigned char> m_reply;
    std::optional<EchoResult> m_result;
};

class WinPinger final : public Pinger
{
public:
    std::unique_ptr<PendingEcho> send(std::uint32_t address, std::uint32_t timeoutMs) override
    {
        return std::make_unique<WinPendingEcho>(address, timeoutMs);
    }
    EchoResult echo(std::uint32_t address, std::uint32_t timeoutMs) override
    {
        return WinPendingEcho(address, timeoutMs).wait();
    }
};

} // namespace

std::unique_ptr<Pinger> createPinger()
{
    return std::make_unique<WinPinger>();
}

} // namespace orvex::platform
