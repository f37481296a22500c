#include "SeamTest.h"
#include "platform/DesktopEntry.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace orvex::seamtest {

bool canPing()
{
    for (int type : {SOCK_DGRAM, SOCK_RAW})
        if (const int fd = ::socket(AF_INET, type, IPPROTO_ICMP); fd >= 0)
            return ::close(fd), true;
    return false;
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
            const auto words = orvex::platform::desktopExecArguments(line.substr(5));
            if (!words.empty())
                back = {words.front(), {words.begin() + 1, words.end()}, back.caption};
        }
    }
    return back;
}

} // namespace orvex::seamtest
