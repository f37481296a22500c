#include "platform/MessageBoxes.h"

#include <QInputDialog>
#include <QMessageBox>

namespace orvex::platform {
namespace {

QMessageBox::Icon toQt(BoxIcon icon)
{
    switch (icon) {
    case BoxIcon::Question:
        return QMessageBox::Question;
    case BoxIcon::Information:
        return QMessageBox::Information;
    case BoxIcon::Exclamation:
        return QMessageBox::Warning;
    case BoxIcon::Critical:
        return QMessageBox::Critical;
    case BoxIcon::None:
        break;
    }
    return QMessageBox::NoIcon;
}

class QtMessageBoxes final : public MessageBoxes
{
public:
    Answer show(const MessageBoxRequest &request) override
    {
        QMessageBox box(toQt(request.icon), request.title, request.text);
        if (request.buttons == BoxButtons::Ok) {
            box.setStandardButtons(QMessageBox::Ok);
            box.exec();
            return Answer::Ok;
        }
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
        box.setDefaultButton(request.defaultButton == DefaultButton::Second ? QMessageBox::No
                                                                            : QMessageBox::Yes);
        // Closing the box without choosing counts as the safe answer.
        box.setEscapeButton(QMessageBox::No);
        return box.exec() == QMessageBox::Yes ? Answer::Yes : Answer::No;
    }

    std::optional<QString> inputBox(const InputBoxRequest &request) override
    {
        bool ok = false;
        const QString text = QInputDialog::getText(nullptr, request.title, request.prompt,
                                                   QLineEdit::Normal, request.defaultText, &ok);
        if (!ok)
            return std::nullopt;
        return text;
    }
};

} // namespace

std::unique_ptr<MessageBoxes> createMessageBoxes()
{
    return std::make_unique<QtMessageBoxes>();
}

} // namespace orvex::platform
