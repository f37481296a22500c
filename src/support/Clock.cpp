#include "support/Clock.h"

#include "support/EventWait.h"

namespace orvex {

void Clock::pause(int ms) const
{
    pauseWithEvents(ms);
}

const Clock &systemClock()
{
    static const SystemClock clock;
    return clock;
}

} // namespace orvex
