#include "SeamTest.h"
#include "platform/MachineName.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

TEST_SUITE("machinename")
{
    TEST_CASE("the computer's name, as the system states it")
    {
        const std::string name = orvex::platform::machineName();
        // As the system states it elsewhere than the seam asks.
#ifdef _WIN32
        std::string other = std::getenv("COMPUTERNAME") ? std::getenv("COMPUTERNAME") : "";
#else
        std::string other;
        std::getline(std::ifstream("/proc/sys/kernel/hostname"), other);
#endif
        // Windows keeps names in upper case in one place and not in another.
        const auto same = [](unsigned char a, unsigned char b) {
            return std::tolower(a) == std::tolower(b);
        };
        CHECK((!name.empty() && std::ranges::equal(name, other, same)));
    }
}
