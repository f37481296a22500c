#include "platform/ShellFolders.h"
#include "platform/WideText_win.h"

#include <objbase.h>
#include <objidl.h>
#include <shlobj.h>
#include <shobjidl.h>

#include <vector>

namespace orvex::platform {
namespace {

// Splits a group's path as handed to the setup toolkit (".\Sendaro",
// ".X\Y") into the names of its folders, dropping the "." parts.
template <typename Add> void forEachGroupPart(const std::string &relative, Add add)
{
    std::string part;
    const auto flush = [&] {
        if (!part.empty() && part != ".")
            add(part);
        part.clear();
    };
    for (const char c : relative) {
        if (c == '\\' || c == '/')
            flush();
        else
            part += c;
    }
    flush();
}

std::string withoutTrailingSeparator(std::string path)
{
    // "C:\" stays whole: it is a folder only with its separator.
    while (path.size() > 3 && (path.back() == '\\' || path.back() == '/'))
        path.pop_back();
    return path;
}

FolderLookup found(const wchar_t *buffer)
{
    return {FolderLookup::Outcome::Found, withoutTrailingSeparator(fromWide(buffer)), 0};
}

// The error of a failed call, or the HRESULT's when the call set none.
std::uint32_t lastErrorOr(HRESULT result)
{
    const DWORD error = GetLastError();
    return error != 0 ? error : static_cast<std::uint32_t>(result);
}

// COM for the calling thread, for as long as the object lives.
class ComScope
{
public:
    ComScope() : m_result(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {}
    ~ComScope()
    {
        if (SUCCEEDED(m_result))
            CoUninitialize();
    }
    // Already initialised in another model is fine for in-process objects.
    bool usable() const { return SUCCEEDED(m_result) || m_result == RPC_E_CHANGED_MODE; }

private:
    HRESULT m_result;
};

template <typename T> struct ComRelease
{
    T *p = nullptr;
    ~ComRelease()
    {
        if (p)
            p->Release();
    }
};

bool makeFolder(const std::wstring &folder)
{
    const int rc = SHCreateDirectoryExW(nullptr, folder.c_str(), nullptr);
    return rc == ERROR_SUCCESS || rc == ERROR_ALREADY_EXISTS || rc == ERROR_FILE_EXISTS;
}

class WindowsShellFolders final : public ShellFolders
{
public:
    FolderLookup specialFolder(int csidl) override
    {
        LPITEMIDLIST items = nullptr;
        SetLastError(0);
        const HRESULT hr = SHGetSpecialFolderLocation(nullptr, csidl, &items);
        if (FAILED(hr) || !items)
            return {FolderLookup::Outcome::Refused, {}, lastErrorOr(hr)};
        wchar_t buffer[MAX_PATH] = {};
        const BOOL ok = SHGetPathFromIDListW(items, buffer);
        const DWORD error = GetLastError();
        CoTaskMemFree(items);
        if (!ok)
            return {FolderLookup::Outcome::NoPath, {}, error};
        return found(buffer);
    }

    FolderLookup systemFolder(SystemFolder which) override
    {
        wchar_t buffer[MAX_PATH] = {};
        UINT length = 0;
        switch (which) {
        case SystemFolder::Windows:
            length = GetWindowsDirectoryW(buffer, MAX_PATH);
            break;
        case SystemFolder::System:
            length = GetSystemDirectoryW(buffer, MAX_PATH);
            break;
        case SystemFolder::Temporary:
            length = GetTempPathW(MAX_PATH, buffer);
            break;
        }
        if (length == 0 || length >= MAX_PATH)
            return {FolderLookup::Outcome::Refused, {}, GetLastError()};
        return found(buffer);
    }

    SystemVersion version() override
    {
        OSVERSIONINFOW info = {};
        info.dwOSVersionInfoSize = sizeof info;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
        if (!GetVersionExW(&info))
            return {};
#pragma GCC diagnostic pop
        return {info.dwMajorVersion, info.dwMinorVersion, info.dwBuildNumber, info.dwPlatformId,
                fromWide(info.szCSDVersion)};
    }

    std::string errorText(std::uint32_t number) override
    {
        wchar_t buffer[1024] = {};
        const DWORD length =
            FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                           number, 0, buffer, 1024, nullptr);
        std::string text = fromWide(buffer, static_cast<int>(length));
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' '))
            text.pop_back();
        return text;
    }

    std::string groupFolder(const std::string &baseFolder, const std::string &relativeGroup,
                            bool allUsers) override
    {
        // "Inicio" is the start-up group's name in the Spanish menus; since
        // Windows 2000 that folder is "Startup" on disk under every language
        // (only its shown name is translated), so the shell is asked for it.
        std::vector<std::string> parts;
        forEachGroupPart(relativeGroup, [&](const std::string &part) { parts.push_back(part); });
        if (parts.size() == 1 && parts.front() == "Inicio") {
            const FolderLookup startUp =
                specialFolder(allUsers ? CSIDL_COMMON_STARTUP : CSIDL_STARTUP);
            if (startUp.outcome == FolderLookup::Outcome::Found)
                return startUp.path;
        }
        std::string folder = withoutTrailingSeparator(baseFolder);
        forEachGroupPart(relativeGroup,
                         [&](const std::string &part) { folder += '\\' + safeFileName(part); });
        return folder;
    }

    bool machineWideMenusWritable() override
    {
        return true;
    }

    bool writeShellLink(const ShellLink &link) override
    {
        const std::wstring folder = toWide(link.folder);
        if (folder.empty() || !makeFolder(folder))
            return false;
        ComScope com;
        if (!com.usable())
            return false;
        ComRelease<IShellLinkW> shellLink;
        if (FAILED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                    reinterpret_cast<void **>(&shellLink.p))))
            return false;
        const std::wstring target = toWide(link.target);
        const std::wstring::size_type cut = target.find_last_of(L"\\/");
        const std::wstring workingFolder =
            cut == std::wstring::npos ? std::wstring() : target.substr(0, cut);
        if (FAILED(shellLink.p->SetPath(target.c_str())) ||
            FAILED(shellLink.p->SetArguments(toWide(link.arguments).c_str())) ||
            FAILED(shellLink.p->SetDescription(toWide(link.caption).c_str())) ||
            FAILED(shellLink.p->SetWorkingDirectory(workingFolder.c_str())))
            return false;
        if (!link.iconFile.empty())
            shellLink.p->SetIconLocation(toWide(link.iconFile).c_str(), 0);
        ComRelease<IPersistFile> file;
        if (FAILED(
                shellLink.p->QueryInterface(IID_IPersistFile, reinterpret_cast<void **>(&file.p))))
            return false;
        // Written beside, then put in place: a link written again replaces
        // the old one whole.
        const std::wstring path = folder + L'\\' + toWide(safeFileName(link.caption)) + L".lnk";
        const std::wstring partial = path + L".partial";
        if (FAILED(file.p->Save(partial.c_str(), TRUE)))
            return false;
        if (!MoveFileExW(partial.c_str(), path.c_str(),
                         MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
            DeleteFileW(partial.c_str());
            return false;
        }
        return true;
    }
};

} // namespace

std::unique_ptr<ShellFolders> createShellFolders()
{
    return std::make_unique<WindowsShellFolders>();
}

} // namespace orvex::platform
