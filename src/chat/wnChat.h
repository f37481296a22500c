#pragma once
#include <QString>
#include <QWidget>
#include <memory>

namespace Ui {
class wnChat;
}

namespace orvex {

// One conversation with one destination. The tag names it: server index,
// "\", destination nickname.
class wnChat : public QWidget
{
    Q_OBJECT
public:
    explicit wnChat(QWidget *parent = nullptr);
    ~wnChat() override;

    QString Tag() const { return m_tag; }
    void setTag(const QString &tag) { m_tag = tag; }

    Ui::wnChat &ui() { return *m_ui; }

private:
    std::unique_ptr<Ui::wnChat> m_ui;
    QString m_tag;
};

} // namespace orvex
