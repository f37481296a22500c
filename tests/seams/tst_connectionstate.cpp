#include "SeamTest.h"
#include "platform/ConnectionState.h"

using namespace orvex::platform;

TEST_SUITE("connectionstate")
{
    TEST_CASE("the system states only the seven known bits")
    {
        // A machine that runs this test has its loopback up, which counts as
        // a LAN where the system reports one at all.
        const std::uint32_t flags = createConnectionState()->flags();
        CAPTURE(flags);
        CHECK((flags & ~0x7Fu) == 0);
        if (orvex::seamtest::kWindows)
            CHECK(connectionFlagSet(flags, connection_flag::Lan));
    }
}
