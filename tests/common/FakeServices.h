#pragma once
// Fakes of the platform services that record what the agent asked of them.
#include "platform/MessageBoxes.h"
#include "platform/SingleInstance.h"
#include "platform/TrayBackend.h"

#include <QStringList>

#include <deque>
#include <optional>
#include <vector>

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

// Answers each box as the test scripted it and records every box asked,
// with its exact texts, buttons and default button. A question with no
// scripted answer left gets No, an input box with none is cancelled.
class FakeMessageBoxes final : public platform::MessageBoxes
{
public:
    platform::Answer show(const platform::MessageBoxRequest &request) override
    {
        asked.push_back(request);
        if (request.buttons == platform::BoxButtons::Ok)
            return platform::Answer::Ok;
        if (answers.empty())
            return platform::Answer::No;
        const platform::Answer a = answers.front();
        answers.pop_front();
        return a;
    }
    std::optional<QString> inputBox(const platform::InputBoxRequest &request) override
    {
        inputsAsked.push_back(request);
        if (inputs.empty())
            return std::nullopt;
        std::optional<QString> a = inputs.front();
        inputs.pop_front();
        return a;
    }

    // What to answer next, in order.
    std::deque<platform::Answer> answers;
    std::deque<std::optional<QString>> inputs;
    // What was asked, in order.
    std::vector<platform::MessageBoxRequest> asked;
    std::vector<platform::InputBoxRequest> inputsAsked;

    // The boxes that asked no question, as "title|text".
    QStringList messages() const
    {
        QStringList out;
        for (const auto &r : asked)
            if (r.buttons != platform::BoxButtons::YesNo)
                out << r.title + u'|' + r.text;
        return out;
    }
};

// No other copy runs; a newer one can ask this one to close.
class FakeSingleInstance final : public platform::SingleInstance
{
public:
    bool anotherIsRunning() const override { return other; }
    bool askOtherToClose() const override { return false; }
    void claim() override { claimed = true; }
    bool isClaimed() const override { return claimed; }

    // A newer copy asks this one to close.
    void requestClose() { emit closeRequested(); }

    bool claimed = false, other = false;
};

} // namespace orvex::test
