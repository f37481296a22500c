#pragma once
#include "actions/ActionContext.h"
#include "app/DynIpServer.h"
#include "chat/ChatDirectory.h"
#include "support/ProgressCaption.h"

#include <QIcon>
#include <QMenu>
#include <QString>
#include <QTimer>
#include <QVariant>
#include <QWidget>

#include <array>
#include <functional>
#include <memory>
#include <vector>

class QAction;
class QLabel;

namespace Ui {
class wnPrincipal;
}

namespace orvex {

class Adds;
class Clock;
class DelayUpload;
class Downloads;
class MaintenanceDispatcher;
class ExchangeHelper;
class KeepAliveSender;
class Net;
class SiblingFolders;
class wnChat;
class wnChatTo;
class wnDemoras;

namespace platform {
class ShellFolders;
class MessageBoxes;
class SingleInstance;
class FileTransfer;
class SocketX;
class WindowPin;
} // namespace platform

// Everything the main form works with, handed in by whoever starts it.
struct wnPrincipalContext
{
    Adds *adds = nullptr;
    platform::MessageBoxes *messageBoxes = nullptr;
    // Null skips the second-copy check (tests of a single form).
    platform::SingleInstance *instance = nullptr;
    QString programFolder;
    // The program's command line after its name; names the home server.
    QString commandLine;
    // Ends the program; the default quits the application's event loop.
    std::function<void()> endProgram;
    // Where the form and its windows take the time; null is the system clock.
    const Clock *clock = nullptr;
    // Pings servers that did not answer; null makes the form use the system's.
    Net *net = nullptr;
    // The socket every keep-alive and upload goes through; null makes the
    // form use one of its own.
    platform::SocketX *socket = nullptr;
    // Downloads of the maintenance actions; null makes the form use its own.
    platform::FileTransfer *transfer = nullptr;
    // Keeps the delay board on top; null uses the system's.
    platform::WindowPin *windowPin = nullptr;
    // Makes the chat connection of a server; null makes real ones.
    std::function<std::unique_ptr<platform::IrcClient>()> makeChatClient;
    // The menus the shortcuts go into; null uses the system's.
    platform::ShellFolders *shellFolders = nullptr;
    // The agent's own program file; empty is the running one.
    QString agentProgram;
};

// The agent's main window: the state of every server of the centre, the
// maintenance actions, and the owner of the tray icon and its menu.
class wnPrincipal : public QWidget, public ChatDirectory
{
    Q_OBJECT
public:
    static constexpr int kPicsCount = 6;
    static constexpr int kChatMenuSlots = 21;
    static constexpr int kChatMenuNew = 99;

    explicit wnPrincipal(const wnPrincipalContext &context, QWidget *parent = nullptr);
    ~wnPrincipal() override;

    // The load handler. False when this copy must end at once: the user chose
    // to keep the copy that was already running, or the program was unloaded
    // while the load waited.
    bool Form_Load();
    // The unload handler: the tray icon goes, then the program ends.
    void Form_Unload();

    // The tray's mouse messages, as the owner control receives them.
    void Pics_MouseMove(int Index, int Button, int Shift, float X, float Y);
    void mnuEmergente_Click(int Index);
    void mnuChat_Click(int Index);
    void TimerScan_Timer();
    // Hands what every server's chat connection received to the chat
    // windows: private messages open (or reuse) the window of their sender.
    void ChatPump();

    // The chat windows' view of the server table.
    QString serverName(int index) const override;
    platform::IrcClient *chatClient(int index) const override;
    wnChat &chatWindow(const QString &key, const QString &caption) override;
    // The status label's caption changed: LabelAvance shows the percentage.
    void LabelStatus_Change();

    // The maintenance actions: the button runs the action whose text the
    // list (or the user, typing) shows.
    void cmdAccion_Click();

    // Opens the delay board. The menu gives the zero date as the time the
    // delays were last saved, so that the board, opened to be updated, stays
    // on top and reminds until they are sent.
    void MostrarDemoras(const QDateTime &lastSaved);
    bool DownloadAndRun(const QString &FileName, const QString &Parameters,
                        const QString &ServerPath, bool Overwrite, bool CheckExisting, bool DontRun,
                        const QString &LocalFileName = {});
    bool UpdateIfIsPossible(const QString &Company, const QString &PcName, const QString &Group,
                            const QString &FileName);

