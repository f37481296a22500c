#include "app/wnPrincipal.h"

#include "actions/Downloads.h"
#include "actions/MaintenanceDispatcher.h"
#include "actions/OnlineUpdate.h"
#include "actions/ShortcutAction.h"
#include "actions/SpecialFolders.h"
#include "app/DelayUpload.h"
#include "app/ExchangeHelper.h"
#include "app/KeepAlive.h"
#include "app/ScanLog.h"
#include "app/ScanStatus.h"
#include "app/SiblingFolders.h"
#include "app/TabColumnDelegate.h"
#include "chat/wnChat.h"
#include "chat/wnChatTo.h"
#include "delays/wnDemoras.h"
#include "platform/FileTransfer.h"
#include "platform/MessageBoxes.h"
#include "platform/ShellFolders.h"
#include "platform/SingleInstance.h"
#include "platform/SocketX.h"
#include "platform/TrayBackend.h"
#include "support/Adds.h"
#include "support/LeadingNumber.h"
#include "support/Net.h"
#include "ui_wnPrincipal.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QCursor>
#include <QDir>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QScopeGuard>
#include <QScreen>

#include <limits>

Q_LOGGING_CATEGORY(lcStart, "orvex.start")
Q_LOGGING_CATEGORY(lcChatPump, "orvex.chat.server")

namespace orvex {
namespace {

// The centre's own home server, used when neither the command line nor
// "Orvex.ini" names another.
const QString kCentreDefaultHost = QStringLiteral("centro.sendaro.net");
const QString kNoValue = QStringLiteral("\u00B7");
constexpr quint16 kChatPort = 9744;

const char *const kPicsFiles[wnPrincipal::kPicsCount] = {
    "tray_sinconexion.ico", "tray_sinconexion_b.ico", "tray_limitada.ico",
    "tray_limitada_b.ico",  "tray_enlinea.ico",       "tray_enlinea_b.ico"};

// The leading number of a text as the old runtime's Val() reads it. Digits
// stop being read once one more could overflow 64 bits.
qint64 captionNumber(const QString &text)
{
    constexpr quint64 kLastSafe = (std::numeric_limits<qint64>::max() - 9) / 10 * 10 + 9;
    return leadingNumber(text, kLastSafe, OnOverflow::KeepDigitsRead);
}

QString separatorLine()
{
    return QString(43, u'-');
}

} // namespace

// Pics(0) owns the tray icon: the tray's messages reach the form as mouse
// moves of that picture.
class wnPrincipal::PicsOwner final : public TrayOwnerControl
{
public:
    explicit PicsOwner(wnPrincipal &form) : m_form(form) {}

