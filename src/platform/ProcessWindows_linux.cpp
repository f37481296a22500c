#include "platform/ProcessWindows.h"

#include "platform/XWindowList_linux.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <set>

extern char **environ;

namespace orvex::platform {

namespace {

class LinuxProcessWindows final : public ProcessWindows
{
public:
    ~LinuxProcessWindows() override { reapReleased(); }

    bool hasWindowList() override { return m_windows.connected(); }

    WindowHandle findWindowByTitle(const std::string &title) override
    {
        return m_windows.find(&title, nullptr);
    }

    WindowHandle findWindowByClass(const std::string &className) override
    {
        return m_windows.find(nullptr, &className);
    }

    WindowHandle findWindowByTitleOrClass(const std::string &name) override
    {
        return m_windows.find(&name, &name);
    }

    bool postClose(WindowHandle window) override { return m_windows.postClose(window); }

    ProcessToken startProcess(const std::string &commandLine, const std::string &workingDirectory,
                              StartMode mode) override
    {
        reapReleased();
        CommandLineParts parts = splitCommandLine(commandLine);
        if (parts.program.empty())
            return 0;
        std::vector<char *> argv;
        argv.push_back(parts.program.data());
        for (std::string &arg : parts.arguments)
            argv.push_back(arg.data());
        argv.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        if (!workingDirectory.empty())
            posix_spawn_file_actions_addchdir_np(&actions, workingDirectory.c_str());

        // The child starts from a clean signal state, whatever ours is.
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t none;
        sigemptyset(&none);
        sigset_t all;
        sigfillset(&all);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &all);
        short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
        if (mode == StartMode::NormalWindow)
            flags |= POSIX_SPAWN_SETSID; // not tied to our terminal or process group
        posix_spawnattr_setflags(&attributes, flags);

        pid_t pid = 0;
        const int rc =
            posix_spawnp(&pid, parts.program.c_str(), &actions, &attributes, argv.data(), environ);
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
        if (rc != 0 || pid <= 0)
            return 0;
        m_children[pid] = false;
        return static_cast<ProcessToken>(pid);
    }

    bool isRunning(ProcessToken process) override
    {
        reapReleased();
        const auto it = m_children.find(static_cast<pid_t>(process));
        if (it == m_children.end() || it->second)
            return false;
        if (waitpid(it->first, nullptr, WNOHANG) == 0)
            return true;
        it->second = true;
        return false;
    }

    void release(ProcessToken process) override
    {
        const auto it = m_children.find(static_cast<pid_t>(process));
        if (it == m_children.end())
            return;
        // A child that still runs is reaped later, so that it leaves no zombie.
        if (!it->second && waitpid(it->first, nullptr, WNOHANG) == 0)
            m_released.insert(it->first);
        m_children.erase(it);
        reapReleased();
    }

private:
    void reapReleased()
    {
        for (auto it = m_released.begin(); it != m_released.end();) {
            if (waitpid(*it, nullptr, WNOHANG) == 0)
                ++it;
            else
                it = m_released.erase(it);
        }
    }

    XWindowList m_windows;
    std::map<pid_t, bool> m_children; // started and not released -> has ended
    std::set<pid_t> m_released;
};

} // namespace

std::unique_ptr<ProcessWindows> createProcessWindows()
{
    return std::make_unique<LinuxProcessWindows>();
}

} // namespace orvex::platform
