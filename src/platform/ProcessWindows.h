#pragma once
// Other programs' windows and child processes. Standard types only: the
// Windows implementation is built without Qt. Text is UTF-8.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace orvex::platform {

// A top-level window; 0 is "no window".
using WindowHandle = std::uint64_t;
// A started process (a process id or a process handle); 0 is "not started".
using ProcessToken = std::uint64_t;

enum class StartMode {
    // Handles inherited, default start-up record: a helper the caller waits for.
    Inherit,
    // Shown as a normal window and left to run on its own.
    NormalWindow,
};

struct CommandLineParts
{
    std::string program;
    std::vector<std::string> arguments;
};

// Splits a Windows-style command line. The program is the first token: up to
// the closing quote when it starts with one (no escapes, since backslashes are
// path separators there), else up to the first blank. Arguments follow the
// usual C runtime rules: blanks separate, quotes group, "" inside quotes is a
// literal quote, and backslashes are only special right before a quote.
CommandLineParts splitCommandLine(const std::string &commandLine);

class ProcessWindows
{
public:
    virtual ~ProcessWindows() = default;

    // False where no window list can be read (a Wayland-only session, no
    // display): the searches below then find nothing.
    virtual bool hasWindowList() = 0;
    virtual WindowHandle findWindowByTitle(const std::string &title) = 0;
    // Either part of an X11 WM_CLASS (instance or class name) counts.
    virtual WindowHandle findWindowByClass(const std::string &className) = 0;
    // A window titled `name`, or else one of class `name`. Where the search
    // walks a window list, one walk answers both.
    virtual WindowHandle findWindowByTitleOrClass(const std::string &name)
    {
        const WindowHandle byTitle = findWindowByTitle(name);
        return byTitle != 0 ? byTitle : findWindowByClass(name);
    }
    // Asks the window to close and returns without waiting for it.
    virtual bool postClose(WindowHandle window) = 0;

    // Starts `commandLine` as a new process; an empty working directory keeps ours.
    virtual ProcessToken startProcess(const std::string &commandLine,
                                      const std::string &workingDirectory = {},
                                      StartMode mode = StartMode::Inherit) = 0;
    virtual bool isRunning(ProcessToken process) = 0;
    // Forgets the process; it is not stopped.
    virtual void release(ProcessToken process) = 0;
};

std::unique_ptr<ProcessWindows> createProcessWindows();

} // namespace orvex::platform
