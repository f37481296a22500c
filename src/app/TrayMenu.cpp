#include "app/TrayMenu.h"

#include "app/ScanStatus.h"
#include "platform/TrayBackend.h"
#include "support/Adds.h"

#include <QCursor>
#include <QGuiApplication>
#include <QLabel>
#include <QScreen>
#include <QWidget>

using namespace Qt::Literals::StringLiterals;

namespace orvex {
namespace {
const char *const kPicsFiles[TrayMenu::kPicsCount] = {
    "tray_sinconexion.ico", "tray_sinconexion_b.ico", "tray_limitada.ico",
    "tray_limitada_b.ico",  "tray_enlinea.ico",       "tray_enlinea_b.ico"};
}

// Pics(0) owns the tray icon: the tray's messages reach the menu as mouse
// moves of that picture.
class TrayMenu::PicsOwner final : public TrayOwnerControl
{
public:
    explicit PicsOwner(TrayMenu &menu) : m_menu(menu) {}

    quint32 hwnd() const override
    {
        return static_cast<quint32>(m_menu.Pics(0)->winId() & 0xFFFFFFFFu);
    }

    int twipsPerPixel() const override
    {
        // The callback codes exist for two screen scalings only: normal
        // (96 dpi, 15 twips a pixel) and large fonts (120 dpi, 12).
        const QScreen *screen = QGuiApplication::primaryScreen();
        const qreal dpi = screen ? screen->logicalDotsPerInchX() : 96.0;
        return dpi >= 110.0 ? 12 : 15;
    }

