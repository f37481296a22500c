#include "SeamTest.h"
#include "platform/Pinger.h"

#ifdef _WIN32
#include <winsock2.h>
#else
#include <arpa/inet.h>
#endif

#include <cstdlib>
#include <optional>
#include <thread>

using namespace orvex::platform;

// Loopback answers at once, but a machine busy with builds may take its time;
// the answer, not its speed, is what is tested.
constexpr std::uint32_t kLoaded = 5000;

TEST_SUITE_BEGIN("pinger");

// Skipped where no ICMP sockets are permitted.
TEST_CASE("an echo to the loopback address is answered, waited for or checked on" *
          doctest::skip(!orvex::seamtest::canPing()))
{
    const auto pinger = createPinger();
    const std::uint32_t loopback = inet_addr("127.0.0.1");
    for (int i = 0; i < 2; ++i) { // a second echo must not take the first one's reply
        const EchoResult r = pinger->echo(loopback, kLoaded);
        // A failure's detail says why; an answer has none.
        CHECK_MESSAGE((r.replies == 1 && r.status == echo_status::Success && r.detail.empty()),
                      r.detail);
    }
    // The caller's event loop would sleep on the socket; here a yield
    // between checks stands for it. The echo's time-out ends the loop.
    const auto echo = pinger->send(loopback, kLoaded);
    std::optional<EchoResult> r;
    while (!(r = echo->check()))
        std::this_thread::yield();
    // The answer stays, and there is nothing more to watch.
    CHECK((r->replies == 1 && echo->check()->status == echo_status::Success &&
           echo->readableSocket() == -1));
}

// Set by the runner inside a network namespace of its own, where this address
// swallows every packet; skipped without it.
static const char *const silent = std::getenv("ORVEX_SILENT_ADDRESS");

TEST_CASE("an unanswered echo ends with its time-out" *
          doctest::skip(!silent || !orvex::seamtest::canPing()))
{
    // A time-out taken as seconds would hang here until the runner stops it.
    const EchoResult r = createPinger()->echo(inet_addr(silent), 300);
    CHECK_MESSAGE((r.replies == 0 && r.status == echo_status::RequestTimedOut), r.detail);
}
TEST_SUITE_END();
