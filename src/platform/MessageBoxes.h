#pragma once
#include <QString>

#include <memory>
#include <optional>

namespace orvex::platform {

enum class Answer { Yes, No, Ok };

enum class BoxIcon { None, Question, Information, Exclamation, Critical };
enum class BoxButtons { Ok, YesNo };
// The button that Enter presses: the first (Yes, OK) or the second (No).
enum class DefaultButton { First, Second };

// One message or question box, as the agent asks it.
struct MessageBoxRequest
{
    QString title;
    QString text;
    BoxIcon icon = BoxIcon::None;
    BoxButtons buttons = BoxButtons::Ok;
    DefaultButton defaultButton = DefaultButton::First;

    bool operator==(const MessageBoxRequest &) const = default;
};

// One input box: a prompt, a title and the text the field starts with.
struct InputBoxRequest
{
    QString prompt;
    QString title;
    QString defaultText;

    bool operator==(const InputBoxRequest &) const = default;
};

// The message, question and input boxes the agent shows. Tests answer
// instead of a person.
class MessageBoxes
{
public:
    virtual ~MessageBoxes() = default;

    virtual Answer show(const MessageBoxRequest &request) = 0;
    // The text typed, or nothing when the user cancelled.
    virtual std::optional<QString> inputBox(const InputBoxRequest &request) = 0;

    // The shapes the agent uses.
    // Yes/No buttons, question icon, No as the default button.
    Answer question(const QString &title, const QString &text)
    {
        return show({title, text, BoxIcon::Question, BoxButtons::YesNo, DefaultButton::Second});
    }
    // OK button with the given icon.
    void notify(BoxIcon icon, const QString &title, const QString &text)
    {
        show({title, text, icon, BoxButtons::Ok, DefaultButton::First});
    }
    void exclamation(const QString &title, const QString &text)
    {
        notify(BoxIcon::Exclamation, title, text);
    }
};

std::unique_ptr<MessageBoxes> createMessageBoxes();

} // namespace orvex::platform