    quint32 hwnd() const override
    {
        return static_cast<quint32>(m_form.Pics(0)->winId() & 0xFFFFFFFFu);
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
        m_form.Pics_MouseMove(0, Button, Shift, X, Y);
    }

private:
    wnPrincipal &m_form;
};

// LabelStatus as the HTTP client's progress control: every caption it is
// given runs the label's change handler, as a caption change does.
class wnPrincipal::LabelCaption final : public ProgressCaption
{
public:
    explicit LabelCaption(wnPrincipal &form) : m_form(form) {}
    void setCaption(const QString &caption) override
    {
        m_form.ui().LabelStatus->setText(caption);
        m_form.LabelStatus_Change();
    }

private:
    wnPrincipal &m_form;
};

// The window's caption as a progress control; each tick restores it.
class wnPrincipal::WindowCaption final : public ProgressCaption
{
public:
    explicit WindowCaption(QWidget &window) : m_window(window) {}
    void setCaption(const QString &caption) override
    {
        m_window.setWindowTitle(caption.isEmpty() ? m_window.windowTitle() : caption);
    }

private:
    QWidget &m_window;
};

wnPrincipal::wnPrincipal(const wnPrincipalContext &context, QWidget *parent)
    : QWidget(parent), m_ctx(context), m_ui(std::make_unique<Ui::wnPrincipal>()),
      m_picsOwner(std::make_unique<PicsOwner>(*this)),
      m_labelStatus(std::make_unique<LabelCaption>(*this)),
      m_windowCaption(std::make_unique<WindowCaption>(*this))
{
    m_ui->setupUi(this);
    if (!m_ctx.endProgram)
        m_ctx.endProgram = [] { QCoreApplication::exit(0); };
    if (!m_ctx.socket) {
        m_socketXCli = std::make_unique<platform::SocketX>();
        m_ctx.socket = m_socketXCli.get();
    }
    m_pics = {m_ui->Pics_0, m_ui->Pics_1, m_ui->Pics_2, m_ui->Pics_3, m_ui->Pics_4, m_ui->Pics_5};
    m_ui->ListaDestinos->setItemDelegate(new TabColumnDelegate(m_ui->ListaDestinos));

    m_timerScan.setInterval(1000);
    connect(&m_timerScan, &QTimer::timeout, this, &wnPrincipal::TimerScan_Timer);
    connect(m_ui->cmdAccion, &QPushButton::clicked, this, &wnPrincipal::cmdAccion_Click);
    // An action the list does not offer can still be typed.
    m_ui->Accion_Combo->setEditable(true);
    m_ui->Accion_Combo->setInsertPolicy(QComboBox::NoInsert);

    buildPopupMenu();
    m_ui->cmdMenu->setMenu(&m_mnuPopUp);
    connect(&m_mnuPopUp, &QMenu::aboutToShow, this, [this] { PopUpBuilder(false); });
    connect(this, &QWidget::customContextMenuRequested, this, [this] {
        PopUpBuilder(false);
        m_windowMenu.popup(QCursor::pos());
    });

    if (m_ctx.adds && m_ctx.adds->trayBackend()) {
        connect(m_ctx.adds->trayBackend(), &platform::TrayBackend::hostAvailabilityChanged, this,
                &wnPrincipal::updateTrayHostState);
    }
}

wnPrincipal::~wnPrincipal()
{
    if (m_ctx.adds)
        m_ctx.adds->Win_SysTrayRemove();
}

QString wnPrincipal::iniPath() const
{
    return QDir(m_ctx.programFolder).filePath(QStringLiteral("Orvex.ini"));
}

QString wnPrincipal::resourcePath(const QString &name) const
{
    return QDir(m_ctx.programFolder).filePath(QStringLiteral("resources/") + name);
}

QString wnPrincipal::centreFixedHost()
{
    // Installations (and the tests) may point the agent at another centre.
    Adds &adds = *m_ctx.adds;
    adds.INI_SetFileName(iniPath());
    const QString host =
        adds.INI_GetString(QStringLiteral("Centro"), QStringLiteral("Host"), kNoValue).trimmed();
    if (host.isEmpty() || host == kNoValue)
        return kCentreDefaultHost;
    return host;
}

bool wnPrincipal::Form_Load()
{
    Adds &adds = *m_ctx.adds;

    if (!settleSecondCopy())
        return false;

    fillAccionCombo();

    // The home server: the whole command line, else the centre's host.
    const QString commandLine = m_ctx.commandLine.trimmed();
    m_centreHost = centreFixedHost();
    m_homeServerHost = commandLine.isEmpty() ? QVariant(m_centreHost) : QVariant(commandLine);

    decorateWindow();

    // The caption every tick comes back to, after a progress caption.
    m_tag = windowTitle();

    // Pics(0) owns the tray icon, so the tray's clicks reach Pics_MouseMove.
    loadPictures();
    adds.setWin_SysTrayOwnerControl(m_picsOwner.get());
    adds.setWin_SysTrayToolTip(windowTitle());
    adds.Win_SysTrayAdd();
    updateTrayHostState(adds.trayBackend() && adds.trayBackend()->hostAvailable());

    adds.INI_SetFileName(iniPath());

    // The INI entries take indexes 1 and up; element 0, the support server,
    // is filled last because it takes the domain of the last entry.
    DynIpServers.clear();
    DynIpServers.emplace_back();
    ChatWindows.clear();
    m_chatTo = std::make_unique<wnChatTo>(this);
    readServerList();
    addSupportServer();

    openFirstChatWindow();
    mnuChat(0)->setText(QStringLiteral("Lumaris - Soporte técnico"));

    // What the tick works with.
    if (!m_ctx.net) {
        m_ownNet = createSystemNet();
        m_ctx.net = m_ownNet.get();
    }
    m_keepAlive = std::make_unique<KeepAliveSender>(adds, SocketXCli(), *m_ctx.net);
    m_siblingFolders =
        std::make_unique<SiblingFolders>(adds, clock(), m_ctx.programFolder, iniPath());
    m_delayUpload = std::make_unique<DelayUpload>(
        adds, SocketXCli(), QDir(m_ctx.programFolder).filePath(QStringLiteral("OxDemoras.txt")));
    m_exchangeHelper = std::make_unique<ExchangeHelper>(adds, m_ctx.programFolder);
    if (!m_ctx.transfer) {
        m_ownTransfer = platform::createFileTransfer();
        m_ctx.transfer = m_ownTransfer.get();
    }
    m_downloads = std::make_unique<Downloads>(actionContext());
    m_dispatcher = std::make_unique<MaintenanceDispatcher>(actionContext(), *m_downloads);

    adds.setWin_SysTrayIcon(PicsPicture(0));

    // A first scan runs now rather than a second from now.
    if (!Adds::Win_InDevelopment)
        m_timerScan.start();
    TimerScan_Timer();

    // The delay board is loaded hidden; its reminders run from now on.
    wnDemorasContext board;
    board.adds = m_ctx.adds;
    board.boxes = m_ctx.messageBoxes;
    board.programFolder = m_ctx.programFolder;
    board.pin = m_ctx.windowPin;
    m_demoras = std::make_unique<wnDemoras>(board);
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
        const QString text =
            QStringLiteral("Ya hay una copia de Orvex ejecutándose en este equipo.") +
            QStringLiteral("\r\n") +
            QStringLiteral("Desea cerrarla? (si pulsa negativamente, solo esta copia se "
                           "cerrará)");
        const auto answer =
            m_ctx.messageBoxes
                ? m_ctx.messageBoxes->question(QCoreApplication::applicationName(), text)
                : platform::Answer::No;
        if (answer != platform::Answer::Yes) {
            qCInfo(lcStart) << "another copy is running; this one ends";
            return false;
        }
        // The older copy is asked to go and is not waited for.
        m_ctx.adds->App_Close(QStringLiteral("Orvex"));
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
    m_timerScan.stop();
    if (m_ctx.adds)
        m_ctx.adds->Win_SysTrayRemove();
    for (auto &chat : ChatWindows)
        chat->hide();
    if (m_demoras)
        m_demoras->hide();
    hide();
    m_ctx.endProgram();
}

void wnPrincipal::closeEvent(QCloseEvent *event)
{
    // A close request (the older copy being replaced, the window manager)
    // ends the agent, as the unload handler does.
    event->accept();
    Form_Unload();
}

void wnPrincipal::fillAccionCombo()
{
    QComboBox *combo = m_ui->Accion_Combo;
    combo->clear();
    combo->addItem(QStringLiteral("Actualizar sistema por Internet"));
    combo->addItem(separatorLine());
    combo->addItem(QStringLiteral("Guardar configuración por Internet"));
    combo->addItem(QStringLiteral("Guardar histórico de casos por Internet"));
    combo->addItem(separatorLine());
    combo->addItem(QStringLiteral("Recuperar configuración por Internet"));
    combo->addItem(QStringLiteral("Recuperar histórico de casos por Internet"));
    combo->addItem(separatorLine());
}

void wnPrincipal::decorateWindow()
{
    Adds &adds = *m_ctx.adds;
    const quint64 handle = static_cast<quint64>(winId());
    // Where the system has a window menu, its close item (position 6) goes;
    // everywhere the window is built without a close button.
    adds.Win_DeleteSystemMenuItem(handle, 6);
    setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                   Qt::WindowMinimizeButtonHint);
    m_windowMenu.clear();
    m_windowMenu.addActions(m_mnuPopUp.actions());
    if (!adds.Lumaris_AgregarAboutEnMenu(handle)) {
        m_windowMenu.addSeparator();
        for (const QString &line : AddsSystem::aboutLines())
            m_windowMenu.addAction(line)->setEnabled(false);
    }
}

