#include "platform/ProcessWindows.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <functional>
#include <map>
#include <optional>
#include <set>

extern char **environ;

namespace orvex::platform {

namespace {

// Xlib's error handler is process-wide and its default ends the program. While
// one of our calls talks to the server, errors (a window that vanished, a
// handle that never was one) are only counted.
int g_xErrors = 0;

int countXError(Display *, XErrorEvent *)
{
    ++g_xErrors;
    return 0;
}

// One short connection per call: a connection kept open would outlive a
// restarted or vanished X server, and a broken one makes Xlib exit.
class XSession
{
public:
    XSession() : m_display(XOpenDisplay(nullptr))
    {
        if (m_display) {
            g_xErrors = 0;
            m_previous = XSetErrorHandler(countXError);
        }
    }
    ~XSession()
    {
        if (m_display) {
            XCloseDisplay(m_display);
            XSetErrorHandler(m_previous);
        }
    }
    XSession(const XSession &) = delete;
    XSession &operator=(const XSession &) = delete;

    explicit operator bool() const { return m_display != nullptr; }
    Display *display() const { return m_display; }
    // Atoms are cached: a window walk asks for the same few for every window.
    Atom atom(const char *name, bool onlyIfExists = false)
    {
        const auto it = m_atoms.find(name);
        if (it != m_atoms.end())
            return it->second;
        const Atom a = XInternAtom(m_display, name, onlyIfExists ? True : False);
        if (a != None)
            m_atoms.emplace(name, a);
        return a;
    }
    // Flushes the requests so far and tells whether any of them failed.
    bool failed()
    {
        XSync(m_display, False);
        return g_xErrors != 0;
    }

private:
    Display *m_display = nullptr;
    XErrorHandler m_previous = nullptr;
    std::map<std::string, Atom> m_atoms;
};

std::optional<std::string> readUtf8Property(XSession &x, Window w, Atom property)
{
    Atom actualType = 0;
    int format = 0;
    unsigned long items = 0;
    unsigned long after = 0;
    unsigned char *data = nullptr;
    const Atom utf8 = x.atom("UTF8_STRING");
    if (XGetWindowProperty(x.display(), w, property, 0, LONG_MAX / 4, False, utf8, &actualType,
                           &format, &items, &after, &data) != Success)
        return std::nullopt;
    std::optional<std::string> text;
    if (data && actualType == utf8 && format == 8)
        text = std::string(reinterpret_cast<const char *>(data), items);
    if (data)
        XFree(data);
    return text;
}

std::string latin1ToUtf8(const unsigned char *bytes, unsigned long length)
{
    std::string out;
    out.reserve(length);
    for (unsigned long i = 0; i < length; ++i) {
        const unsigned char c = bytes[i];
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

// WM_NAME is Latin-1 (STRING), or COMPOUND_TEXT, or sometimes UTF-8.
std::string legacyTitle(XSession &x, Window w)
{
    XTextProperty prop{};
    if (!XGetWMName(x.display(), w, &prop) || !prop.value)
        return {};
    std::string title;
    if (prop.encoding == XA_STRING) {
        title = latin1ToUtf8(prop.value, prop.nitems);
    } else if (prop.encoding == x.atom("UTF8_STRING")) {
        title.assign(reinterpret_cast<const char *>(prop.value), prop.nitems);
    } else {
        char **list = nullptr;
        int count = 0;
        if (Xutf8TextPropertyToTextList(x.display(), &prop, &list, &count) >= Success && list &&
            count > 0)
            title = list[0];
        else
            title.assign(reinterpret_cast<const char *>(prop.value), prop.nitems);
        if (list)
            XFreeStringList(list);
    }
    XFree(prop.value);
    return title;
}

std::string windowTitle(XSession &x, Window w)
{
    if (auto title = readUtf8Property(x, w, x.atom("_NET_WM_NAME")))
        return *title;
    return legacyTitle(x, w);
}

bool classMatches(XSession &x, Window w, const std::string &wanted)
{
    XClassHint hint{};
    if (!XGetClassHint(x.display(), w, &hint))
        return false;
    const bool match =
        (hint.res_name && wanted == hint.res_name) || (hint.res_class && wanted == hint.res_class);
    if (hint.res_name)
        XFree(hint.res_name);
    if (hint.res_class)
        XFree(hint.res_class);
    return match;
}

void appendChildren(XSession &x, Window parent, std::vector<Window> &out)
{
    Window root = 0;
    Window parentOfParent = 0;
    Window *children = nullptr;
    unsigned int count = 0;
    if (!XQueryTree(x.display(), parent, &root, &parentOfParent, &children, &count))
        return;
    out.insert(out.end(), children, children + count);
    if (children)
        XFree(children);
}

// The window manager's list of managed windows when there is one; otherwise
// the root's children and their children (a frame's child is the client).
std::vector<Window> topLevelWindows(XSession &x)
{
    const Window root = DefaultRootWindow(x.display());
    std::vector<Window> windows;
    const Atom clientList = x.atom("_NET_CLIENT_LIST", true);
    if (clientList != None) {
        Atom actualType = 0;
        int format = 0;
        unsigned long items = 0;
        unsigned long after = 0;
        unsigned char *data = nullptr;
        if (XGetWindowProperty(x.display(), root, clientList, 0, LONG_MAX / 4, False, XA_WINDOW,
                               &actualType, &format, &items, &after, &data) == Success &&
            data && actualType == XA_WINDOW && format == 32) {
            // Format 32 comes back as an array of long, whatever its width.
            const auto *ids = reinterpret_cast<const unsigned long *>(data);
            windows.assign(ids, ids + items);
        }
        if (data)
            XFree(data);
        if (!windows.empty())
            return windows;
    }
    appendChildren(x, root, windows);
    const std::size_t frames = windows.size();
    for (std::size_t i = 0; i < frames; ++i)
        appendChildren(x, windows[i], windows);
    return windows;
}

WindowHandle findWindow(const std::function<bool(XSession &, Window)> &matches)
{
    XSession x;
    if (!x)
        return 0;
    for (Window w : topLevelWindows(x)) {
        const bool hit = matches(x, w);
        // A window that went away during the walk is simply not a match.
        if (x.failed()) {
            g_xErrors = 0;
            continue;
        }
        if (hit)
            return w;
    }
    return 0;
}

class LinuxProcessWindows final : public ProcessWindows
{
public:
    ~LinuxProcessWindows() override { reapReleased(); }

    bool hasWindowList() override { return static_cast<bool>(XSession()); }

    WindowHandle findWindowByTitle(const std::string &title) override
    {
        return findWindow([&](XSession &x, Window w) { return windowTitle(x, w) == title; });
    }

    WindowHandle findWindowByClass(const std::string &className) override
    {
        return findWindow([&](XSession &x, Window w) { return classMatches(x, w, className); });
    }

    bool postClose(WindowHandle handle) override
    {
        if (handle == 0 || handle > 0xFFFFFFFFu)
            return false;
        XSession x;
        if (!x)
            return false;
        const Window w = static_cast<Window>(handle);
        const Atom protocols = x.atom("WM_PROTOCOLS");
        const Atom deleteWindow = x.atom("WM_DELETE_WINDOW");
        bool polite = false;
        Atom *list = nullptr;
        int count = 0;
        if (XGetWMProtocols(x.display(), w, &list, &count)) {
            for (int i = 0; i < count; ++i)
                polite = polite || list[i] == deleteWindow;
            XFree(list);
        }
        if (x.failed())
            return false;

        XEvent event{};
        event.xclient.type = ClientMessage;
        event.xclient.format = 32;
        event.xclient.window = w;
        Status sent = 0;
        if (polite) {
            event.xclient.message_type = protocols;
            event.xclient.data.l[0] = static_cast<long>(deleteWindow);
            event.xclient.data.l[1] = CurrentTime;
            sent = XSendEvent(x.display(), w, False, NoEventMask, &event);
        } else {
            // EWMH: the window manager closes it for us. Source 2 = a pager,
            // i.e. on behalf of the user.
            event.xclient.message_type = x.atom("_NET_CLOSE_WINDOW");
            event.xclient.data.l[0] = CurrentTime;
            event.xclient.data.l[1] = 2;
            sent = XSendEvent(x.display(), DefaultRootWindow(x.display()), False,
                              SubstructureRedirectMask | SubstructureNotifyMask, &event);
        }
        return sent != 0 && !x.failed();
    }

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

    std::map<pid_t, bool> m_children; // started and not released -> has ended
    std::set<pid_t> m_released;
};

} // namespace

std::unique_ptr<ProcessWindows> createProcessWindows()
{
    return std::make_unique<LinuxProcessWindows>();
}

} // namespace orvex::platform
