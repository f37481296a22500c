#pragma once
// What the seams' tests need to know about the system they run on.
#include <doctest/doctest.h>

#include <algorithm>
#include <filesystem>
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

// The computer's name as the system states it elsewhere than the seam asks
// (the COMPUTERNAME variable on Windows, the kernel's host name on Linux).
std::string machineNameFromElsewhere();

// Whether this process may send ICMP echoes at all.
bool canPing();

// When the program was started as a child of a process test ("--child ..."),
// does what it was asked and returns the exit code; otherwise -1.
int runAsChild(int argc, char **argv);

// A shortcut as the system's own reader sees it.
struct LinkReadBack
{
    std::string target;
    std::vector<std::string> arguments;
    std::string caption;
};
LinkReadBack readLink(const std::string &path);

// The seams speak UTF-8, which a path takes as char8_t on either system.
inline std::filesystem::path fsPath(const std::string &utf8)
{
    return std::u8string(utf8.begin(), utf8.end());
}

// A small program file at `path`, its folders made.
inline void makeProgram(const std::string &path)
{
    std::filesystem::create_directories(fsPath(path).parent_path());
    std::ofstream(fsPath(path)) << (kWindows ? "MZ" : "#!/bin/sh\n");
    std::filesystem::permissions(fsPath(path), std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::add);
}

// The names of the files in a folder, sorted.
inline std::vector<std::string> filesIn(const std::string &folder)
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(fsPath(folder))) {
        const std::u8string name = entry.path().filename().u8string();
        names.emplace_back(name.begin(), name.end());
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace orvex::seamtest