void wnPrincipal::loadPictures()
{
    for (int i = 0; i < kPicsCount; ++i) {
        m_picsIcons[i] = QIcon(resourcePath(QString::fromLatin1(kPicsFiles[i])));
        m_pics[i]->setPixmap(m_picsIcons[i].pixmap(16, 16));
    }
    const QIcon appIcon(resourcePath(QStringLiteral("orvex.ico")));
    if (!appIcon.isNull()) {
        setWindowIcon(appIcon);
        // Until the first keep-alives have been judged the window shows the
        // agent itself, not a state.
        m_ui->imgEstado->setPixmap(appIcon.pixmap(48, 48));
    }
}

void wnPrincipal::buildPopupMenu()
{
    m_mnuPopUp.setTitle(QStringLiteral("Orvex"));
    auto add = [this](int index, const QString &caption) {
        QAction *a = m_mnuPopUp.addAction(caption);
        connect(a, &QAction::triggered, this, [this, index] { mnuEmergente_Click(index); });
        m_mnuEmergente[static_cast<size_t>(index)] = a;
        return a;
    };
    add(0, QStringLiteral("Sendaro - Orvex"))->setEnabled(false);
    m_mnuPopUp.addSeparator();
    add(1, QStringLiteral("Chequear conexión ahora!"));
    add(2, QStringLiteral("Modificar Demoras promedio"));

    m_mnuConversaciones.setTitle(QStringLiteral("Mostrar conversaciones"));
    m_mnuEmergente[3] = m_mnuPopUp.addMenu(&m_mnuConversaciones);
    for (int i = 0; i < kChatMenuSlots; ++i) {
        QAction *a = m_mnuConversaciones.addAction(QString());
        connect(a, &QAction::triggered, this, [this, i] { mnuChat_Click(i); });
        a->setVisible(i == 0);
        m_mnuChat[static_cast<size_t>(i)] = a;
    }
    m_mnuConversaciones.addSeparator();
    m_mnuChatNew = m_mnuConversaciones.addAction(QStringLiteral("Iniciar conversación"));
    connect(m_mnuChatNew, &QAction::triggered, this, [this] { mnuChat_Click(kChatMenuNew); });

    m_mnuPopUp.addSeparator();
    add(9, QStringLiteral("Mostrar Ventana/Ocultar Ventana"));
    m_mnuPopUp.addSeparator();
    add(10, QStringLiteral("Cerrar el programa"));
}

