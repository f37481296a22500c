#pragma once
#include <QString>
#include <memory>

namespace orvex::platform {

enum class Answer { Yes, No };

// The message and question boxes the agent shows. Tests answer instead of a
// person.
class MessageBoxes
{
public:
    virtual ~MessageBoxes() = default;
    // Yes/No buttons, question icon, No as the default button.
    virtual Answer question(const QString &title, const QString &text) = 0;
    // OK button, exclamation icon.
    virtual void exclamation(const QString &title, const QString &text) = 0;
};

std::unique_ptr<MessageBoxes> createMessageBoxes();

} // namespace orvex::platform
