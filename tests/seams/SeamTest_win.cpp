#include "SeamTest.h"

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <fstream>

namespace orvex::seamtest {

std::string machineNameFromElsewhere()
{
    const char *name = std::getenv("COMPUTERNAME");
    return name ? name : "";
}

bool canPing()
{
    return true;
}

// "--child exit": ends at once. "--child wait EVENT": ends when the named
// event is set. "--child cwd FILE": writes its working folder into FILE.
int runAsChild(int argc, char **argv)
{
    if (argc < 3 || std::strcmp(argv[1], "--child") != 0)
        return -1;
    const std::string what = argv[2];
    if (what == "exit")
        return 0;
    if (what == "wait" && argc > 3) {
        HANDLE event = OpenEventA(SYNCHRONIZE, FALSE, argv[3]);
        if (!event)
            return 2;
        WaitForSingleObject(event, INFINITE);
        CloseHandle(event);
        return 0;
    }
    if (what == "cwd" && argc > 3) {
        char folder[MAX_PATH] = {};
        GetCurrentDirectoryA(MAX_PATH, folder);
        std::ofstream(argv[3]) << folder;
        return 0;
    }
    return 3;
}

} // namespace orvex::seamtest
