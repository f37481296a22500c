#pragma once
#include "actions/ActionContext.h"
#include "app/ServerTable.h"

#include <QDateTime>
#include <QString>
#include <QWidget>

#include <functional>
#include <memory>

namespace Ui {
class wnPrincipal;
}

namespace orvex {

class Adds;
class ChatRouter;
class Downloads;
class MaintenanceDispatcher;
class Net;
class ProgressCaption;
class ScanCycle;
class TrayMenu;
class wnDemoras;
struct ScanStatus;

namespace platform {
class FileTransfer;
class MessageBoxes;
class ShellFolders;
class SingleInstance;
class SocketX;
class WindowPin;
} // namespace platform

// What the main form works with: the services the program built for it.
struct wnPrincipalContext
{
    Adds &adds;
    platform::MessageBoxes &messageBoxes;
    // The socket every keep-alive, upload and action request goes through.
    platform::SocketX &socket;
    // Pings servers that did not answer.
    Net &net;
    // Downloads of the maintenance actions.
    platform::FileTransfer &transfer;
    // The menus the shortcuts go into.
    platform::ShellFolders &shellFolders;
    // Keeps the delay board on top.
    platform::WindowPin &windowPin;
    // Makes the chat connection of a server.
    ServerTable::ChatClientFactory makeChatClient;
    // Ends the program.
    std::function<void()> endProgram;
    // Null skips the second-copy check (a form in a test).
    platform::SingleInstance *instance = nullptr;
    QString programFolder;
    // The program's command line after its name; names the home server.
    QString commandLine;
    // The agent's own program file, for its shortcut.
    QString agentProgram;
};

// The agent's main window: the state of every server of the centre, the
// maintenance actions, and the order in which the pieces start and stop.
class wnPrincipal : public QWidget
{
    Q_OBJECT
public:
    explicit wnPrincipal(const wnPrincipalContext &context, QWidget *parent = nullptr);
    ~wnPrincipal() override;

    // The load handler. False when this copy must end at once: the user chose
    // to keep the copy that was already running, or the program was unloaded
    // while the load waited.
    bool Form_Load();
    // The unload handler: the tray icon goes, then the program ends.
    void Form_Unload();

    void mnuEmergente_Click(int Index);
    void mnuChat_Click(int Index);
    // The maintenance actions: the button runs the action whose text the
    // list (or the user, typing) shows.
    void cmdAccion_Click();
    // The status label's caption changed: LabelAvance shows the percentage.
    void LabelStatus_Change();
    // Opens the delay board. The menu gives the zero date as the time the
    // delays were last saved, so that the board, opened to be updated, stays
    // on top and reminds until they are sent.
    void MostrarDemoras(const QDateTime &lastSaved);

    // The pieces, for whoever looks at the running agent.
    const ServerTable &servers() const { return m_servers; }
    const ChatRouter &chats() const { return *m_chats; }
    TrayMenu &tray() const { return *m_tray; }
    const ScanCycle &scan() const { return *m_scan; }
    wnDemoras *delayBoard() const { return m_demoras.get(); }
    // Shows a transfer's "done/total" in LabelStatus.
    ProgressCaption &LabelStatus() const;
    QString Tag() const { return m_tag; }

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    class Caption;

    // Only one copy runs; the user chooses which one stays. False when this
    // copy must end.
    bool settleSecondCopy();
    void fillAccionCombo();
    void decorateWindow();
    void showServerLine(int index);
    void showStatus(const ScanStatus &status);
    ActionContext actionContext();
    void createShortcuts();

    wnPrincipalContext m_ctx;
    std::unique_ptr<Ui::wnPrincipal> m_ui;
    ServerTable m_servers;
    std::unique_ptr<ChatRouter> m_chats;
    std::unique_ptr<TrayMenu> m_tray;
    std::unique_ptr<Caption> m_labelStatus;
    std::unique_ptr<Caption> m_windowCaption;
    // The status picture on show: a tick that judges the same state
    // repaints nothing (an idle agent must not wake the display each second).
    int m_shownPicture = -1;
    std::unique_ptr<ScanCycle> m_scan;
    std::unique_ptr<Downloads> m_downloads;
    std::unique_ptr<MaintenanceDispatcher> m_dispatcher;
    std::unique_ptr<wnDemoras> m_demoras;
    bool m_unloading = false;
    QString m_tag;
};

} // namespace orvex