void wnPrincipal::readServerList()
{
    Adds &adds = *m_ctx.adds;
    m_lastDomain.clear();
    for (int n = 1; n <= 10; ++n) {
        const QString value =
            adds.INI_GetString(QStringLiteral("DynIP"),
                               QStringLiteral("DynIP Server ") + QString::number(n), kNoValue);
        const DynIpServerValue parsed = parseDynIpServerValue(value);
        if (!parsed.hasSeparator)
            continue;
        m_lastDomain = parsed.domainField;
        if (!parsed.valid) {
            qCInfo(lcStart) << "DynIP Server" << n << "skipped: no host or domain";
            continue;
        }

        DynIpServer server;
        server.Name = parsed.Name;
        server.Domain = parsed.Domain;
        server.Host = parsed.Host;
        server.Port = parsed.Port;
        server.Version = parsed.Version;
        server.KeepAliveSeconds = parsed.KeepAliveSeconds;
        const int index = static_cast<int>(DynIpServers.size());
        if (server.Version == QStringLiteral("V2")) {
            m_chatTo->addServer(server.Name, index);
            server.ChatClient = newChatClient();
            server.ChatClient->setServerHost(server.Host);
            server.ChatClient->setPort(kChatPort);
            server.ChatClient->setChannel(QStringLiteral("#") + server.Name);
            server.ChatClient->setNickName(server.Domain);
            server.ChatClient->setUserName(server.Domain);
        }
        m_ui->ListaDestinos->addItem(server.Name + QStringLiteral("\t..."));
        DynIpServers.push_back(std::move(server));
    }
}

