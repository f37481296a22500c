#include "SeamTest.h"
#include "platform/MachineName.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

TEST_SUITE("machinename")
{
    TEST_CASE("the computer's name, as the system states it")
    {
        std::string name = orvex::platform::machineName();
        // As the system states it elsewhere than the seam asks.
#ifdef _WIN32
        std::string other = std::getenv("COMPUTERNAME") ? std::getenv("COMPUTERNAME") : "";
#else
        std::string other;
        std::getline(std::ifstream("/proc/sys/kernel/hostname"), other);
#endif
        // Windows keeps names in upper case in one place and not in another.
        for (std::string *s : {&name, &other})
            std::transform(s->begin(), s->end(), s->begin(),
                           [](unsigned char c) { return char(std::tolower(c)); });
        CHECK((!name.empty() && name == other));
    }
}
