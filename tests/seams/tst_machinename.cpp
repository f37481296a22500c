#include "SeamTest.h"
#include "platform/MachineName.h"

#include <algorithm>
#include <cctype>

using namespace orvex::platform;

TEST_SUITE("machinename")
{
    TEST_CASE("the computer's name, as the system states it")
    {
        const std::string name = machineName();
        const std::string elsewhere = orvex::seamtest::machineNameFromElsewhere();
        CAPTURE(name);
        CAPTURE(elsewhere);
        REQUIRE_FALSE(name.empty());
        CHECK(name.find('\0') == std::string::npos);
        // Windows keeps names in upper case in one place and not in another.
        const auto lower = [](std::string s) {
            std::transform(s.begin(), s.end(), s.begin(),
                           [](unsigned char c) { return char(std::tolower(c)); });
            return s;
        };
        CHECK(lower(name) == lower(elsewhere));
    }
}
