#include "platform/MessageBoxes.h"

#include <QMessageBox>

namespace orvex::platform {
namespace {

class QtMessageBoxes final : public MessageBoxes
{
public:
    Answer question(const QString &title, const QString &text) override
    {
        const auto button = QMessageBox::question(
            nullptr, title, text, QMessageBox::Yes | QMessageBox::No, QMessageBox::No);
        return button == QMessageBox::Yes ? Answer::Yes : Answer::No;
    }

    void exclamation(const QString &title, const QString &text) override
    {
        QMessageBox::warning(nullptr, title, text);
    }
};

} // namespace

std::unique_ptr<MessageBoxes> createMessageBoxes()
{
    return std::make_unique<QtMessageBoxes>();
}

} // namespace orvex::platform
