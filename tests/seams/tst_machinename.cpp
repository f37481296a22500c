#include "SeamTest.h"
#include "platform/MachineName.h"

#include <algorithm>
#include <cctype>

TEST_SUITE("machinename")
{
    TEST_CASE("the computer's name, as the system states it")
    {
        std::string name = orvex::platform::machineName();
        std::string other = orvex::seamtest::machineNameFromElsewhere();
        // Windows keeps names in upper case in one place and not in another.
        for (std::string *s : {&name, &other})
            std::transform(s->begin(), s->end(), s->begin(),
                           [](unsigned char c) { return char(std::tolower(c)); });
        CHECK((!name.empty() && name == other));
    }
}
