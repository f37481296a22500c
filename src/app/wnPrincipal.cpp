#include "app/wnPrincipal.h"

#include "actions/Downloads.h"
#include "actions/MaintenanceDispatcher.h"
#include "actions/ShortcutAction.h"
#include "actions/SpecialFolders.h"
#include "app/ChatRouter.h"
#include "app/ProgramEnd.h"
#include "app/ScanCycle.h"
#include "app/ScanStatus.h"
#include "app/TabColumnDelegate.h"
#include "app/TrayMenu.h"
#include "delays/wnDemoras.h"
#include "platform/MessageBoxes.h"
#include "platform/SingleInstance.h"
#include "support/Adds.h"
#include "support/LeadingNumber.h"
#include "support/ProgressCaption.h"
#include "ui_wnPrincipal.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QCursor>
#include <QDir>
#include <QLoggingCategory>

#include <limits>
#include <utility>

Q_DECLARE_LOGGING_CATEGORY(lcStart)

using namespace Qt::Literals::StringLiterals;

namespace orvex {
namespace {

// The leading number of a text as the old runtime's Val() reads it. Digits
// stop being read once one more could overflow 64 bits.
qint64 captionNumber(const QString &text)
{
    constexpr quint64 kLastSafe = (std::numeric_limits<qint64>::max() - 9) / 10 * 10 + 9;
    return leadingNumber(text, kLastSafe, OnOverflow::KeepDigitsRead);
}

} // namespace

// A caption a transfer shows its progress in.
class wnPrincipal::Caption final : public ProgressCaption
{
public:
    explicit Caption(std::function<void(const QString &)> show) : m_show(std::move(show)) {}
    void setCaption(const QString &caption) override { m_show(caption); }

private:
    std::function<void(const QString &)> m_show;
};

wnPrincipal::wnPrincipal(const wnPrincipalContext &context, QWidget *parent)
    : QWidget(parent), m_ctx(context), m_ui(std::make_unique<Ui::wnPrincipal>()),
      m_servers(context.adds, QDir(context.programFolder).filePath(u"Orvex.ini"_s),
                context.makeChatClient),
      // Every caption LabelStatus is given runs its change handler.
      m_labelStatus(std::make_unique<Caption>([this](const QString &caption) {
          m_ui->LabelStatus->setText(caption);
          LabelStatus_Change();
      })),
      // The window's caption; each tick restores it.
      m_windowCaption(std::make_unique<Caption>([this](const QString &caption) {
          if (!caption.isEmpty())
              setWindowTitle(caption);
      }))
{
    m_ui->setupUi(this);
    m_ui->ListaDestinos->setItemDelegate(new TabColumnDelegate(m_ui->ListaDestinos));
    // An action the list does not offer can still be typed.
    m_ui->Accion_Combo->setEditable(true);
    m_ui->Accion_Combo->setInsertPolicy(QComboBox::NoInsert);
    connect(m_ui->cmdAccion, &QPushButton::clicked, this, &wnPrincipal::cmdAccion_Click);

    m_chats = std::make_unique<ChatRouter>(m_ctx.adds, m_servers, m_ctx.programFolder, this);
    m_tray =
        std::make_unique<TrayMenu>(m_ctx.adds, *this,
                                   TrayMenu::Pictures{m_ui->Pics_0, m_ui->Pics_1, m_ui->Pics_2,
                                                      m_ui->Pics_3, m_ui->Pics_4, m_ui->Pics_5},
                                   [this] { return m_chats->captions(); });
    connect(m_tray.get(), &TrayMenu::mnuEmergente_Click, this, &wnPrincipal::mnuEmergente_Click);
    connect(m_tray.get(), &TrayMenu::mnuChat_Click, this, &wnPrincipal::mnuChat_Click);
    // The menu button stands in for the tray icon's menu when the desktop
    // has no notification area.
    connect(m_tray.get(), &TrayMenu::trayHostChanged, this,
            [this](bool available) { m_ui->cmdMenu->setVisible(!available); });
    m_ui->cmdMenu->setMenu(m_tray->mnuPopUp());
    connect(this, &QWidget::customContextMenuRequested, this, [this] {
        m_tray->PopUpBuilder(false);
        m_tray->windowMenu()->popup(QCursor::pos());
    });

    m_scan = std::make_unique<ScanCycle>(ScanCycle::Parts{
        .adds = m_ctx.adds,
        .socket = m_ctx.socket,
        .net = m_ctx.net,
        .servers = m_servers,
        .chats = *m_chats,
        .programFolder = m_ctx.programFolder,
        .iniPath = QDir(m_ctx.programFolder).filePath(u"Orvex.ini"_s),
        .uploadProgress = m_windowCaption.get(),
    });
    connect(m_scan.get(), &ScanCycle::serverJudged, this, &wnPrincipal::showServerLine);
    connect(m_scan.get(), &ScanCycle::statusJudged, this, &wnPrincipal::showStatus);
    // Whatever progress the upload showed in the caption goes.
    connect(m_scan.get(), &ScanCycle::uploadsDone, this, [this] { setWindowTitle(m_tag); });
}

wnPrincipal::~wnPrincipal() = default;

bool wnPrincipal::Form_Load()
{
    if (!settleSecondCopy())
        return false;
    if (const int stale = removeTemporaryFiles(m_ctx.programFolder))
        qCInfo(lcStart) << "removed" << stale << "temporary files an earlier run left";
    fillAccionCombo();
    m_servers.chooseHomeServer(m_ctx.commandLine);
    decorateWindow();
    // The caption every tick comes back to, after a progress caption.
    m_tag = windowTitle();

    // Pics(0) owns the tray icon, so the tray's clicks reach the menu.
    m_tray->loadPictures(QDir(m_ctx.programFolder).filePath(u"resources"_s));
    const QIcon appIcon(QDir(m_ctx.programFolder).filePath(u"resources/orvex.ico"_s));
    if (!appIcon.isNull()) {
        setWindowIcon(appIcon);
        // Until the first keep-alives have been judged the window shows the
        // agent itself, not a state.
        m_ui->imgEstado->setPixmap(appIcon.pixmap(48, 48));
    }
    m_tray->addToTray(windowTitle());

    // The INI entries take indexes 1 and up; element 0, the support server,
    // is filled last because it takes the domain of the last entry.
    m_servers.read();
    m_chats->listDestinations();
    for (size_t i = 1; i < m_servers.size(); ++i)
        m_ui->ListaDestinos->addItem(m_servers.servers()[i].Name + u"\t..."_s);
    m_chats->openFirstChatWindow();
    m_tray->mnuChat(0)->setText(u"Lumaris - Soporte técnico"_s);

    m_downloads = std::make_unique<Downloads>(actionContext());
    m_dispatcher = std::make_unique<MaintenanceDispatcher>(actionContext(), *m_downloads);
    m_ctx.adds.setWin_SysTrayIcon(m_tray->PicsPicture(0));

    // The window is up before the first scan's network waits begin.
    show();
    // A first scan runs now rather than a second from now.
    if (!Adds::Win_InDevelopment)
        m_scan->TimerScan().start();
    m_scan->TimerScan_Timer();

    // The delay board is loaded hidden; its reminders run from now on.
    m_demoras = std::make_unique<wnDemoras>(wnDemorasContext{.adds = &m_ctx.adds,
                                                             .boxes = &m_ctx.messageBoxes,
                                                             .programFolder = m_ctx.programFolder,
                                                             .pin = &m_ctx.windowPin,
                                                             .savedDelay = {}});
    if (Adds::Win_InDevelopment)
        m_demoras->TimerScan().stop();

    QCoreApplication::processEvents();
    // The first tick lets events run while it waits: a newer copy may have
    // asked this one to close meanwhile, before the program's event loop runs.
    return !m_unloading;
}

bool wnPrincipal::settleSecondCopy()
{
    if (!m_ctx.instance)
        return true;
    if (m_ctx.instance->anotherIsRunning()) {
        const QString text = u"Ya hay una copia de Orvex ejecutándose en este equipo."_s +
                             u"\r\n"_s +
                             u"Desea cerrarla? (si pulsa negativamente, solo esta copia se "
                             u"cerrará)"_s;
        if (m_ctx.messageBoxes.question(QCoreApplication::applicationName(), text) !=
            platform::Answer::Yes) {
            qCInfo(lcStart) << "another copy is running; this one ends";
            return false;
        }
        // The older copy is asked to go and is not waited for.
        m_ctx.adds.App_Close(u"Orvex"_s);
        m_ctx.instance->askOtherToClose();
    }
    m_ctx.instance->claim();
    connect(m_ctx.instance, &platform::SingleInstance::closeRequested, this,
            &wnPrincipal::Form_Unload, Qt::UniqueConnection);
    return true;
}

void wnPrincipal::Form_Unload()
{
    if (m_unloading)
        return;
    m_unloading = true;
    qCInfo(lcStart) << "unloading: the program ends";
    m_scan->TimerScan().stop();
    m_tray->removeFromTray();
    m_chats->hideAll();
    if (m_demoras)
        m_demoras->hide();
    hide();
    m_ctx.endProgram();
}

void wnPrincipal::closeEvent(QCloseEvent *)
{
    // A close request (the older copy being replaced, the window manager)
    // ends the agent, as the unload handler does; the event comes accepted.
    Form_Unload();
}

void wnPrincipal::fillAccionCombo()
{
    const QString separator(43, u'-');
    m_ui->Accion_Combo->clear();
    m_ui->Accion_Combo->addItems({u"Actualizar sistema por Internet"_s, separator,
                                  u"Guardar configuración por Internet"_s,
                                  u"Guardar histórico de casos por Internet"_s, separator,
                                  u"Recuperar configuración por Internet"_s,
                                  u"Recuperar histórico de casos por Internet"_s, separator});
}

void wnPrincipal::decorateWindow()
{
    const quint64 handle = static_cast<quint64>(winId());
    // Where the system has a window menu, its close item (position 6) goes;
    // everywhere the window is built without a close button.
    m_ctx.adds.Win_DeleteSystemMenuItem(handle, 6);
    setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                   Qt::WindowMinimizeButtonHint);
    m_tray->buildWindowMenu(!m_ctx.adds.Lumaris_AgregarAboutEnMenu(handle));
}

