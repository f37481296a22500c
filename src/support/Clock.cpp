#include "support/Clock.h"

#include "support/EventWait.h"

namespace orvex {

void Clock::pause(int ms) const
{
    pauseWithEvents(ms);
}

namespace {

// Minutes since the epoch, counted on the local wall clock so that minute
// boundaries fall where the user sees them.
qint64 localMinute(const QDateTime &t)
{
    static const QDateTime dayZero(QDate(1899, 12, 30), QTime(0, 0));
    const QDateTime local = (t.isValid() ? t : dayZero).toLocalTime();
    const qint64 secs = local.toSecsSinceEpoch() + local.offsetFromUtc();
    return secs >= 0 ? secs / 60 : -((-secs + 59) / 60);
}

} // namespace

qint64 wholeMinutesBetween(const QDateTime &from, const QDateTime &to)
{
    return localMinute(to) - localMinute(from);
}

const Clock &systemClock()
{
    static const SystemClock clock;
    return clock;
}

} // namespace orvex
