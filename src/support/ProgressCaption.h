#pragma once
#include <QString>

namespace orvex {

// Somewhere to show a short progress text while a transfer runs, such as the
// main form's status label. Kept free of widgets so support code can drive it.
class ProgressCaption
{
public:
    virtual ~ProgressCaption() = default;
    virtual void setCaption(const QString &caption) = 0;
};

} // namespace orvex
