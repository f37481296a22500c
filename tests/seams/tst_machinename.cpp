#include "SeamTest.h"
#include "platform/MachineName.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

TEST_CASE("the computer's name, as the system states it elsewhere" *
          doctest::test_suite("machinename"))
{
#ifdef _WIN32
    const char *set = std::getenv("COMPUTERNAME");
    const std::string other = set ? set : "";
#else
    std::string other;
    std::getline(std::ifstream("/proc/sys/kernel/hostname"), other);
#endif
    // Windows keeps names in upper case in one place and not in another.
    const auto same = [](unsigned char a, unsigned char b) { return tolower(a) == tolower(b); };
    const std::string name = orvex::platform::machineName();
    CHECK((!name.empty() && std::ranges::equal(name, other, same)));
}
