#pragma once
#include "delays/DelayRows.h"
#include <QDateTime>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class QListView;

namespace Ui {
class wnDemoras;
}

namespace orvex {

class Adds;
namespace platform {
class MessageBoxes;
class WindowPin;
} // namespace platform

// What the board works with, handed in by the main form.
struct wnDemorasContext
{
    Adds *adds = nullptr;
    platform::MessageBoxes *boxes = nullptr;
    QString programFolder;
    // Keeps the board above all windows (required).
    platform::WindowPin *pin = nullptr;
    // The delay remembered for a zone's name, from the user's saved settings;
    // null reads them from the system's per-user store.
    std::function<QString(const QString &zone)> savedDelay;
};

// The delay board: the zones the provider serves and the current delay of
// each, kept in "OxDemoras.txt", which the scan cycle publishes. While the
// delays are older than 20 minutes it stays on top and reminds with a sound;
// moved off the centre, it comes back.
class wnDemoras : public QWidget
{
    Q_OBJECT
public:
    explicit wnDemoras(const wnDemorasContext &context, QWidget *parent = nullptr);
    ~wnDemoras() override;

    // The load handler (also run by the constructor).
    void Form_Load();

    // Controls and members, by the names the board's rules use.
    Ui::wnDemoras &ui() { return *m_ui; }
    QListView *Lista() const;
    delays::DelayRows &ListaRows() { return m_rows; }
    QTimer &TimerScan() { return m_timerScan; }
    QDateTime LastSaved;
    int Countdown = 0;
    // The row InputDemora edits; none when unbound.
    std::optional<int> inputTag() const { return m_inputTag; }
    bool isPinned() const;

    void cmdListAdd_Click();
    void cmdListRemove_Click();
    void cmdEnviar_Click();
    void Lista_Click();
    // Key handlers; true when the key was swallowed.
    bool InputDemora_KeyDown(int key, Qt::KeyboardModifiers shift);
    bool Lista_KeyDown(int key, Qt::KeyboardModifiers shift);
    void TimerScan_Timer();

    // Writes the delays file unless it already holds `text` and is under 30
    // minutes old; with no text, the text comes from the list. True when the
    // file was written.
    bool GuardarDemoras(const std::optional<QString> &text = std::nullopt);

    QString delaysFile() const;
    // Where the board stands when centred on its screen.
    QPoint centredPosition() const;

protected:
    void closeEvent(QCloseEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void centre();
    void writeBackInput();
    void bindInput(int row);
    void playReminder();
    void focusLista();
    void setRow(int index, const QString &text);
    QString savedDelay(const QString &zone) const;

    wnDemorasContext m_ctx;
    std::unique_ptr<Ui::wnDemoras> m_ui;
    delays::DelayRows m_rows;
    QTimer m_timerScan;
    std::optional<int> m_inputTag;
};

} // namespace orvex
