#include "chat/wnChatTo.h"

#include "ui_wnChatTo.h"

namespace orvex {

wnChatTo::wnChatTo(QWidget *parent) : QDialog(parent), m_ui(std::make_unique<Ui::wnChatTo>())
{
    m_ui->setupUi(this);
}

wnChatTo::~wnChatTo() = default;

QComboBox *wnChatTo::ComboServer() const
{
    return m_ui->ComboServer;
}

void wnChatTo::addServer(const QString &name, int serverIndex)
{
    m_ui->ComboServer->addItem(name, serverIndex);
}

} // namespace orvex
