#include "SeamTest.h"
#include "platform/ProcessWindows.h"
#include "platform/WideText_win.h"

#include <windows.h>

#include <objbase.h>
#include <shlobj.h>
#include <shobjidl.h>

namespace orvex::seamtest {

bool canPing()
{
    return true;
}

// Through the shell's own link object, as Explorer reads it.
LinkReadBack readLink(const std::string &path)
{
    using orvex::platform::fromWide;
    LinkReadBack back;
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    IShellLinkW *link = nullptr;
    IPersistFile *file = nullptr;
    wchar_t target[MAX_PATH] = {}, arguments[INFOTIPSIZE] = {}, caption[INFOTIPSIZE] = {};
    if (SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                   reinterpret_cast<void **>(&link))) &&
        SUCCEEDED(link->QueryInterface(IID_IPersistFile, reinterpret_cast<void **>(&file))) &&
        SUCCEEDED(file->Load(orvex::platform::toWide(path).c_str(), STGM_READ)) &&
        SUCCEEDED(link->GetPath(target, MAX_PATH, nullptr, SLGP_RAWPATH)) &&
        SUCCEEDED(link->GetArguments(arguments, INFOTIPSIZE)) &&
        SUCCEEDED(link->GetDescription(caption, INFOTIPSIZE)))
        back = {fromWide(target),
                orvex::platform::splitCommandLine("\"\" " + fromWide(arguments)).arguments,
                fromWide(caption)};
    for (IUnknown *object : {static_cast<IUnknown *>(file), static_cast<IUnknown *>(link)})
        if (object)
            object->Release();
    CoUninitialize();
    return back;
}

} // namespace orvex::seamtest
