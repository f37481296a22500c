#pragma once
#include <QComboBox>
#include <QDialog>

#include <memory>

namespace Ui {
class wnChatTo;
}

namespace orvex {

class ChatDirectory;

// Whom to chat with: a server of the centre (its index as the item's data),
// then one of the nicknames known there. OK opens or reuses that chat's
// window and leaves the dialog open for the next; Cancel hides it.
class wnChatTo : public QDialog
{
    Q_OBJECT
public:
    explicit wnChatTo(ChatDirectory *servers, QWidget *parent = nullptr);
    ~wnChatTo() override;

    QComboBox *ComboServer() const;
    QComboBox *ComboDestinos() const;
    void addServer(const QString &name, int serverIndex);

    void ComboServer_Click();
    void OKButton_Click();
    void CancelButton_Click();

    Ui::wnChatTo &ui() { return *m_ui; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    ChatDirectory *m_servers;
    std::unique_ptr<Ui::wnChatTo> m_ui;
};

} // namespace orvex
