#include "SeamTest.h"
#include "platform/ProcessWindows.h"
#include "platform/SystemMenu.h"

#include <windows.h>

#include <filesystem>

using namespace orvex::platform;

// A top-level window of the test's own class, which a close request destroys.
static HWND makeWindow(const wchar_t *title)
{
    static const WNDCLASSW probe{
        0,       DefWindowProcW, 0,       0,       GetModuleHandleW(nullptr),
        nullptr, nullptr,        nullptr, nullptr, L"OrvexProbeClass"};
    RegisterClassW(&probe); // after the first time, refused: it is there
    HWND w = CreateWindowExW(0, probe.lpszClassName, title, WS_OVERLAPPEDWINDOW, 0, 0, 120, 80,
                             nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    ShowWindow(w, SW_SHOWNORMAL);
    return w;
}

static const auto handleOf = [](HWND w) { return WindowHandle(std::uintptr_t(w)); };

TEST_SUITE_BEGIN("processwindows");

TEST_CASE("windows are found by their exact title or class and asked to close")
{
    HWND window = makeWindow(L"Orvex \u2013 a\u00F1o");
    const WindowHandle h = handleOf(window);
    const auto pw = createProcessWindows();
    REQUIRE(pw->hasWindowList());
    // Titles and classes come in UTF-8; the system ignores letter case; exact, not a prefix.
    CHECK((pw->findWindowByTitle("Orvex – año") == h && pw->findWindowByTitle("ORVEX – AÑO") == h &&
           pw->findWindowByClass("OrvexProbeClass") == h));
    CHECK((pw->findWindowByTitle("Orvex") == 0 && pw->findWindowByClass("OrvexProbeClas") == 0 &&
           pw->findWindowByClass("") == 0));
    // Posted: in this thread's queue at once, and handled here.
    CHECK((pw->postClose(h) && IsWindow(window) && !pw->postClose(0)));
    for (MSG msg; PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE);)
        DispatchMessageW(&msg);
    CHECK_FALSE(IsWindow(window));
}

TEST_CASE("a started process runs in its working folder and is seen running until it ends")
{
    const auto path = std::filesystem::temp_directory_path() / "orvex seam test";
    const std::string folder = path.string(), out = folder + "\\cwd.txt";
    std::filesystem::create_directories(path);
    std::filesystem::remove(out);
    const auto pw = createProcessWindows();
    // The file lands in the working folder only if the child runs there.
    const ProcessToken p = pw->startProcess("cmd /c cd > cwd.txt", folder, StartMode::NormalWindow);
    REQUIRE(p != 0);
    CHECK((WaitForSingleObject(HANDLE(p), 10000) == WAIT_OBJECT_0 && !pw->isRunning(p)));
    pw->release(p);
    std::string written;
    std::getline(std::ifstream(out), written);
    CHECK(written.substr(0, written.find('\r')) == folder);
    CHECK((pw->startProcess("") == 0 && pw->startProcess("C:\\orvex\\no-such-program.exe") == 0));
}
TEST_SUITE_END();

TEST_SUITE_BEGIN("systemmenu");

TEST_CASE("the item at position 6 goes by position, the credits are appended")
{
    HWND window = makeWindow(L"Orvex menu");
    HMENU menu = GetSystemMenu(window, FALSE);
    // The standard window menu: restore, move, size, minimise, maximise,
    // a separator, and close at position 6 (Wine adds its own lines after).
    const int end = GetMenuItemCount(menu) - 1;
    REQUIRE(GetMenuItemID(menu, 6) == SC_CLOSE);
    CHECK_FALSE((deleteSystemMenuItem(0, 6) || deleteSystemMenuItem(handleOf(window), -1) ||
                 appendSystemMenuLines(0, {"x"})));
    // Nothing before it moves.
    CHECK((deleteSystemMenuItem(handleOf(window), 6) && GetMenuItemID(menu, 4) == SC_MAXIMIZE &&
           GetMenuState(menu, SC_CLOSE, MF_BYCOMMAND) == UINT(-1)));
    CHECK(appendSystemMenuLines(handleOf(window), {"Sendaro - Lumaris", "Puerto Alcázar"}));
    REQUIRE(GetMenuItemCount(menu) == end + 3);
    CHECK((GetMenuState(menu, end, MF_BYPOSITION) & MF_SEPARATOR) != 0);
    wchar_t text[64] = {};
    GetMenuStringW(menu, end + 2, text, 64, MF_BYPOSITION);
    CHECK(std::wstring(text) == L"Puerto Alc\u00E1zar");
    CHECK(GetMenuItemID(menu, end + 1) < 0xF000); // a credit line is no system command
    DestroyWindow(window);
}
TEST_SUITE_END();
