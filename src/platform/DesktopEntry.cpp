#include "platform/DesktopEntry.h"

#include <string_view>

namespace orvex::platform {

std::string desktopExecArgument(const std::string &argument)
{
    constexpr std::string_view reserved = " \t\n\"'\\><~|&;$*?#()`";
    std::string quoted;
    bool needsQuotes = argument.empty();
    for (const char c : argument) {
        if (reserved.find(c) != std::string_view::npos)
            needsQuotes = true;
        if (c == '"' || c == '`' || c == '$' || c == '\\')
            quoted += '\\';
        if (c == '%')
            quoted += '%'; // "%%" is a literal percent sign, not a field code
        quoted += c;
    }
    return needsQuotes ? '"' + quoted + '"' : quoted;
}

std::string desktopStringValue(const std::string &value)
{
    std::string escaped;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char c = value[i];
        switch (c) {
        case '\\':
            escaped += "\\\\";
            break;
        case '\n':
            escaped += "\\n";
            break;
        case '\t':
            escaped += "\\t";
            break;
        case '\r':
            escaped += "\\r";
            break;
        case ' ':
            // A leading blank would be taken for the space after "=".
            escaped += i == 0 ? "\\s" : " ";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

std::string fileUrl(const std::string &path)
{
    constexpr std::string_view kept = "/-._~!$&'()*+,;=:@";
    constexpr char hex[] = "0123456789ABCDEF";
    std::string url = "file://";
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
            (byte >= '0' && byte <= '9') || kept.find(c) != std::string_view::npos) {
            url += c;
        } else {
            url += '%';
            url += hex[byte >> 4];
            url += hex[byte & 15];
        }
    }
    return url;
}

std::string desktopEntryText(const DesktopEntry &entry)
{
    std::string text = "[Desktop Entry]\n";
    text += entry.application ? "Type=Application\n" : "Type=Link\n";
    text += "Name=" + desktopStringValue(entry.name) + '\n';
    if (entry.application) {
        // The quoting comes first; the string escapes apply to its result.
        std::string exec = desktopExecArgument(entry.program);
        for (const std::string &argument : entry.arguments)
            exec += ' ' + desktopExecArgument(argument);
        text += "Exec=" + desktopStringValue(exec) + '\n';
    } else {
        text += "URL=" + desktopStringValue(entry.url) + '\n';
    }
    if (!entry.icon.empty())
        text += "Icon=" + desktopStringValue(entry.icon) + '\n';
    if (entry.application) {
        text += "Terminal=false\n";
        if (!entry.categories.empty())
            text += "Categories=" + entry.categories + '\n';
    }
    return text;
}

std::vector<std::string> desktopExecArguments(const std::string &value)
{
    std::string unescaped;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            unescaped += value[i];
            continue;
        }
        const char c = value[++i];
        unescaped += c == 's' ? ' ' : c == 'n' ? '\n' : c == 't' ? '\t' : c == 'r' ? '\r' : c;
    }
    std::vector<std::string> arguments;
    std::string current;
    bool quoted = false;
    bool started = false;
    for (std::size_t i = 0; i < unescaped.size(); ++i) {
        const char c = unescaped[i];
        if (quoted && c == '\\' && i + 1 < unescaped.size()) {
            current += unescaped[++i];
        } else if (c == '"') {
            quoted = !quoted;
            started = true;
        } else if (c == ' ' && !quoted) {
            if (started)
                arguments.push_back(current);
            current.clear();
            started = false;
        } else {
            if (c == '%' && i + 1 < unescaped.size() && unescaped[i + 1] == '%')
                ++i;
            current += c;
            started = true;
        }
    }
    if (started)
        arguments.push_back(current);
    return arguments;
}

} // namespace orvex::platform
