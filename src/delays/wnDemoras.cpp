#include "delays/wnDemoras.h"

#include "ui_wnDemoras.h"

namespace orvex {

wnDemoras::wnDemoras(QWidget *parent) : QWidget(parent), m_ui(std::make_unique<Ui::wnDemoras>())
{
    m_ui->setupUi(this);
    m_timerScan.setInterval(10000);
    connect(&m_timerScan, &QTimer::timeout, this, &wnDemoras::TimerScan_Timer);
    m_timerScan.start();
}

wnDemoras::~wnDemoras() = default;

void wnDemoras::TimerScan_Timer()
{
    // The board's reminder cycle arrives with the board itself.
}

} // namespace orvex
