#include "chat/wnChat.h"

#include "chat/ChatDirectory.h"
#include "platform/IrcClient.h"
#include "support/Adds.h"
#include "ui_wnChat.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QKeyEvent>
#include <QListWidgetItem>

using namespace Qt::Literals::StringLiterals;

namespace orvex {
namespace {
// Where the window's place is kept: a section of its own, one key each.
const QString kPlaceSection = u"wnChat"_s;

QString now(const Adds *adds)
{
    return clockOr(adds ? &adds->clock() : nullptr).now().toString(u"dd/MM HH:mm:ss"_s);
}
} // namespace

wnChat::wnChat(const wnChatContext &context, QWidget *parent)
    : QWidget(parent), m_ctx(context), m_ui(std::make_unique<Ui::wnChat>())
{
    m_ui->setupUi(this);
    connect(m_ui->cmdEnviar, &QPushButton::clicked, this, &wnChat::cmdEnviar_Click);
    m_ui->Mensaje->installEventFilter(this);
    m_ui->ListaMensajes->installEventFilter(this);
    restorePlace();
}

wnChat::~wnChat() = default;

QString wnChat::resource(const QString &name) const
{
    return QDir(m_ctx.programFolder).filePath(u"resources/"_s + name);
}

void wnChat::playIfThere(const QString &sound)
{
    if (m_ctx.adds && QFileInfo::exists(resource(sound)))
        m_ctx.adds->Sonido_PlayWav(resource(sound), 1, true);
}

void wnChat::addEntry(const QString &head, const QString &text, const QString &icon)
{
    // Shown on two lines; the entry itself keeps its CR LF.
    const QString entry = head + u"\r\n"_s + text;
    auto *item = new QListWidgetItem(QString(entry).replace(u"\r\n"_s, u"\n"_s));
    item->setData(Qt::UserRole, entry);
    const QIcon picture(resource(icon));
    if (!picture.isNull())
        item->setIcon(picture);
    m_ui->ListaMensajes->addItem(item);
    m_ui->ListaMensajes->setCurrentItem(item);
    m_ui->ListaMensajes->scrollToItem(item);
}

void wnChat::Chat_Msg(const QString &sender, const QString &serverName, const QString &extra,
                      const QString &text, const QString &recipient)
{
    Q_UNUSED(extra);
    addEntry(now(m_ctx.adds) + u" De "_s + serverName + u'(' + sender + u") Para "_s + recipient,
             text, u"chat_mensajeentrante.ico"_s);
    if (!isVisible()) {
        setVisible(true);
        playIfThere(u"chat_nuevo.wav"_s);
    }
    playIfThere(u"chat_mensajeentrante.wav"_s);
    showNormal();
    QApplication::alert(this);
}

void wnChat::cmdEnviar_Click()
{
    const QString text = m_ui->Mensaje->text().remove(u"\r\n"_s);
    const QString server = m_tag.section(u'\\', 0, 0);
    const QString nick = m_tag.section(u'\\', 1);
    if (!text.isEmpty()) {
        platform::IrcClient *client =
            m_ctx.servers ? m_ctx.servers->chatClient(server.toInt()) : nullptr;
        // Not connected: nothing goes, nothing is logged, the text stays.
        if (!client || !client->isConnected())
            return;
        client->SendPrivMsg(nick, text);
        addEntry(now(m_ctx.adds) + u" De "_s + client->CurrentNick() + u" para "_s + nick + u'(' +
                     m_ctx.servers->serverName(server.toInt()) + u')',
                 text, u"chat_mensajesaliente.ico"_s);
        m_ui->Mensaje->clear();
    }
    m_ui->Mensaje->setFocus();
}

bool wnChat::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent *>(event)->key();
        const bool enter = key == Qt::Key_Return || key == Qt::Key_Enter;
        if (watched == m_ui->Mensaje && enter) {
            cmdEnviar_Click();
            return true;
        }
        if (watched == m_ui->ListaMensajes && enter) {
            m_ui->Mensaje->setFocus();
            return true;
        }
        if ((watched == m_ui->Mensaje || watched == m_ui->ListaMensajes) && key == Qt::Key_Escape) {
            hide();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void wnChat::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    // Minimised, the window goes out of sight; the next message or the menu
    // brings it back.
    if (event->type() == QEvent::WindowStateChange && (windowState() & Qt::WindowMinimized)) {
        setWindowState(windowState() & ~Qt::WindowMinimized);
        hide();
    }
}

void wnChat::hideEvent(QHideEvent *event)
{
    savePlace();
    QWidget::hideEvent(event);
}

void wnChat::restorePlace()
{
    if (!m_ctx.adds)
        return;
    const auto read = [this](const QString &key) {
        bool ok = false;
        const int v = m_ctx.adds->INI_GetString(kPlaceSection, key, QString()).toInt(&ok);
        return ok ? std::optional(v) : std::nullopt;
    };
    const auto left = read(u"-Left"_s), top = read(u"-Top"_s);
    const auto width = read(u"-Width"_s), height = read(u"-Height"_s);
    if (width && height && *width > 100 && *height > 100)
        resize(*width, *height);
    if (left && top)
        move(*left, *top);
}

void wnChat::savePlace()
{
    if (!m_ctx.adds)
        return;
    const QRect place = geometry();
    m_ctx.adds->INI_PutString(kPlaceSection, u"-Left"_s, QString::number(pos().x()));
    m_ctx.adds->INI_PutString(kPlaceSection, u"-Top"_s, QString::number(pos().y()));
    m_ctx.adds->INI_PutString(kPlaceSection, u"-Width"_s, QString::number(place.width()));
    m_ctx.adds->INI_PutString(kPlaceSection, u"-Height"_s, QString::number(place.height()));
}

} // namespace orvex