void wnPrincipal::addSupportServer()
{
    m_chatTo->addServer(QStringLiteral("Sendaro"), 0);
    DynIpServer &support = DynIpServers[0];
    support.Name = QStringLiteral("Sendaro");
    support.Domain = m_lastDomain;
    support.Host = Adds::Win_InDevelopment ? QStringLiteral("localhost") : m_centreHost;
    support.Port = QStringLiteral("9751");
    support.Version = QStringLiteral("V2");
    support.KeepAliveSeconds = 900;
    support.ChatClient = newChatClient();
    support.ChatClient->setServerHost(Adds::Win_InDevelopment ? QStringLiteral("localhost")
                                                              : m_homeServerHost.toString());
    support.ChatClient->setPort(kChatPort);
    support.ChatClient->setChannel(QStringLiteral("#ox2k4"));
    support.ChatClient->setNickName(support.Domain);
    support.ChatClient->setUserName(support.Domain);
}

std::unique_ptr<platform::IrcClient> wnPrincipal::newChatClient()
{
    return m_ctx.makeChatClient ? m_ctx.makeChatClient() : std::make_unique<platform::IrcClient>();
}

void wnPrincipal::openFirstChatWindow()
{
    ChatWindows.clear();
    auto chat = std::make_unique<wnChat>(wnChatContext{m_ctx.adds, this, m_ctx.programFolder});
    chat->setTag(QStringLiteral("0\\Soporte"));
    chat->setWindowTitle(QStringLiteral("Soporte(Lumaris)"));
    ChatWindows.push_back(std::move(chat));
}

QString wnPrincipal::serverName(int index) const
{
    if (index < 0 || size_t(index) >= DynIpServers.size())
        return {};
    return DynIpServers[size_t(index)].Name;
}

platform::IrcClient *wnPrincipal::chatClient(int index) const
{
    if (index < 0 || size_t(index) >= DynIpServers.size())
        return nullptr;
    return DynIpServers[size_t(index)].ChatClient.get();
}

wnChat &wnPrincipal::chatWindow(const QString &key, const QString &caption)
{
    // The last window with this tag; windows are only ever added.
    for (auto it = ChatWindows.rbegin(); it != ChatWindows.rend(); ++it) {
        if ((*it)->Tag() == key)
            return **it;
    }
    auto chat = std::make_unique<wnChat>(wnChatContext{m_ctx.adds, this, m_ctx.programFolder});
    chat->setTag(key);
    chat->setWindowTitle(caption);
    ChatWindows.push_back(std::move(chat));
    return *ChatWindows.back();
}

void wnPrincipal::ChatPump()
{
    for (size_t i = 0; i < DynIpServers.size(); ++i) {
        platform::IrcClient *client = DynIpServers[i].ChatClient.get();
        if (!client || client->ServerHost().isEmpty())
            continue;
        const QString name = DynIpServers[i].Name;
        for (const QString &item : client->takeReceived()) {
            const QStringList f = QString(item + QStringLiteral("\t\t\t\t")).split(u'\t');
            if (f[0] == QStringLiteral("DATA")) {
                // The chat server's message of the day, kept for support.
                if (f[2] == QStringLiteral("372") && f[3].startsWith(QStringLiteral("- ")))
                    qCInfo(lcChatPump).noquote() << name << f[3].mid(2);
            } else if (f[0] == QStringLiteral("PRIVMSG")) {
                qCInfo(lcChatPump).noquote() << "message from" << f[1] << "on" << name;
                wnChat &chat =
                    chatWindow(QString::number(i) + u'\\' + f[1], f[1] + u'(' + name + u')');
                chat.Chat_Msg(f[1], name, f[2], f[3], f[4]);
            }
        }
    }
}

