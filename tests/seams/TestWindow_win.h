#pragma once
// A top-level window of the test's own, with a window procedure that notes
// the close requests it receives.
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
                                 nullptr, nullptr, GetModuleHandleW(nullptr), this);
        ShowWindow(m_hwnd, SW_SHOWNORMAL);
    }
    ~TestWindow()
    {
        if (m_hwnd)
            DestroyWindow(m_hwnd);
    }
    TestWindow(const TestWindow &) = delete;
    TestWindow &operator=(const TestWindow &) = delete;

    HWND hwnd() const { return m_hwnd; }
    std::uint64_t handle() const { return reinterpret_cast<std::uintptr_t>(m_hwnd); }
    int closeRequests() const { return m_closeRequests; }

    // Handles this thread's messages until a close request arrived or five
    // seconds passed, sleeping until a message comes.
    bool waitForClose()
    {
        const DWORD end = GetTickCount() + 5000;
        while (m_closeRequests == 0) {
            const DWORD now = GetTickCount();
            if (now >= end)
                return false;
            MsgWaitForMultipleObjects(0, nullptr, FALSE, end - now, QS_ALLINPUT);
            MSG msg;
            while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE))
                DispatchMessageW(&msg);
        }
        return true;
    }

private:
    static LRESULT CALLBACK procedure(HWND hwnd, UINT message, WPARAM w, LPARAM l)
    {
        if (message == WM_NCCREATE) {
            auto *create = reinterpret_cast<CREATESTRUCTW *>(l);
            SetWindowLongPtrW(hwnd, GWLP_USERDATA,
                              reinterpret_cast<LONG_PTR>(create->lpCreateParams));
        }
        auto *self = reinterpret_cast<TestWindow *>(GetWindowLongPtrW(hwnd, GWLP_USERDATA));
        if (message == WM_CLOSE && self) {
            ++self->m_closeRequests;
            return 0; // noted, not closed: the test destroys it
        }
        return DefWindowProcW(hwnd, message, w, l);
    }

    HWND m_hwnd = nullptr;
    int m_closeRequests = 0;
};

} // namespace orvex::seamtest
