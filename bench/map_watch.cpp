// Starts a program and prints how many milliseconds passed from its start
// until a top-level window with the given title was mapped on the X display.
//   map_watch TITLE PROGRAM [ARGS...]
// The watch on the root window is set before the program starts, so no map
// can be missed; the program is left running for the caller to end.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <fcntl.h>
#include <unistd.h>

namespace {

std::string titleOf(Display *display, Window window)
{
    XTextProperty text{};
    std::string title;
    if (XGetWMName(display, window, &text) && text.value) {
        title.assign(reinterpret_cast<const char *>(text.value), text.nitems);
        XFree(text.value);
    }
    return title;
}

// A window may be gone by the time its title is asked for (programs map and
// destroy short-lived windows at start): that is no reason to stop watching.
int ignoreErrors(Display *, XErrorEvent *)
{
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: map_watch TITLE PROGRAM [ARGS...]\n");
        return 2;
    }
    Display *display = XOpenDisplay(nullptr);
    if (!display) {
        std::fprintf(stderr, "map_watch: no X display\n");
        return 2;
    }
    XSetErrorHandler(ignoreErrors);
    const Window root = DefaultRootWindow(display);
    XSelectInput(display, root, SubstructureNotifyMask);
    XSync(display, False);
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        // The program must not hold the caller's output open: a caller that
        // reads it to its end would wait for the program to end too.
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        close(ConnectionNumber(display));
        execvp(argv[2], argv + 2);
        _exit(127);
    }
    std::printf("%d ", int(child));
    std::fflush(stdout);
    alarm(120);
    for (;;) {
        XEvent event;
        XNextEvent(display, &event);
        if (event.type != MapNotify)
            continue;
        // Qt names its windows before it maps them.
        if (titleOf(display, event.xmap.window) == argv[1]) {
            const auto ms =
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                    .count();
            std::printf("%.1f\n", ms);
            return 0;
        }
    }
}
