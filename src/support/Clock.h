#pragma once
#include <QDateTime>

namespace orvex {

// Where logic asks the time. Tests pass a clock they move by hand.
class Clock
{
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
};

class SystemClock final : public Clock
{
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
};

} // namespace orvex
