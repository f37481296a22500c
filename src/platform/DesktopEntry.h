#pragma once
// The text of a freedesktop desktop entry (menus and autostart read them).
#include <string>
#include <vector>

namespace orvex::platform {

struct DesktopEntry
{
    // An application is started by Exec; any other target (a help file) is
    // opened by the desktop as a link to its URL.
    bool application = true;
    std::string name;
    std::string program;
    std::vector<std::string> arguments;
    std::string url;
    std::string icon;
    std::string categories; // "A;B;"
};

// One argument of an Exec line: quoted when it holds a reserved character,
// with the escapes the quoting rule asks for.
std::string desktopExecArgument(const std::string &argument);
// A value of type string or localestring, with its own escapes.
std::string desktopStringValue(const std::string &value);
// A local path as a file URL (UTF-8, reserved bytes percent-encoded).
std::string fileUrl(const std::string &path);

std::string desktopEntryText(const DesktopEntry &entry);

// An Exec value as a launcher reads it: the string escapes undone, then the
// quoting, then "%%"; the program first.
std::vector<std::string> desktopExecArguments(const std::string &value);

} // namespace orvex::platform
