#pragma once
// Pins and unpins as asked, and remembers it, without touching the window.
#include "platform/WindowPin.h"

#include <QStringList>

namespace orvex::test {

class FakeWindowPin final : public platform::WindowPin
{
public:
    void setPinned(QWidget &, bool on) override
    {
        if (on != pinned)
            changes << (on ? QStringLiteral("pin") : QStringLiteral("unpin"));
        pinned = on;
    }
    bool isPinned(const QWidget &) const override { return pinned; }

    bool pinned = false;
    QStringList changes;
};

} // namespace orvex::test