QLabel *wnPrincipal::Pics(int index) const
{
    return m_pics.at(static_cast<size_t>(index));
}

QIcon wnPrincipal::PicsPicture(int index) const
{
    return m_picsIcons.at(static_cast<size_t>(index));
}

QAction *wnPrincipal::mnuEmergente(int index) const
{
    return m_mnuEmergente.at(static_cast<size_t>(index));
}

QAction *wnPrincipal::mnuChat(int index) const
{
    if (index == kChatMenuNew)
        return m_mnuChatNew;
    return m_mnuChat.at(static_cast<size_t>(index));
}

ProgressCaption *wnPrincipal::LabelStatus() const
{
    return m_labelStatus.get();
}

const Clock &wnPrincipal::clock() const
{
    return m_ctx.clock ? *m_ctx.clock : m_ctx.adds->clock();
}

void wnPrincipal::TimerScan_Timer()
{
    // A tick that arrives while the previous one still waits on the network
    // returns at once.
    if (m_scanBusy || !m_ctx.adds || !m_keepAlive)
        return;
    m_scanBusy = true;
    const auto done = qScopeGuard([this] { m_scanBusy = false; });

    ChatPump();
    sendKeepAlives();
    showStatus();
    m_siblingFolders->tick();
    m_delayUpload->tick(DynIpServers, m_windowCaption.get());
    // Whatever progress the upload showed in the caption goes.
    setWindowTitle(m_tag);
    m_exchangeHelper->tick();
}

void wnPrincipal::sendKeepAlives()
{
    for (size_t i = 0; i < DynIpServers.size(); ++i) {
        DynIpServer &server = DynIpServers[i];
        const QDateTime now = clock().now();
        if (server.NextKeepAlive.isNull() || now >= server.NextKeepAlive) {
            const KeepAliveOutcome outcome = m_keepAlive->send(server);
            if (outcome.state != server.State || outcome.failure != server.LastFailure)
                qCInfo(lcScan).noquote() << server.Name << serverStateText(server.State) << "->"
                                         << serverStateText(outcome.state) << outcome.failure;
            server.State = outcome.state;
            const QDateTime after = clock().now();
            if (outcome.state == server_state::Online)
                server.LastSuccess = after;
            else
                server.LastFailure = outcome.failure;
            server.LastAttempt = after;
            server.NextKeepAlive = after.addSecs(server.KeepAliveSeconds);
            showServerLine(i);
        }
        reconnectChat(server);
    }
}

void wnPrincipal::reconnectChat(DynIpServer &server)
{
    platform::IrcClient *chat = server.ChatClient.get();
    if (server.State != server_state::Online || !chat || chat->ServerHost().isEmpty() ||
        chat->isConnected())
        return;
    // The settings are written again before connecting, as they were at
    // start-up.
    chat->setServerHost(chat->ServerHost());
    chat->setNickName(chat->NickName());
    chat->setUserName(chat->UserName());
    chat->setPort(kChatPort);
    chat->setChannel(chat->Channel());
    qCInfo(lcScan).noquote() << "chat with" << server.Name << "connecting to" << chat->ServerHost();
    chat->Connect();
}

