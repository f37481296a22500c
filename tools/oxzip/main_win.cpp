// oxzip's entry point on Windows, where the arguments arrive as UTF-16.
#include "oxzip/Oxzip.h"

#include <iostream>
#include <string>
#include <vector>

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
