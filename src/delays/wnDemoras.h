#pragma once
#include <QTimer>
#include <QWidget>
#include <memory>

namespace Ui {
class wnDemoras;
}

namespace orvex {

// The delay board: zones and their current delays, published to the centre.
class wnDemoras : public QWidget
{
    Q_OBJECT
public:
    explicit wnDemoras(QWidget *parent = nullptr);
    ~wnDemoras() override;

    QTimer &TimerScan() { return m_timerScan; }

private:
    void TimerScan_Timer();

    std::unique_ptr<Ui::wnDemoras> m_ui;
    QTimer m_timerScan;
};

} // namespace orvex
