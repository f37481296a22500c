#pragma once
#include <QString>
#include <QWidget>

#include <memory>

namespace Ui {
class wnChat;
}

namespace orvex {

class Adds;
class ChatDirectory;

struct wnChatContext
{
    Adds *adds = nullptr;
    ChatDirectory *servers = nullptr;
    QString programFolder;
};

// One conversation with one person at the centre: the log of what was said
// both ways, newest last, and a line to write in. The tag names the
// destination: server index, "\", nickname.
class wnChat : public QWidget
{
    Q_OBJECT
public:
    explicit wnChat(const wnChatContext &context, QWidget *parent = nullptr);
    ~wnChat() override;

    QString Tag() const { return m_tag; }
    void setTag(const QString &tag) { m_tag = tag; }

    // A message that arrived: shown (with its sounds) and logged. The sender
    // is shown in brackets after the server's name.
    void Chat_Msg(const QString &sender, const QString &serverName, const QString &extra,
                  const QString &text, const QString &recipient);
    void cmdEnviar_Click();

    Ui::wnChat &ui() { return *m_ui; }

protected:
    void changeEvent(QEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void addEntry(const QString &head, const QString &text, const QString &icon);
    void playIfThere(const QString &sound);
    QString resource(const QString &name) const;
    void restorePlace();
    void savePlace();

    wnChatContext m_ctx;
    std::unique_ptr<Ui::wnChat> m_ui;
    QString m_tag;
};

} // namespace orvex
