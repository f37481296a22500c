#pragma once
#include <QDateTime>

namespace orvex {

// Where logic asks the time, and how it lets time pass while events run.
// Tests pass a clock they move by hand, so that a 15- or 30-minute rule is
// tested without waiting.
class Clock
{
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
    // Lets events run while `ms` milliseconds of this clock pass. The system
    // clock really waits (sleeping in the event loop); a test clock moves on
    // at once.
    virtual void pause(int ms) const;
};

class SystemClock final : public Clock
{
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
};

// Whole minutes from `from` to `to` as the old runtime's date difference
// counts them: the minute boundaries crossed, so 10:00:59 to 10:01:00 is one
// minute and 10:00:00 to 10:00:59 is none; negative when `to` is earlier. A
// null date-time stands for day zero (30 December 1899, midnight), which is
// how a date that was never set behaves in the rules that use this.
qint64 wholeMinutesBetween(const QDateTime &from, const QDateTime &to);

// The system clock, for code that was given no clock of its own.
const Clock &systemClock();

// `clock` when there is one, else the system clock.
inline const Clock &clockOr(const Clock *clock)
{
    return clock ? *clock : systemClock();
}

} // namespace orvex