void wnPrincipal::showServerLine(size_t index)
{
    // Element 0, the support server, has no line.
    if (index == 0)
        return;
    QListWidgetItem *item = m_ui->ListaDestinos->item(static_cast<int>(index) - 1);
    if (!item)
        return;
    const DynIpServer &s = DynIpServers[index];
    item->setText(serverLine(s.Name, s.State));
    const auto when = [](const QDateTime &t) {
        return t.isNull() ? QStringLiteral("nunca") : t.toString(QStringLiteral("dd/MM HH:mm:ss"));
    };
    QString tip = s.Host + u':' + s.Port + u" (" + s.Version + u")\n" +
                  QStringLiteral("Último intento: ") + when(s.LastAttempt) + u'\n' +
                  QStringLiteral("Última respuesta: ") + when(s.LastSuccess);
    if (s.State != server_state::Online && !s.LastFailure.isEmpty())
        tip += QStringLiteral("\nFalla: ") + s.LastFailure;
    item->setToolTip(tip);
}

void wnPrincipal::showStatus()
{
    const ScanStatus status = judgeServers(DynIpServers);
    if (status.hasRow()) {
        m_basePicture = status.basePicture();
        m_ui->LabelTitulo->setText(status.statusText());
        m_ui->imgEstado->setPixmap(PicsPicture(m_basePicture).pixmap(48, 48));
        if (status.overall != m_shownOverall)
            qCInfo(lcScan).noquote() << status.statusText() << status.problems;
        m_shownOverall = status.overall;
    }

    // The tray blinks between the base picture and the one after it.
    QLabel *pics0 = Pics(0);
    const QString tag = pics0->property("Tag").toString() == QStringLiteral("0")
                            ? QStringLiteral("1")
                            : QStringLiteral("0");
    pics0->setProperty("Tag", tag);
    m_ctx.adds->setWin_SysTrayIcon(PicsPicture(m_basePicture + tag.toInt()));

    if (status.hasRow() && m_ui->Recomendacion->text() != status.recommendation())
        m_ui->Recomendacion->setText(status.recommendation());
    m_ctx.adds->setWin_SysTrayToolTip(status.trayTip());

    if (status.changed) {
        qCInfo(lcScan) << "warning sound: a server's state changed";
        m_ctx.adds->Sonido_PlayWav(
            m_ctx.programFolder + QStringLiteral("/resources/orvex_problemared.wav"), 1, true);
        for (DynIpServer &s : DynIpServers)
            s.PrevState = s.State;
    }
}

ActionContext wnPrincipal::actionContext()
{
    ActionContext c;
    c.adds = m_ctx.adds;
    c.boxes = m_ctx.messageBoxes;
    c.socket = m_ctx.socket;
    c.transfer = m_ctx.transfer;
    c.labelStatus = m_labelStatus.get();
    c.programFolder = m_ctx.programFolder;
    c.homeHost = m_homeServerHost.toString();
    c.setLabelAvance = [this](const QString &t) { m_ui->LabelAvance->setText(t); };
    c.enableCmdAccion = [this](bool on) { m_ui->cmdAccion->setEnabled(on); };
    c.timerScanEnabled = [this] { return m_timerScan.isActive(); };
    c.setTimerScanEnabled = [this](bool on) {
        if (on)
            m_timerScan.start();
        else
            m_timerScan.stop();
    };
    c.createShortcuts = [this] { createShortcuts(); };
    return c;
}

