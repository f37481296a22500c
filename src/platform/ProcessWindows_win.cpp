#include "platform/ProcessWindows.h"

#include "platform/WideText_win.h"

#include <windows.h>

#include <cstdint>

namespace orvex::platform {

namespace {

HWND toHwnd(WindowHandle handle)
{
    return reinterpret_cast<HWND>(static_cast<std::uintptr_t>(handle));
}

WindowHandle fromHwnd(HWND window)
{
    return static_cast<WindowHandle>(reinterpret_cast<std::uintptr_t>(window));
}

HANDLE toHandle(ProcessToken process)
{
    return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(process));
}

class WinProcessWindows final : public ProcessWindows
{
public:
    bool hasWindowList() override { return true; }

    WindowHandle findWindowByTitle(const std::string &title) override
    {
        const std::wstring wide = toWide(title);
        return fromHwnd(FindWindowW(nullptr, wide.c_str()));
    }

    WindowHandle findWindowByClass(const std::string &className) override
    {
        if (className.empty())
            return 0;
        const std::wstring wide = toWide(className);
        return fromHwnd(FindWindowW(wide.c_str(), nullptr));
    }

    bool postClose(WindowHandle window) override
    {
        if (window == 0)
            return false;
        return PostMessageW(toHwnd(window), WM_CLOSE, 0, 0) != 0;
    }

    ProcessToken startProcess(const std::string &commandLine, const std::string &workingDirectory,
                              StartMode mode) override
    {
        // CreateProcessW may write into the command line, so it gets its own buffer.
        std::wstring line = toWide(commandLine);
        if (line.empty())
            return 0;
        const std::wstring folder = toWide(workingDirectory);

        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        BOOL inherit = TRUE;
        if (mode == StartMode::NormalWindow) {
            startup.dwFlags = STARTF_USESHOWWINDOW;
            startup.wShowWindow = SW_SHOWNORMAL;
            // A program left running must not keep our sockets and files open.
            inherit = FALSE;
        }
        PROCESS_INFORMATION info{};
        if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, inherit, NORMAL_PRIORITY_CLASS,
                            nullptr, folder.empty() ? nullptr : folder.c_str(), &startup, &info))
            return 0;
        CloseHandle(info.hThread);
        return static_cast<ProcessToken>(reinterpret_cast<std::uintptr_t>(info.hProcess));
    }

    bool isRunning(ProcessToken process) override
    {
        if (process == 0)
            return false;
        return WaitForSingleObject(toHandle(process), 0) == WAIT_TIMEOUT;
    }

    void release(ProcessToken process) override
    {
        if (process != 0)
            CloseHandle(toHandle(process));
    }
};

} // namespace

std::unique_ptr<ProcessWindows> createProcessWindows()
{
    return std::make_unique<WinProcessWindows>();
}

} // namespace orvex::platform
