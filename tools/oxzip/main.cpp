// oxzip: the archiver the agent runs to save and restore the installation's
// configuration. See Oxzip.h and CommandLine.h.
#include "oxzip/Oxzip.h"

#include <iostream>
#include <string>
#include <vector>

#ifdef _WIN32
#include <windows.h>

// The arguments as UTF-8 whatever the code page: folder names carry accents.
int wmain(int argc, wchar_t **argv)
{
    std::vector<std::string> args;
    for (int i = 1; i < argc; ++i) {
        const int size = WideCharToMultiByte(CP_UTF8, 0, argv[i], -1, nullptr, 0, nullptr, nullptr);
        std::string arg(size > 0 ? size - 1 : 0, '\0');
        if (size > 1)
            WideCharToMultiByte(CP_UTF8, 0, argv[i], -1, arg.data(), size, nullptr, nullptr);
        args.push_back(std::move(arg));
    }
    return orvex::oxzip::run(args, std::cerr);
}
#else
int main(int argc, char **argv)
{
    return orvex::oxzip::run(std::vector<std::string>(argv + 1, argv + argc), std::cerr);
}
#endif
