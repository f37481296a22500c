#include "platform/ProcessWindows.h"

namespace orvex::platform {

namespace {

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

} // namespace

CommandLineParts splitCommandLine(const std::string &commandLine)
{
    CommandLineParts parts;
    const std::size_t n = commandLine.size();
    std::size_t i = 0;
    while (i < n && isBlank(commandLine[i]))
        ++i;

    if (i < n && commandLine[i] == '"') {
        const std::size_t close = commandLine.find('"', i + 1);
        const std::size_t end = close == std::string::npos ? n : close;
        parts.program = commandLine.substr(i + 1, end - i - 1);
        i = close == std::string::npos ? n : close + 1;
    } else {
        const std::size_t start = i;
        while (i < n && !isBlank(commandLine[i]))
            ++i;
        parts.program = commandLine.substr(start, i - start);
    }

    while (true) {
        while (i < n && isBlank(commandLine[i]))
            ++i;
        if (i >= n)
            break;
        std::string arg;
        bool quoted = false;
        while (i < n && (quoted || !isBlank(commandLine[i]))) {
            const char c = commandLine[i];
            if (c == '\\') {
                std::size_t slashes = 0;
                while (i < n && commandLine[i] == '\\') {
                    ++slashes;
                    ++i;
                }
                if (i < n && commandLine[i] == '"') {
                    // 2n backslashes + quote: n backslashes, the quote toggles;
                    // 2n+1: n backslashes and a literal quote.
                    arg.append(slashes / 2, '\\');
                    if (slashes % 2 == 1) {
                        arg += '"';
                        ++i;
                    }
                } else {
                    arg.append(slashes, '\\');
                }
                continue;
            }
            if (c == '"') {
                if (quoted && i + 1 < n && commandLine[i + 1] == '"') {
                    arg += '"';
                    i += 2;
                    continue;
                }
                quoted = !quoted;
                ++i;
                continue;
            }
            arg += c;
            ++i;
        }
        parts.arguments.push_back(std::move(arg));
    }
    return parts;
}

} // namespace orvex::platform