    void MouseMove(int Button, int Shift, float X, float Y) override
    {
        m_menu.Pics_MouseMove(0, Button, Shift, X, Y);
    }

private:
    TrayMenu &m_menu;
};

TrayMenu::TrayMenu(Adds &adds, QWidget &window, Pictures pics,
                   std::function<QStringList()> chatCaptions)
    : m_adds(adds), m_window(window), m_pics(pics), m_chatCaptions(std::move(chatCaptions)),
      m_owner(std::make_unique<PicsOwner>(*this))
{
    buildPopupMenu();
    connect(&m_mnuPopUp, &QMenu::aboutToShow, this, [this] { PopUpBuilder(false); });
    if (platform::TrayBackend *tray = m_adds.trayBackend())
        connect(tray, &platform::TrayBackend::hostAvailabilityChanged, this,
                &TrayMenu::onTrayHostChanged);
}

TrayMenu::~TrayMenu()
{
    removeFromTray();
}

void TrayMenu::buildPopupMenu()
{
    m_mnuPopUp.setTitle(u"Orvex"_s);
    auto add = [this](int index, const QString &caption) {
        QAction *a = m_mnuPopUp.addAction(caption);
        connect(a, &QAction::triggered, this, [this, index] { emit mnuEmergente_Click(index); });
        m_mnuEmergente[size_t(index)] = a;
        return a;
    };
    add(0, u"Sendaro - Orvex"_s)->setEnabled(false);
    m_mnuPopUp.addSeparator();
    add(CheckNow, u"Chequear conexión ahora!"_s);
    add(DelayBoard, u"Modificar Demoras promedio"_s);

    m_mnuConversaciones.setTitle(u"Mostrar conversaciones"_s);
    m_mnuEmergente[3] = m_mnuPopUp.addMenu(&m_mnuConversaciones);
    for (int i = 0; i < kChatMenuSlots; ++i) {
        QAction *a = m_mnuConversaciones.addAction(QString());
        connect(a, &QAction::triggered, this, [this, i] { emit mnuChat_Click(i); });
        a->setVisible(i == 0);
        m_mnuChat[size_t(i)] = a;
    }
    m_mnuConversaciones.addSeparator();
    m_mnuChatNew = m_mnuConversaciones.addAction(u"Iniciar conversación"_s);
    connect(m_mnuChatNew, &QAction::triggered, this, [this] { emit mnuChat_Click(NewChat); });

    m_mnuPopUp.addSeparator();
    add(ShowHide, u"Mostrar Ventana/Ocultar Ventana"_s);
    m_mnuPopUp.addSeparator();
    add(Close, u"Cerrar el programa"_s);
}

void TrayMenu::buildWindowMenu(bool withCredits)
{
    m_windowMenu.clear();
    m_windowMenu.addActions(m_mnuPopUp.actions());
    if (withCredits) {
        m_windowMenu.addSeparator();
        for (const QString &line : AddsSystem::aboutLines())
            m_windowMenu.addAction(line)->setEnabled(false);
    }
}

void TrayMenu::loadPictures(const QString &resourceFolder)
{
    for (int i = 0; i < kPicsCount; ++i) {
        m_picsIcons[size_t(i)] = QIcon(resourceFolder + u'/' + QString::fromLatin1(kPicsFiles[i]));
        m_pics[size_t(i)]->setPixmap(m_picsIcons[size_t(i)].pixmap(16, 16));
    }
}

void TrayMenu::addToTray(const QString &tip)
{
    m_adds.setWin_SysTrayOwnerControl(m_owner.get());
    m_adds.setWin_SysTrayToolTip(tip);
    m_adds.Win_SysTrayAdd();
    m_inTray = true;
    onTrayHostChanged(m_adds.trayBackend() && m_adds.trayBackend()->hostAvailable());
}

void TrayMenu::removeFromTray()
{
    if (!m_inTray)
        return;
    m_inTray = false;
    m_adds.Win_SysTrayRemove();
}

void TrayMenu::showStatus(const ScanStatus &status)
{
    if (status.hasRow())
        m_basePicture = status.basePicture();
    // The tray blinks between the base picture and the one after it.
    QLabel *pics0 = Pics(0);
    const QString tag = pics0->property("Tag").toString() == u"0"_s ? u"1"_s : u"0"_s;
    pics0->setProperty("Tag", tag);
    m_adds.setWin_SysTrayIcon(PicsPicture(m_basePicture + tag.toInt()));
    m_adds.setWin_SysTrayToolTip(status.trayTip());
}

void TrayMenu::Pics_MouseMove(int Index, int Button, int Shift, float X, float Y)
{
    (void)Index;
    (void)Button;
    (void)Shift;
    (void)Y;
    const QString code = QString::number(qRound(X), 16).toUpper();
    if (code == u"1E3C"_s || code == u"1830"_s)
        PopUpBuilder(true);
    else if (code == u"1E0F"_s)
        toggleMainWindow();
    // "1E2D", "1824" and "1E5A" (double clicks) do nothing.
}

void TrayMenu::PopUpBuilder(bool atCursor)
{
    const QStringList captions = m_chatCaptions ? m_chatCaptions() : QStringList();
    for (int i = 0; i < kChatMenuSlots; ++i) {
        QAction *slot = m_mnuChat[size_t(i)];
        if (i < captions.size())
            slot->setText(captions[i]);
        slot->setVisible(i < captions.size());
    }
    if (atCursor)
        m_mnuPopUp.popup(QCursor::pos());
}

void TrayMenu::toggleMainWindow()
{
    const bool trayShown =
        m_adds.Win_SysTrayEnable() && m_adds.trayBackend() && m_adds.trayBackend()->hostAvailable();
    if (m_window.isVisible() && !trayShown) {
        // Without a notification area a hidden window could not be found
        // again: minimise instead.
        m_window.showMinimized();
        return;
    }
    m_window.setVisible(!m_window.isVisible());
    if (m_window.isVisible()) {
        m_window.setWindowState(m_window.windowState() & ~Qt::WindowMinimized);
        m_window.show();
        m_window.raise();
        m_window.activateWindow();
    }
}

void TrayMenu::onTrayHostChanged(bool available)
{
    emit trayHostChanged(available);
    // Once the area goes, a hidden window has no way back: it shows.
    if (!available && m_inTray && !m_window.isVisible())
        m_window.show();
}

QLabel *TrayMenu::Pics(int index) const
{
    return m_pics.at(size_t(index));
}

QIcon TrayMenu::PicsPicture(int index) const
{
    return m_picsIcons.at(size_t(index));
}

QAction *TrayMenu::mnuEmergente(int index) const
{
    return m_mnuEmergente.at(size_t(index));
}

QAction *TrayMenu::mnuChat(int index) const
{
    if (index == NewChat)
        return m_mnuChatNew;
    return m_mnuChat.at(size_t(index));
}

} // namespace orvex
