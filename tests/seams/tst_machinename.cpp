#include "SeamTest.h"
#include "platform/MachineName.h"

#include <cctype>

TEST_SUITE("machinename")
{
    TEST_CASE("the computer's name, as the system states it")
    {
        // Windows keeps names in upper case in one place and not in another.
        const auto lower = [](std::string s) {
            for (char &c : s)
                c = char(std::tolower(static_cast<unsigned char>(c)));
            return s;
        };
        const std::string name = orvex::platform::machineName();
        REQUIRE_FALSE(name.empty());
        CHECK(name.find('\0') == std::string::npos);
        CHECK(lower(name) == lower(orvex::seamtest::machineNameFromElsewhere()));
    }
}
