// Prints, for each shell link named on the command line, its target as the
// shell reads it back (IShellLinkW), one line per link: "link|target|". Exit 1
// when one cannot be read. Built with mingw-w64 by the Wine test.
#include <windows.h>

#include <shlobj.h>

#include <cstdio>
#include <string>

namespace {

// Every text here fits in MAX_PATH wide characters, at most three bytes each.
std::string utf8(const wchar_t *wide)
{
    char out[3 * MAX_PATH + 1] = {};
    WideCharToMultiByte(CP_UTF8, 0, wide, -1, out, sizeof out - 1, nullptr, nullptr);
    return out;
}

} // namespace

int wmain(int argc, wchar_t **argv)
{
    if (FAILED(CoInitialize(nullptr)))
        return 1;
    int status = 0;
    for (int i = 1; i < argc; ++i) {
        IShellLinkW *link = nullptr;
        IPersistFile *file = nullptr;
        wchar_t target[MAX_PATH] = {};
        const bool read =
            SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER,
                                       IID_IShellLinkW, reinterpret_cast<void **>(&link))) &&
            SUCCEEDED(link->QueryInterface(IID_IPersistFile, reinterpret_cast<void **>(&file))) &&
            SUCCEEDED(file->Load(argv[i], STGM_READ)) &&
            SUCCEEDED(link->GetPath(target, MAX_PATH, nullptr, 0));
        status |= !read;
        if (read)
            std::printf("%s|%s|\n", utf8(argv[i]).c_str(), utf8(target).c_str());
        for (IUnknown *object : {static_cast<IUnknown *>(file), static_cast<IUnknown *>(link)})
            if (object)
                object->Release();
    }
    CoUninitialize();
    return status;
}
