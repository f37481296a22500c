#pragma once
#include <QComboBox>
#include <QDialog>
#include <memory>

namespace Ui {
class wnChatTo;
}

namespace orvex {

// The chat destination dialog: a server of the table and a nickname there.
// Each item of ComboServer carries the server's index as its data.
class wnChatTo : public QDialog
{
    Q_OBJECT
public:
    explicit wnChatTo(QWidget *parent = nullptr);
    ~wnChatTo() override;

    QComboBox *ComboServer() const;
    void addServer(const QString &name, int serverIndex);

private:
    std::unique_ptr<Ui::wnChatTo> m_ui;
};

} // namespace orvex
