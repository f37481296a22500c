#include "SeamTest.h"
#include "platform/DesktopEntry.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace orvex::seamtest {

std::string machineNameFromElsewhere()
{
    std::ifstream in("/proc/sys/kernel/hostname");
    std::string name;
    std::getline(in, name);
    return name;
}

bool canPing()
{
    for (int type : {SOCK_DGRAM, SOCK_RAW}) {
        const int fd = ::socket(AF_INET, type, IPPROTO_ICMP);
        if (fd >= 0) {
            ::close(fd);
            return true;
        }
    }
    return false;
}

int runAsChild(int, char **)
{
    return -1;
}

void makeProgram(const std::string &path)
{
    const std::filesystem::path file(path);
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << "#!/bin/sh\n";
    std::filesystem::permissions(file, std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::add);
}

std::vector<std::string> filesIn(const std::string &folder)
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

void removeTree(const std::string &folder)
{
    std::filesystem::remove_all(folder);
}

// The keys of the desktop entry a menu or autostart would read.
LinkReadBack readLink(const std::string &path)
{
    std::ifstream in(path);
    LinkReadBack back;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("Name=", 0) == 0)
            back.caption = line.substr(5);
        if (line.rfind("Exec=", 0) == 0) {
            std::vector<std::string> words = orvex::platform::desktopExecArguments(line.substr(5));
            if (!words.empty()) {
                back.target = words.front();
                back.arguments.assign(words.begin() + 1, words.end());
            }
        }
    }
    return back;
}

} // namespace orvex::seamtest