void wnPrincipal::showServerLine(int index)
{
    // Element 0, the support server, has no line.
    QListWidgetItem *item = index > 0 ? m_ui->ListaDestinos->item(index - 1) : nullptr;
    if (!item)
        return;
    const DynIpServer &s = m_servers.servers()[size_t(index)];
    // Unchanged lines are not set again: a list item repaints on every set.
    const QString line = serverLine(s.Name, s.State), tip = serverTip(s);
    if (item->text() != line)
        item->setText(line);
    if (item->toolTip() != tip)
        item->setToolTip(tip);
}

void wnPrincipal::showStatus(const ScanStatus &status)
{
    if (status.hasRow()) {
        m_ui->LabelTitulo->setText(status.statusText());
        if (std::exchange(m_shownPicture, status.basePicture()) != status.basePicture())
            m_ui->imgEstado->setPixmap(m_tray->PicsPicture(status.basePicture()).pixmap(48, 48));
    }
    m_tray->showStatus(status);
    if (status.hasRow() && m_ui->Recomendacion->text() != status.recommendation())
        m_ui->Recomendacion->setText(status.recommendation());
}

ActionContext wnPrincipal::actionContext()
{
    ActionContext c;
    c.adds = &m_ctx.adds;
    c.boxes = &m_ctx.messageBoxes;
    c.socket = &m_ctx.socket;
    c.transfer = &m_ctx.transfer;
    c.labelStatus = m_labelStatus.get();
    c.programFolder = m_ctx.programFolder;
    c.homeHost = m_servers.homeServerHost();
    // What the label shows is also logged, for unattended runs and support.
    c.setLabelAvance = [this](const QString &t) {
        qCInfo(lcStart).noquote() << "LabelAvance:" << t;
        m_ui->LabelAvance->setText(t);
    };
    c.enableCmdAccion = [this](bool on) { m_ui->cmdAccion->setEnabled(on); };
    c.timerScanEnabled = [this] { return m_scan->TimerScan().isActive(); };
    c.setTimerScanEnabled = [this](bool on) {
        if (on)
            m_scan->TimerScan().start();
        else
            m_scan->TimerScan().stop();
    };
    c.createShortcuts = [this] { createShortcuts(); };
    return c;
}