    // Controls and state, by the names the rest of the agent uses.
    Ui::wnPrincipal &ui() { return *m_ui; }
    QLabel *Pics(int index) const;
    QIcon PicsPicture(int index) const;
    QMenu *mnuPopUp() { return &m_mnuPopUp; }
    QAction *mnuEmergente(int index) const;
    QAction *mnuChat(int index) const;
    QTimer &TimerScan() { return m_timerScan; }
    platform::SocketX &SocketXCli() { return *m_ctx.socket; }
    // Shows a transfer's "done/total" in LabelStatus.
    ProgressCaption *LabelStatus() const;
    QString Tag() const { return m_tag; }
    QVariant homeServerHost() const { return m_homeServerHost; }

    std::vector<DynIpServer> DynIpServers;
    std::vector<std::unique_ptr<wnChat>> ChatWindows;
    wnChatTo *chatToDialog() const { return m_chatTo.get(); }
    wnDemoras *delayBoard() const { return m_demoras.get(); }

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    class PicsOwner;
    class LabelCaption;
    class WindowCaption;

    QString iniPath() const;
    QString resourcePath(const QString &name) const;
    QString centreFixedHost();
    // Only one copy runs; the user chooses which one stays. False when this
    // copy must end.
    bool settleSecondCopy();
    void fillAccionCombo();
    void decorateWindow();
    void loadPictures();
    void buildPopupMenu();
    void readServerList();
    void addSupportServer();
    void openFirstChatWindow();
    std::unique_ptr<platform::IrcClient> newChatClient();
    void PopUpBuilder(bool atCursor);
    void toggleMainWindow();
    void updateTrayHostState(bool available);

    // The steps of a tick, each on its own: one that fails leaves the next
    // to run.
    void sendKeepAlives();
    void reconnectChat(DynIpServer &server);
    void showStatus();
    void showServerLine(size_t index);
    ActionContext actionContext();
    void createShortcuts();
    const Clock &clock() const;

    wnPrincipalContext m_ctx;
    std::unique_ptr<Ui::wnPrincipal> m_ui;
    std::unique_ptr<PicsOwner> m_picsOwner;
    std::array<QLabel *, kPicsCount> m_pics{};
    std::array<QIcon, kPicsCount> m_picsIcons;
    QMenu m_mnuPopUp;
    QMenu m_mnuConversaciones;
    // The window's own context menu: the tray commands, and the maker's
    // credits where the system has no window menu to carry them.
    QMenu m_windowMenu;
    std::array<QAction *, 11> m_mnuEmergente{};
    std::array<QAction *, kChatMenuSlots> m_mnuChat{};
    QAction *m_mnuChatNew = nullptr;
    QTimer m_timerScan;
    bool m_scanBusy = false;
    bool m_unloading = false;
    QString m_tag;
    QVariant m_homeServerHost;
    QString m_centreHost;
    QString m_lastDomain;
    std::unique_ptr<wnChatTo> m_chatTo;
    std::unique_ptr<wnDemoras> m_demoras;

    std::unique_ptr<platform::SocketX> m_socketXCli;
    std::unique_ptr<LabelCaption> m_labelStatus;
    std::unique_ptr<WindowCaption> m_windowCaption;
    std::unique_ptr<Net> m_ownNet;
    std::unique_ptr<KeepAliveSender> m_keepAlive;
    std::unique_ptr<SiblingFolders> m_siblingFolders;
    std::unique_ptr<DelayUpload> m_delayUpload;
    std::unique_ptr<ExchangeHelper> m_exchangeHelper;
    std::unique_ptr<platform::FileTransfer> m_ownTransfer;
    std::unique_ptr<Downloads> m_downloads;
    std::unique_ptr<MaintenanceDispatcher> m_dispatcher;
    // Where the tray's blinking pictures start in Pics: 0, 2 or 4.
    int m_basePicture = 0;
    // The overall state shown last, to log its changes.
    qint32 m_shownOverall = -1;
};

} // namespace orvex
