#include "SeamTest.h"
#include "TestWindow_win.h"
#include "platform/SystemMenu.h"

#include <windows.h>

using namespace orvex::platform;

TEST_SUITE("systemmenu")
{
    TEST_CASE("the item at position 6 goes by position, the credits are appended")
    {
        orvex::seamtest::TestWindow window(L"Orvex menu");
        HMENU menu = GetSystemMenu(window.hwnd(), FALSE);
        REQUIRE(menu);
        // The standard window menu: restore, move, size, minimise, maximise,
        // a separator, and close at position 6 (Wine adds its own lines after).
        const int before = GetMenuItemCount(menu);
        REQUIRE(before >= 7);
        REQUIRE(GetMenuItemID(menu, 6) == SC_CLOSE);

        CHECK(deleteSystemMenuItem(window.handle(), 6));
        CHECK(GetMenuItemCount(menu) == before - 1);
        CHECK(GetMenuState(menu, SC_CLOSE, MF_BYCOMMAND) == UINT(-1));
        const UINT kept[] = {SC_RESTORE, SC_MOVE, SC_SIZE, SC_MINIMIZE, SC_MAXIMIZE};
        for (int i = 0; i < 5; ++i)
            CHECK(GetMenuItemID(menu, i) == kept[i]); // nothing before it moved

        CHECK(appendSystemMenuLines(window.handle(), {"Sendaro - Lumaris", "Puerto Alcázar"}));
        const int end = before - 1;
        REQUIRE(GetMenuItemCount(menu) == end + 3);
        CHECK((GetMenuState(menu, end, MF_BYPOSITION) & MF_SEPARATOR) != 0);
        wchar_t text[64] = {};
        GetMenuStringW(menu, end + 1, text, 64, MF_BYPOSITION);
        CHECK(std::wstring(text) == L"Sendaro - Lumaris");
        GetMenuStringW(menu, end + 2, text, 64, MF_BYPOSITION);
        CHECK(std::wstring(text) == L"Puerto Alc\u00E1zar");
        // Choosing a credit line is no system command.
        CHECK(GetMenuItemID(menu, end + 1) < 0xF000);
    }

    TEST_CASE("no window, no menu")
    {
        CHECK_FALSE(deleteSystemMenuItem(0, 6));
        CHECK_FALSE(appendSystemMenuLines(0, {"x"}));
        orvex::seamtest::TestWindow window(L"Orvex menu 2");
        CHECK_FALSE(deleteSystemMenuItem(window.handle(), -1));
    }
}