void wnPrincipal::createShortcuts()
{
    std::unique_ptr<platform::ShellFolders> own;
    platform::ShellFolders *shell = m_ctx.shellFolders;
    if (!shell) {
        own = platform::createShellFolders();
        shell = own.get();
    }
    SpecialFolders folders(*shell);
    const QString agent =
        m_ctx.agentProgram.isEmpty() ? QCoreApplication::applicationFilePath() : m_ctx.agentProgram;
    ShortcutAction(actionContext(), folders, agent).run();
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

bool wnPrincipal::DownloadAndRun(const QString &FileName, const QString &Parameters,
                                 const QString &ServerPath, bool Overwrite, bool CheckExisting,
                                 bool DontRun, const QString &LocalFileName)
{
    return m_downloads && m_downloads->DownloadAndRun(FileName, Parameters, ServerPath, Overwrite,
                                                      CheckExisting, DontRun, LocalFileName);
}

bool wnPrincipal::UpdateIfIsPossible(const QString &Company, const QString &PcName,
                                     const QString &Group, const QString &FileName)
{
    return OnlineUpdate(actionContext()).UpdateIfIsPossible(Company, PcName, Group, FileName);
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
    const QString done = AddsUtilities::Var_GetPart(rest, QStringLiteral("/"), true);
    const qint64 doneBytes = captionNumber(done);
    const qint64 total = captionNumber(rest);
    if (total <= 0)
        return;
    // Whole hundredths, rounded down.
    m_ui->LabelAvance->setText(QString::number(doneBytes * 100 / total) + u'%');
}

void wnPrincipal::Pics_MouseMove(int Index, int Button, int Shift, float X, float Y)
{
    (void)Index;
    (void)Button;
    (void)Shift;
    (void)Y;
    const QString code = QString::number(qRound(X), 16).toUpper();
    if (code == QStringLiteral("1E3C") || code == QStringLiteral("1830")) {
        PopUpBuilder(true);
    } else if (code == QStringLiteral("1E0F")) {
        toggleMainWindow();
    }
    // "1E2D", "1824" and "1E5A" (double clicks) do nothing.
}

void wnPrincipal::PopUpBuilder(bool atCursor)
{
    const int last = static_cast<int>(ChatWindows.size()) - 1;
    for (int i = 0; i < kChatMenuSlots; ++i) {
        if (i <= last) {
            m_mnuChat[static_cast<size_t>(i)]->setText(
                ChatWindows[static_cast<size_t>(i)]->windowTitle());
            m_mnuChat[static_cast<size_t>(i)]->setVisible(true);
        } else {
            m_mnuChat[static_cast<size_t>(i)]->setVisible(false);
        }
    }
    if (atCursor)
        m_mnuPopUp.popup(QCursor::pos());
}

void wnPrincipal::mnuEmergente_Click(int Index)
{
    switch (Index) {
    case 1:
        // Every server but the support one is asked again right now.
        for (size_t i = 1; i < DynIpServers.size(); ++i)
            DynIpServers[i].NextKeepAlive = QDateTime();
        TimerScan_Timer();
        break;
    case 2:
        MostrarDemoras(QDateTime());
        break;
    case 9:
        toggleMainWindow();
        break;
    case 10:
        Form_Unload();
        break;
    default:
        break;
    }
}

void wnPrincipal::mnuChat_Click(int Index)
{
    if (Index == kChatMenuNew) {
        if (m_chatTo) {
            m_chatTo->show();
            m_chatTo->raise();
        }
        return;
    }
    if (Index < 0 || static_cast<size_t>(Index) >= ChatWindows.size())
        return;
    wnChat &chat = *ChatWindows[static_cast<size_t>(Index)];
    chat.setVisible(true);
    chat.show();
    chat.raise();
}

void wnPrincipal::toggleMainWindow()
{
    const bool trayShown = m_ctx.adds && m_ctx.adds->Win_SysTrayEnable() &&
                           m_ctx.adds->trayBackend() && m_ctx.adds->trayBackend()->hostAvailable();
    if (isVisible() && !trayShown) {
        // Without a notification area a hidden window could not be found
        // again: minimise instead.
        showMinimized();
        return;
    }
    setVisible(!isVisible());
    if (isVisible()) {
        setWindowState(windowState() & ~Qt::WindowMinimized);
        show();
        raise();
        activateWindow();
    }
}

void wnPrincipal::updateTrayHostState(bool available)
{
    // The menu button stands in for the tray icon's menu when the desktop
    // has no notification area.
    m_ui->cmdMenu->setVisible(!available);
    if (!available && !isVisible() && !m_unloading && !m_tag.isEmpty())
        show();
}

} // namespace orvex