void wnPrincipal::createShortcuts()
{
    SpecialFolders folders(m_ctx.shellFolders);
    ShortcutAction(actionContext(), folders, m_ctx.agentProgram).run();
}

void wnPrincipal::MostrarDemoras(const QDateTime &lastSaved)
{
    if (!m_demoras)
        return;
    m_demoras->LastSaved = lastSaved;
    m_demoras->show();
    m_demoras->raise();
    m_demoras->activateWindow();
    m_demoras->Lista()->setFocus();
}

void wnPrincipal::cmdAccion_Click()
{
    if (m_dispatcher)
        m_dispatcher->dispatch(m_ui->Accion_Combo->currentText());
}

ProgressCaption &wnPrincipal::LabelStatus() const
{
    return *m_labelStatus;
}

void wnPrincipal::LabelStatus_Change()
{
    const QString caption = m_ui->LabelStatus->text();
    if (caption.isEmpty()) {
        m_ui->LabelAvance->clear();
        return;
    }
    // Without a "/" the whole caption is the total and nothing is done yet.
    QString rest = caption;
    const QString done = AddsUtilities::Var_GetPart(rest, u"/"_s, true);
    const qint64 total = captionNumber(rest);
    if (total <= 0)
        return;
    // Whole hundredths, rounded down.
    m_ui->LabelAvance->setText(QString::number(captionNumber(done) * 100 / total) + u'%');
}

void wnPrincipal::mnuEmergente_Click(int Index)
{
    switch (Index) {
    case TrayMenu::CheckNow:
        m_scan->checkNow();
        break;
    case TrayMenu::DelayBoard:
        MostrarDemoras(QDateTime());
        break;
    case TrayMenu::ShowHide:
        m_tray->toggleMainWindow();
        break;
    case TrayMenu::Close:
        Form_Unload();
        break;
    default:
        break;
    }
}

void wnPrincipal::mnuChat_Click(int Index)
{
    if (Index == TrayMenu::NewChat)
        m_chats->showDestinationDialog();
    else
        m_chats->showWindow(Index);
}

} // namespace orvex
