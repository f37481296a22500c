#include "platform/Termination.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace orvex::platform {
namespace {

int g_pipe[2] = {-1, -1};

// Only a write to the pipe is safe in a signal handler; the event loop reads it.
void notify(int)
{
    const char byte{};
    [[maybe_unused]] const auto n = ::write(g_pipe[1], &byte, sizeof byte);
}

} // namespace

void onTerminationRequest(std::function<void()> stop)
{
    if (g_pipe[0] < 0 && ::pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto *notifier = new QSocketNotifier(g_pipe[0], QSocketNotifier::Read, qApp);
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [stop = std::move(stop)] {
        char drain[16];
        // A short read has emptied the pipe.
        while (::read(g_pipe[0], drain, sizeof drain) == sizeof drain) {
        }
        stop();
    });
    struct sigaction action = {};
    action.sa_handler = notify;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
}

} // namespace orvex::platform
