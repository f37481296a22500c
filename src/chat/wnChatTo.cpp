#include "chat/wnChatTo.h"

#include "chat/ChatDirectory.h"
#include "chat/wnChat.h"
#include "platform/IrcClient.h"
#include "ui_wnChatTo.h"

#include <QAbstractItemView>
#include <QKeyEvent>

namespace orvex {

wnChatTo::wnChatTo(ChatDirectory *servers, QWidget *parent)
    : QDialog(parent), m_servers(servers), m_ui(std::make_unique<Ui::wnChatTo>())
{
    m_ui->setupUi(this);
    m_ui->ComboServer->setCurrentIndex(-1);
    connect(m_ui->ComboServer, &QComboBox::currentIndexChanged, this,
            [this] { ComboServer_Click(); });
    connect(m_ui->OKButton, &QPushButton::clicked, this, &wnChatTo::OKButton_Click);
    connect(m_ui->CancelButton, &QPushButton::clicked, this, &wnChatTo::CancelButton_Click);
    m_ui->ComboServer->installEventFilter(this);
    m_ui->ComboDestinos->installEventFilter(this);
    m_ui->ComboDestinos->view()->viewport()->installEventFilter(this);
}

wnChatTo::~wnChatTo() = default;

QComboBox *wnChatTo::ComboServer() const
{
    return m_ui->ComboServer;
}

QComboBox *wnChatTo::ComboDestinos() const
{
    return m_ui->ComboDestinos;
}

void wnChatTo::addServer(const QString &name, int serverIndex)
{
    m_ui->ComboServer->addItem(name, serverIndex);
    m_ui->ComboServer->setCurrentIndex(-1);
}

void wnChatTo::ComboServer_Click()
{
    m_ui->ComboDestinos->clear();
    if (m_ui->ComboServer->currentIndex() < 0)
        return;
    const int server = m_ui->ComboServer->currentData().toInt();
    if (const platform::IrcClient *client = m_servers ? m_servers->chatClient(server) : nullptr)
        m_ui->ComboDestinos->addItems(client->Nicknames());
    m_ui->ComboDestinos->setCurrentIndex(-1);
}

void wnChatTo::OKButton_Click()
{
    if (m_ui->ComboServer->currentIndex() < 0) {
        m_ui->ComboServer->setFocus();
        return;
    }
    if (m_ui->ComboDestinos->currentIndex() < 0) {
        m_ui->ComboDestinos->setFocus();
        return;
    }
    const int server = m_ui->ComboServer->currentData().toInt();
    const QString nick = m_ui->ComboDestinos->currentText();
    if (!m_servers)
        return;
    wnChat &chat = m_servers->chatWindow(QString::number(server) + u'\\' + nick,
                                         nick + u'(' + m_servers->serverName(server) + u')');
    chat.show();
    chat.raise();
}

void wnChatTo::CancelButton_Click()
{
    hide();
}

bool wnChatTo::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress) {
        const auto *key = static_cast<QKeyEvent *>(event);
        const bool enter = key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter;
        if (watched == m_ui->ComboServer && enter) {
            m_ui->ComboDestinos->setFocus();
            return true;
        }
        if (watched == m_ui->ComboDestinos && enter && key->modifiers() == Qt::NoModifier) {
            // Enter steps to the next nickname, as Down would, then opens the chat.
            const int next = m_ui->ComboDestinos->currentIndex() + 1;
            if (next < m_ui->ComboDestinos->count())
                m_ui->ComboDestinos->setCurrentIndex(next);
            OKButton_Click();
            return true;
        }
    }
    if (event->type() == QEvent::MouseButtonDblClick &&
        watched == m_ui->ComboDestinos->view()->viewport()) {
        OKButton_Click();
    }
    return QDialog::eventFilter(watched, event);
}

} // namespace orvex
