#include "platform/MachineName.h"

#include <windows.h>

namespace orvex::platform {

std::string machineName()
{
    // The wide call, so that a name outside the ANSI code page survives the
    // trip to UTF-8.
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
    if (!GetComputerNameW(name, &length))
        return {};
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, name, static_cast<int>(length), nullptr, 0,
                                          nullptr, nullptr);
    std::string out(static_cast<std::size_t>(bytes > 0 ? bytes : 0), '\0');
    if (bytes > 0)
        WideCharToMultiByte(CP_UTF8, 0, name, static_cast<int>(length), out.data(), bytes, nullptr,
                            nullptr);
    // Cut at the terminating zero, as the system's buffer semantics ask.
    return out.substr(0, out.find('\0'));
}

} // namespace orvex::platform
