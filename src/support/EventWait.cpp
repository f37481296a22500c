#include "support/EventWait.h"

#include "support/Clock.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>

namespace orvex {
bool waitUntil(const std::function<bool()> &done, int timeoutMs, int pollMs, const Clock *clock)
{
    if (done())
        return true;
    if (!QCoreApplication::instance())
        return false;
    // Milliseconds left, or -1 without limit.
    std::function<qint64()> remaining = [] { return qint64(-1); };
    if (timeoutMs >= 0 && clock) {
        const QDateTime deadline = clock->now().addMSecs(timeoutMs);
        remaining = [clock, deadline] {
            return std::max<qint64>(clock->now().msecsTo(deadline), 0);
        };
    } else if (timeoutMs >= 0) {
        const QDeadlineTimer deadline(timeoutMs);
        remaining = [deadline] { return deadline.remainingTime(); };
    }
    pollMs = std::max(pollMs, 1);
    // The wake-up timer only has to exist: its expiry ends WaitForMoreEvents.
    QTimer wake;
    wake.setTimerType(Qt::PreciseTimer);
    wake.start(pollMs);
    while (!done()) {
        const qint64 left = remaining();
        if (left == 0)
            return done();
        if (left > 0 && left < pollMs)
            wake.start(static_cast<int>(left));
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

void pauseWithEvents(int ms)
{
    waitUntil([] { return false; }, std::max(ms, 0), std::max(ms, 1));
}

} // namespace orvex
