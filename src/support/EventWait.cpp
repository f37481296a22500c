#include "support/EventWait.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>

namespace orvex {

bool waitUntil(const std::function<bool()> &done, int timeoutMs, int pollMs)
{
    if (done())
        return true;
    if (!QCoreApplication::instance())
        return false;
    QDeadlineTimer deadline =
        timeoutMs < 0 ? QDeadlineTimer(QDeadlineTimer::Forever) : QDeadlineTimer(timeoutMs);
    pollMs = std::max(pollMs, 1);
    // The wake-up timer only has to exist: its expiry ends WaitForMoreEvents.
    QTimer wake;
    wake.setTimerType(Qt::PreciseTimer);
    wake.start(pollMs);
    while (!done()) {
        if (deadline.hasExpired())
            return done();
        const qint64 left = deadline.remainingTime();
        if (left >= 0 && left < pollMs)
            wake.start(static_cast<int>(std::max<qint64>(left, 1)));
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

void pauseWithEvents(int ms)
{
    waitUntil([] { return false; }, std::max(ms, 0), std::max(ms, 1));
}

} // namespace orvex
