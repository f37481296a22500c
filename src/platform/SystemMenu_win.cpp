#include "platform/SystemMenu.h"

#include "platform/WideText_win.h"

#include <windows.h>

#include <cstdint>

namespace orvex::platform {

namespace {

HMENU systemMenuOf(std::uint64_t window)
{
    HWND hwnd = reinterpret_cast<HWND>(static_cast<std::uintptr_t>(window));
    return hwnd ? GetSystemMenu(hwnd, FALSE) : nullptr;
}

// Command ids for the credit lines: below 0xF000, where the system's own
// SC_* commands start, so choosing one does nothing.
constexpr UINT_PTR FirstCreditId = 0x1100;

} // namespace

bool deleteSystemMenuItem(std::uint64_t window, int position)
{
    HMENU menu = systemMenuOf(window);
    if (!menu || position < 0)
        return false;
    return DeleteMenu(menu, static_cast<UINT>(position), MF_BYPOSITION) != 0;
}

bool appendSystemMenuLines(std::uint64_t window, const std::vector<std::string> &lines)
{
    HMENU menu = systemMenuOf(window);
    if (!menu)
        return false;
    bool ok = AppendMenuW(menu, MF_SEPARATOR, 0, nullptr) != 0;
    UINT_PTR id = FirstCreditId;
    for (const std::string &line : lines) {
        const std::wstring text = toWide(line);
        ok = AppendMenuW(menu, MF_STRING, id++, text.c_str()) != 0 && ok;
    }
    return ok;
}

} // namespace orvex::platform
