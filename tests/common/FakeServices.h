#pragma once
// Fakes of the platform services that record what the agent asked of them.
#include "platform/MessageBoxes.h"
#include "platform/TrayBackend.h"

#include <QStringList>

namespace orvex::test {

class FakeTrayBackend final : public platform::TrayBackend
{
public:
    bool add(const QIcon &icon, const QString &tip) override
    {
        ++adds;
        shownIcon = icon;
        shownTip = tip;
        return accept;
    }
    void modify(const QIcon &icon, const QString &tip) override
    {
        ++modifies;
        shownIcon = icon;
        shownTip = tip;
    }
    void remove() override { ++removes; }
    bool hostAvailable() const override { return host; }

    void click(Event e) { emit mouseEvent(e); }
    void setHost(bool available) { emit hostAvailabilityChanged(host = available); }

    bool accept = true;
    bool host = true;
    int adds = 0, modifies = 0, removes = 0;
    QIcon shownIcon;
    QString shownTip;
};

// Answers No to every question.
class FakeMessageBoxes final : public platform::MessageBoxes
{
public:
    platform::Answer question(const QString &title, const QString &text) override
    {
        questions << title + u'|' + text;
        return platform::Answer::No;
    }
    void exclamation(const QString &title, const QString &text) override
    {
        exclamations << title + u'|' + text;
    }
    QStringList questions, exclamations;
};

} // namespace orvex::test
