#pragma once
// A clock that stands still until the test moves it.
#include "support/Clock.h"

#include <QCoreApplication>

namespace orvex::test {

class FakeClock final : public Clock
{
public:
    // A working Monday morning, far from any daylight-saving change.
    explicit FakeClock(QDateTime start = QDateTime(QDate(2026, 3, 2), QTime(9, 0, 0)))
        : m_now(std::move(start))
    {}

    QDateTime now() const override { return m_now; }

    // A pause moves the clock by its length and lets pending events run once.
    void pause(int ms) const override
    {
        ++pauses;
        m_now = m_now.addMSecs(ms > 0 ? ms : 0);
        QCoreApplication::processEvents();
    }

    void set(const QDateTime &to) { m_now = to; }
    void advanceSeconds(qint64 s) { m_now = m_now.addSecs(s); }
    void advanceMinutes(qint64 m) { m_now = m_now.addSecs(m * 60); }

    mutable int pauses = 0;

private:
    mutable QDateTime m_now;
};

} // namespace orvex::test
