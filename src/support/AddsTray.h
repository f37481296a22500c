#pragma once
// The notification-area icon. The icon's button events reach the owner
// control as mouse moves whose X is the tray message number in twips, so the
// owner form decodes them exactly as it always has ("1E3C" = right button).
#include "support/AddsServices.h"

#include <QIcon>
#include <QMetaObject>
#include <QString>
#include <QtGlobal>

#include <array>

namespace orvex {

// The control that receives the tray's mouse messages.
class TrayOwnerControl
{
public:
    virtual ~TrayOwnerControl() = default;
    virtual quint32 hwnd() const = 0;
    // 15 at normal font size (96 dpi), 12 at large fonts (120 dpi).
    virtual int twipsPerPixel() const = 0;
    virtual void MouseMove(int Button, int Shift, float X, float Y) = 0;
};

class AddsTray
{
public:
    explicit AddsTray(const AddsServices &services);
    ~AddsTray();
    AddsTray(const AddsTray &) = delete;
    AddsTray &operator=(const AddsTray &) = delete;

    // The tip field of the shell's notification record: ANSI, zero-filled.
    static constexpr int kTipSize = 64;

    // Tray mouse messages (the notification-area numbers).
    static constexpr int kLeftButtonDown = 513;
    static constexpr int kLeftButtonDoubleClick = 515;
    static constexpr int kRightButtonDown = 516;
    static constexpr int kRightButtonDoubleClick = 518;

    void setWin_SysTrayOwnerControl(TrayOwnerControl *owner);
    TrayOwnerControl *Win_SysTrayOwnerControl() const { return m_owner; }

    void setWin_SysTrayIcon(const QIcon &picture);
    QIcon Win_SysTrayIcon() const { return m_icon; }

    void setWin_SysTrayToolTip(const QString &text);
    // The 64-character field as stored.
    QString Win_SysTrayToolTip() const;

    bool Win_SysTrayAdd();
    bool Win_SysTrayRemove();
    bool Win_SysTrayEnable() const { return m_trayActive; }
    void Win_SysTrayHelp() const;

    // The notification area the icon lives in (null when there is none).
    platform::TrayBackend *trayBackend() const { return m_services.tray; }

    // The usage text of the service.
    static QString sysTrayUsage();

private:
    QString shownTip() const;
    void deliver(int message);

    AddsServices m_services;
    std::array<char, kTipSize> m_tip{};
    QIcon m_icon;
    TrayOwnerControl *m_owner = nullptr;
    bool m_trayActive = false;
    QMetaObject::Connection m_mouseConnection;
};

} // namespace orvex
