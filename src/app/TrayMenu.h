#pragma once
// The agent's face in the notification area: the tray pictures and their
// blink, the pop-up menu with its conversations, the tray's mouse codes and
// the rule for showing and hiding the main window.
#include <QIcon>
#include <QMenu>
#include <QObject>
#include <QString>
#include <QStringList>

#include <array>
#include <functional>
#include <memory>

class QLabel;
class QWidget;

namespace orvex {

class Adds;
struct ScanStatus;

class TrayMenu final : public QObject
{
    Q_OBJECT
public:
    // The menu's commands by the numbers of its items.
    enum Command { CheckNow = 1, DelayBoard = 2, ShowHide = 9, Close = 10, NewChat = 99 };
    static constexpr int kPicsCount = 6;
    static constexpr int kChatMenuSlots = 21;
    using Pictures = std::array<QLabel *, kPicsCount>;

    // `window` is the one the tray shows and hides; `pics` the picture
    // controls whose first one owns the tray icon; `chatCaptions` lists the
    // open conversations, in order, each time the menu opens.
    TrayMenu(Adds &adds, QWidget &window, Pictures pics, std::function<QStringList()> chatCaptions);
    ~TrayMenu() override;

    // The six pictures: no connection, limited, on line, each with the
    // picture it blinks to.
    void loadPictures(const QString &resourceFolder);
    // Makes Pics(0) the icon's owner and puts the icon into the area.
    void addToTray(const QString &tip);
    void removeFromTray();

    // One tick's look: the state's picture, blinking, and the tip.
    void showStatus(const ScanStatus &status);
    int basePicture() const { return m_basePicture; }

    // The tray's mouse messages, as the owner control receives them.
    void Pics_MouseMove(int Index, int Button, int Shift, float X, float Y);
    // Lists the open conversations in the menu; shows it at the mouse when
    // asked.
    void PopUpBuilder(bool atCursor);
    // Shows a hidden window, hides a shown one; without a notification area
    // to bring it back from, a shown window is minimised instead.
    void toggleMainWindow();

    QLabel *Pics(int index) const;
    QIcon PicsPicture(int index) const;
    QMenu *mnuPopUp() { return &m_mnuPopUp; }
    QAction *mnuEmergente(int index) const;
    QAction *mnuChat(int index) const;
    // The window's own context menu: the tray's commands, and the maker's
    // credits where the system has no window menu to carry them.
    QMenu *windowMenu() { return &m_windowMenu; }
    void buildWindowMenu(bool withCredits);

signals:
    void mnuEmergente_Click(int Index);
    void mnuChat_Click(int Index);
    // The notification area came or went.
    void trayHostChanged(bool available);

private:
    class PicsOwner;
    void buildPopupMenu();
    void onTrayHostChanged(bool available);

    Adds &m_adds;
    QWidget &m_window;
    Pictures m_pics;
    std::function<QStringList()> m_chatCaptions;
    std::unique_ptr<PicsOwner> m_owner;
    std::array<QIcon, kPicsCount> m_picsIcons;
    QMenu m_mnuPopUp;
    QMenu m_mnuConversaciones;
    QMenu m_windowMenu;
    std::array<QAction *, 11> m_mnuEmergente{};
    std::array<QAction *, kChatMenuSlots> m_mnuChat{};
    QAction *m_mnuChatNew = nullptr;
    // Where the blink starts in Pics: 0, 2 or 4.
    int m_basePicture = 0;
    bool m_inTray = false;
};

} // namespace orvex
