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
        visible = accept;
        return accept;
    }
    void modify(const QIcon &icon, const QString &tip) override
    {
        ++modifies;
        shownIcon = icon;
        shownTip = tip;
    }
    void remove() override
    {
        ++removes;
        visible = false;
    }
    bool hostAvailable() const override { return host; }

    void click(Event e) { emit mouseEvent(e); }
    void setHost(bool available)
    {
        host = available;
        emit hostAvailabilityChanged(available);
    }

    bool accept = true;
    bool host = true;
    bool visible = false;
    int adds = 0;
    int modifies = 0;
    int removes = 0;
    QIcon shownIcon;
    QString shownTip;
};

class FakeMessageBoxes final : public platform::MessageBoxes
{
public:
    platform::Answer question(const QString &title, const QString &text) override
    {
        questions << title + QLatin1Char('|') + text;
        return answer;
    }
    void exclamation(const QString &title, const QString &text) override
    {
        exclamations << title + QLatin1Char('|') + text;
    }

    platform::Answer answer = platform::Answer::No;
    QStringList questions;
    QStringList exclamations;
};

} // namespace orvex::test
