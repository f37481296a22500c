#include "SeamTest.h"
#include "TestWindow_win.h"
#include "platform/ProcessWindows.h"

#include <windows.h>

#include <fstream>
#include <string>

using namespace orvex::platform;

namespace {

std::string ownProgram()
{
    char path[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    return path;
}

HANDLE processOf(ProcessToken token)
{
    return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(token));
}

} // namespace

TEST_SUITE("processwindows")
{
    TEST_CASE("windows are found by their exact title or class and asked to close")
    {
        orvex::seamtest::TestWindow window(L"Orvex \u2013 a\u00F1o");
        const auto pw = createProcessWindows();
        REQUIRE(pw->hasWindowList());
        // Titles and classes come in UTF-8.
        CHECK(pw->findWindowByTitle("Orvex – año") == window.handle());
        CHECK(pw->findWindowByTitle("Orvex") == 0); // exact, not a prefix
        // The system compares titles without regard to letter case.
        CHECK(pw->findWindowByTitle("ORVEX – AÑO") == window.handle());
        CHECK(pw->findWindowByClass("OrvexProbeClass") == window.handle());
        CHECK(pw->findWindowByClass("") == 0);
        CHECK(pw->findWindowByClass("OrvexProbeClas") == 0);

        CHECK(pw->postClose(window.handle()));
        CHECK(orvex::seamtest::TestWindow::closeRequestsQueued() == 1);
        CHECK_FALSE(pw->postClose(0));
    }

    TEST_CASE("a started process runs in its working folder and is seen running until it ends")
    {
        char temp[MAX_PATH] = {};
        GetTempPathA(MAX_PATH, temp);
        const std::string folder = std::string(temp) + "orvex seam test";
        CreateDirectoryA(folder.c_str(), nullptr);
        const std::string out = folder + "\\cwd.txt";
        DeleteFileA(out.c_str());
        const auto pw = createProcessWindows();
        HANDLE go = CreateEventA(nullptr, TRUE, FALSE, "OrvexSeamTestGo");
        const ProcessToken p =
            pw->startProcess('"' + ownProgram() + "\" --child OrvexSeamTestGo \"" + out + '"',
                             folder, StartMode::NormalWindow);
        REQUIRE(p != 0);
        CHECK(pw->isRunning(p));
        SetEvent(go);
        CHECK(WaitForSingleObject(processOf(p), 10000) == WAIT_OBJECT_0);
        CHECK_FALSE(pw->isRunning(p));
        pw->release(p);
        CloseHandle(go);
        std::string written;
        std::getline(std::ifstream(out), written);
        CHECK(written == folder);

        for (const char *refused : {"", "C:\\orvex\\no-such-program.exe"})
            CHECK(pw->startProcess(refused) == 0);
        CHECK_FALSE(pw->isRunning(0));
    }
}
