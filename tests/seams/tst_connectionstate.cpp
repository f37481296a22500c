#include "SeamTest.h"
#include "platform/ConnectionState.h"

using namespace orvex::platform;

TEST_SUITE("connectionstate")
{
    TEST_CASE("only the seven single known bits are ever held")
    {
        for (std::int32_t flag = -2; flag <= 300; ++flag) {
            CAPTURE(flag);
            const bool known = flag == 1 || flag == 2 || flag == 4 || flag == 8 || flag == 16 ||
                               flag == 32 || flag == 64;
            CHECK(connectionFlagSet(0xFFFFFFFFu, flag) == known);
            CHECK_FALSE(connectionFlagSet(~static_cast<std::uint32_t>(flag), flag));
        }
    }

    TEST_CASE("the system's flags")
    {
        const std::uint32_t flags = createConnectionState()->flags();
        CAPTURE(flags);
        // Nothing beyond the documented bits; and a machine that runs this
        // test has its loopback up, which counts as a LAN where the system
        // reports one at all.
        CHECK((flags & ~0x7Fu) == 0);
        if (orvex::seamtest::kWindows)
            CHECK(connectionFlagSet(flags, connection_flag::Lan));
    }
}
