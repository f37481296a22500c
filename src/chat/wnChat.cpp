#include "chat/wnChat.h"

#include "ui_wnChat.h"

namespace orvex {

wnChat::wnChat(QWidget *parent) : QWidget(parent), m_ui(std::make_unique<Ui::wnChat>())
{
    m_ui->setupUi(this);
}

wnChat::~wnChat() = default;

} // namespace orvex
