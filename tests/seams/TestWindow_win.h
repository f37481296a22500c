#pragma once
// A top-level window of the test's own, whose window procedure counts the
// close requests it receives (noted, not obeyed: the test destroys it).
#include <windows.h>

#include <cstdint>
#include <string>

namespace orvex::seamtest {

class TestWindow
{
public:
    static constexpr const wchar_t *kClass = L"OrvexProbeClass";

    explicit TestWindow(const std::wstring &title)
    {
        static const ATOM registered = [] {
            WNDCLASSW c{};
            c.lpfnWndProc = &TestWindow::procedure;
            c.hInstance = GetModuleHandleW(nullptr);
            c.lpszClassName = kClass;
            return RegisterClassW(&c);
        }();
        (void)registered;
        m_hwnd = CreateWindowExW(0, kClass, title.c_str(), WS_OVERLAPPEDWINDOW, 0, 0, 120, 80,
                                 nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
        ShowWindow(m_hwnd, SW_SHOWNORMAL);
    }
    ~TestWindow() { DestroyWindow(m_hwnd); }
    TestWindow(const TestWindow &) = delete;
    TestWindow &operator=(const TestWindow &) = delete;

    HWND hwnd() const { return m_hwnd; }
    std::uint64_t handle() const { return reinterpret_cast<std::uintptr_t>(m_hwnd); }

    // A posted message is in this thread's queue as soon as it is posted:
    // handles what is queued and says how many close requests were among it.
    static int closeRequestsQueued()
    {
        s_closeRequests = 0;
        MSG msg;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageW(&msg);
        return s_closeRequests;
    }

private:
    static LRESULT CALLBACK procedure(HWND hwnd, UINT message, WPARAM w, LPARAM l)
    {
        if (message != WM_CLOSE)
            return DefWindowProcW(hwnd, message, w, l);
        ++s_closeRequests;
        return 0;
    }

    static inline int s_closeRequests = 0;
    HWND m_hwnd = nullptr;
};

} // namespace orvex::seamtest
