#include "support/AddsTray.h"

#include "platform/MessageBoxes.h"
#include "platform/TrayBackend.h"
#include "support/AnsiCodec.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <cstring>

Q_LOGGING_CATEGORY(lcTray, "orvex.tray")

namespace orvex {

AddsTray::AddsTray(const AddsServices &services) : m_services(services)
{
    if (m_services.tray) {
        m_mouseConnection =
            QObject::connect(m_services.tray, &platform::TrayBackend::mouseEvent,
                             [this](platform::TrayBackend::Event e) {
                                 switch (e) {
                                 case platform::TrayBackend::Event::LeftDown:
                                     deliver(kLeftButtonDown);
                                     break;
                                 case platform::TrayBackend::Event::LeftDoubleClick:
                                     deliver(kLeftButtonDoubleClick);
                                     break;
                                 case platform::TrayBackend::Event::RightDown:
                                     deliver(kRightButtonDown);
                                     break;
                                 case platform::TrayBackend::Event::RightDoubleClick:
                                     deliver(kRightButtonDoubleClick);
                                     break;
                                 }
                             });
    }
}

AddsTray::~AddsTray()
{
    QObject::disconnect(m_mouseConnection);
}

void AddsTray::setWin_SysTrayOwnerControl(TrayOwnerControl *owner)
{
    if (m_trayActive) {
        if (m_services.messageBoxes) {
            m_services.messageBoxes->exclamation(
                QCoreApplication::applicationName(),
                QStringLiteral("Alerta: Adds.Win_SysTray (SysTray) no puede cambiar el "
                               "OwnerControl cuando hay un ícono activo"));
        }
        return;
    }
    m_owner = owner;
}

void AddsTray::setWin_SysTrayIcon(const QIcon &picture)
{
    m_icon = picture;
    if (m_trayActive && m_services.tray)
        m_services.tray->modify(m_icon, shownTip());
}

void AddsTray::setWin_SysTrayToolTip(const QString &text)
{
    m_tip.fill('\0');
    if (!text.isEmpty()) {
        // One blank, the text, one blank and the terminating zero, cut to the
        // field: a long text loses its end and its terminator.
        const QByteArray bytes = ansi::encode(QLatin1Char(' ') + text + QLatin1Char(' '));
        const qsizetype n = std::min<qsizetype>(bytes.size(), kTipSize);
        std::memcpy(m_tip.data(), bytes.constData(), static_cast<size_t>(n));
    }
    if (m_trayActive && m_services.tray)
        m_services.tray->modify(m_icon, shownTip());
}

QString AddsTray::Win_SysTrayToolTip() const
{
    return ansi::decode(QByteArrayView(m_tip.data(), kTipSize));
}

QString AddsTray::shownTip() const
{
    // The shell shows the field up to its first zero.
    const char *tip = m_tip.data();
    const auto len = ::strnlen(tip, kTipSize);
    return ansi::decode(QByteArrayView(tip, static_cast<qsizetype>(len)));
}

bool AddsTray::Win_SysTrayAdd()
{
    if (!m_services.tray) {
        qCWarning(lcTray) << "no notification area facility";
        return false;
    }
    if (!m_services.tray->add(m_icon, shownTip())) {
        qCWarning(lcTray) << "the notification area refused the icon";
        return false;
    }
    m_trayActive = true;
    return true;
}

bool AddsTray::Win_SysTrayRemove()
{
    if (m_trayActive) {
        if (m_services.tray)
            m_services.tray->remove();
        m_trayActive = false;
    }
    return true;
}

void AddsTray::Win_SysTrayHelp() const
{
    qCInfo(lcTray).noquote() << sysTrayUsage();
}

void AddsTray::deliver(int message)
{
    if (!m_owner)
        return;
    const float x = static_cast<float>(message * m_owner->twipsPerPixel());
    m_owner->MouseMove(0, 0, x, 0.0f);
}

QString AddsTray::sysTrayUsage()
{
    return QStringLiteral("Uso del ícono en el área de notificación:\n"
                          "  Set Adds.Win_SysTrayOwnerControl = Picture1\n"
                          "  Set Adds.Win_SysTrayIcon = Picture1.Picture\n"
                          "  Adds.Win_SysTrayToolTip = \"Texto\"\n"
                          "  Adds.Win_SysTrayAdd\n"
                          "  ... (se puede cambiar el ícono y el texto mientras está activo)\n"
                          "  Adds.Win_SysTrayRemove   ' antes de descargar el formulario\n"
                          "\n"
                          "Private Sub Picture1_MouseMove(Button, Shift, X, Y)\n"
                          "  Select Case Hex(X)\n"
                          "    Case \"1E0F\"  ' botón izquierdo\n"
                          "    Case \"1E2D\"  ' doble clic izquierdo\n"
                          "    Case \"1E3C\"  ' botón derecho\n"
                          "    Case \"1E5A\"  ' doble clic derecho\n"
                          "    Case \"1830\"  ' botón derecho, fuentes grandes\n"
                          "    Case \"1824\"  ' doble clic izquierdo, fuentes grandes\n"
                          "  End Select\n"
                          "End Sub");
}

} // namespace orvex
