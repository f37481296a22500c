#pragma once
// What the seams' tests need to know about the system they run on.
#include <doctest/doctest.h>

#include <fstream>
#include <string>
#include <vector>

namespace orvex::seamtest {

#ifdef _WIN32
constexpr bool kWindows = true;
#else
constexpr bool kWindows = false;
#endif
constexpr char kSeparator = kWindows ? '\\' : '/';

// Whether this process may send ICMP echoes at all.
bool canPing();

// A shortcut as the system's own reader sees it.
struct LinkReadBack
{
    std::string target;
    std::vector<std::string> arguments;
    std::string caption;
    bool operator==(const LinkReadBack &) const = default;
};
LinkReadBack readLink(const std::string &path);

} // namespace orvex::seamtest
