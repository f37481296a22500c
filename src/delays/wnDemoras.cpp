#include "delays/wnDemoras.h"

#include "delays/DelayRules.h"
#include "platform/MessageBoxes.h"
#include "platform/WindowPin.h"
#include "support/Adds.h"
#include "ui_wnDemoras.h"

#include <QCloseEvent>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLoggingCategory>
#include <QPainter>
#include <QScreen>
#include <QSettings>
#include <QStyledItemDelegate>

Q_LOGGING_CATEGORY(lcDelays, "orvex.delays")

using namespace Qt::Literals::StringLiterals;

namespace orvex {
namespace {

// The reminder rules: delays older than this are stale; a board moved away
// is pulled back every this many ticks of 10 s.
constexpr qint64 kStaleMinutes = 20;
constexpr qint64 kRefreshMinutes = 30;
constexpr int kRecentreTicks = 6;
constexpr int kStepMinutes = 15;

// Draws "zone<TAB>delay<TAB>" with the delay at a tab stop of its own.
// Stops are in dialog units: a quarter of the font's average character.
class TabStopDelegate final : public QStyledItemDelegate
{
public:
    TabStopDelegate(QList<int> stops, QObject *parent)
        : QStyledItemDelegate(parent), m_stops(std::move(stops))
    {}

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override
    {
        QStyleOptionViewItem opt = option;
        initStyleOption(&opt, index);
        const QString text = opt.text;
        opt.text.clear();
        opt.widget->style()->drawControl(QStyle::CE_ItemViewItem, &opt, painter, opt.widget);
        const double unit = opt.fontMetrics.averageCharWidth() / 4.0;
        const QRect area = opt.rect.adjusted(4, 0, -4, 0);
        painter->save();
        painter->setPen(opt.palette.color(
            opt.state & QStyle::State_Selected ? QPalette::HighlightedText : QPalette::Text));
        const QStringList fields = text.split(u'\t');
        int x = area.left();
        for (qsizetype i = 0; i < fields.size(); ++i) {
            const int next =
                i < m_stops.size() ? area.left() + int(m_stops[i] * unit) : area.right();
            const QRect cell(x, area.top(), std::max(0, next - x - 4), area.height());
            painter->drawText(cell, Qt::AlignVCenter | Qt::AlignLeft,
                              opt.fontMetrics.elidedText(fields[i], Qt::ElideRight, cell.width()));
            x = next;
        }
        painter->restore();
    }

private:
    QList<int> m_stops;
};

} // namespace

wnDemoras::wnDemoras(const wnDemorasContext &context, QWidget *parent)
    : QWidget(parent), m_ctx(context), m_ui(std::make_unique<Ui::wnDemoras>())
{
    m_ui->setupUi(this);
    m_ui->Lista->setModel(&m_rows);
    connect(m_ui->Lista->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this] { Lista_Click(); });
    connect(m_ui->cmdListAdd, &QPushButton::clicked, this, &wnDemoras::cmdListAdd_Click);
    connect(m_ui->cmdListRemove, &QPushButton::clicked, this, &wnDemoras::cmdListRemove_Click);
    connect(m_ui->cmdEnviar, &QPushButton::clicked, this, &wnDemoras::cmdEnviar_Click);
    m_ui->InputDemora->installEventFilter(this);
    m_ui->Lista->installEventFilter(this);

    m_timerScan.setInterval(10000);
    connect(&m_timerScan, &QTimer::timeout, this, &wnDemoras::TimerScan_Timer);
    Form_Load();
    m_timerScan.start();
}

wnDemoras::~wnDemoras() = default;

QListView *wnDemoras::Lista() const
{
    return m_ui->Lista;
}

QString wnDemoras::delaysFile() const
{
    return QDir(m_ctx.programFolder).filePath(u"OxDemoras.txt"_s);
}

bool wnDemoras::isPinned() const
{
    return m_ctx.pin->isPinned(*this);
}

void wnDemoras::Form_Load()
{
    // No close command: where the system has a window menu its close item
    // goes; everywhere the window is built without a close button.
    m_ctx.adds->Win_DeleteSystemMenuItem(static_cast<quint64>(winId()), 6);
    setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                   Qt::WindowMinimizeButtonHint);
    centre();
    m_ui->Lista->setItemDelegate(new TabStopDelegate({100, 200}, m_ui->Lista));
    // Only a plain file is read: a pipe or a device would never end.
    if (QFile file(delaysFile()); QFileInfo(file).isFile() && file.open(QIODevice::ReadOnly))
        m_rows.loadFile(file.readAll());
    if (m_rows.rowCount() == 0)
        m_rows.setRows({delays::row(u"Mecanica", u"00:00"), delays::row(u"Grua", u"00:00")});
    m_inputTag.reset();
}

QPoint wnDemoras::centredPosition() const
{
    const QScreen *s = screen() ? screen() : QGuiApplication::primaryScreen();
    const QRect area = s ? s->availableGeometry() : QRect(0, 0, 1024, 768);
    const QSize size = frameGeometry().size();
    return {area.x() + area.width() / 2 - size.width() / 2,
            area.y() + area.height() / 2 - size.height() / 2};
}

void wnDemoras::centre()
{
    move(centredPosition());
}

void wnDemoras::focusLista()
{
    if (isVisible())
        m_ui->Lista->setFocus();
}

void wnDemoras::setRow(int index, const QString &text)
{
    m_rows.setData(m_rows.index(index), text);
}

QString wnDemoras::savedDelay(const QString &zone) const
{
    if (m_ctx.savedDelay)
        return m_ctx.savedDelay(zone);
    return QSettings(u"Lumaris"_s, u"Orvex"_s).value(u"Demoras/"_s + zone).toString();
}

void wnDemoras::cmdListAdd_Click()
{
    const std::optional<QString> answer = m_ctx.boxes->inputBox(
        {u"Ingrese el nombre de la zona a agregar:"_s, u"Agregar Zona"_s, QString()});
    if (answer && !answer->isEmpty()) {
        QString delay = savedDelay(*answer);
        if (!delay.contains(u':'))
            delay = u"--:--"_s;
        const int at = m_rows.rowCount();
        m_rows.insertRows(at, 1);
        setRow(at, delays::row(*answer, delay));
    }
    focusLista();
}

void wnDemoras::cmdListRemove_Click()
{
    const int selected = m_ui->Lista->currentIndex().row();
    if (selected >= 0 &&
        m_ctx.boxes->show({QString(), u"Esta seguro de eliminar esta zona?"_s,
                           platform::BoxIcon::None, platform::BoxButtons::YesNo,
                           platform::DefaultButton::Second}) == platform::Answer::Yes) {
        // The text box must not write into the row that takes this one's place.
        if (m_inputTag == selected)
            m_inputTag.reset();
        else if (m_inputTag && *m_inputTag > selected)
            --*m_inputTag;
        const QSignalBlocker quiet(m_ui->Lista->selectionModel());
        m_rows.removeRows(selected, 1);
    }
    focusLista();
}

void wnDemoras::writeBackInput()
{
    if (!m_inputTag || *m_inputTag >= m_rows.rowCount())
        return;
    const QString current = m_rows.data(m_rows.index(*m_inputTag)).toString();
    setRow(*m_inputTag, delays::row(delays::rowName(current), m_ui->InputDemora->text()));
}

void wnDemoras::bindInput(int row)
{
    const QString text = m_rows.data(m_rows.index(row)).toString();
    m_ui->InputDemora->setText(delays::rowDelay(text).toString());
    m_inputTag = row;
}

void wnDemoras::Lista_Click()
{
    const int selected = m_ui->Lista->currentIndex().row();
    if (selected < 0)
        return;
    writeBackInput();
    bindInput(selected);
}

bool wnDemoras::InputDemora_KeyDown(int key, Qt::KeyboardModifiers shift)
{
    bool swallowed = false;
    if ((shift & (Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier)) == 0) {
        if (key == Qt::Key_Left || key == Qt::Key_Right) {
            m_ui->InputDemora->setText(delays::delayStepped(
                m_ui->InputDemora->text(), key == Qt::Key_Left ? -kStepMinutes : kStepMinutes));
            swallowed = true;
        } else if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            writeBackInput();
            cmdEnviar_Click();
            swallowed = true;
        }
    }
    focusLista();
    return swallowed;
}

bool wnDemoras::Lista_KeyDown(int key, Qt::KeyboardModifiers shift)
{
    const bool handled = InputDemora_KeyDown(key, shift);
    // The list must not move sideways; Up and Down still move its selection.
    return handled || key == Qt::Key_Left || key == Qt::Key_Right;
}

bool wnDemoras::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress &&
        (watched == m_ui->InputDemora || watched == m_ui->Lista)) {
        const auto *key = static_cast<QKeyEvent *>(event);
        return watched == m_ui->Lista ? Lista_KeyDown(key->key(), key->modifiers())
                                      : InputDemora_KeyDown(key->key(), key->modifiers());
    }
    return QWidget::eventFilter(watched, event);
}

void wnDemoras::cmdEnviar_Click()
{
    GuardarDemoras(delays::delaysFileText(m_rows.rows()));
    focusLista();
    // Hidden, not closed: the reminders go on.
    hide();
}

bool wnDemoras::GuardarDemoras(const std::optional<QString> &text)
{
    const QDateTime now = m_ctx.adds->clock().now();
    LastSaved = now;
    QString wanted;
    if (text) {
        wanted = *text;
    } else {
        for (const QString &r : m_rows.rows())
            wanted += delays::row(delays::rowName(r), delays::rowDelay(r)) + u"\r\n";
    }
    const QString file = delaysFile();
    const QFileInfo info(file);
    if (info.exists() && m_ctx.adds->File_ReadBinary(file) == wanted &&
        wholeMinutesBetween(info.lastModified(), now) < kRefreshMinutes)
        return false;
    // Rewritten even when unchanged once it is old, so that the centre sees
    // the delays as current.
    if (!m_ctx.adds->File_SaveBinary(file, wanted)) {
        qCWarning(lcDelays) << "cannot write" << file;
        return false;
    }
    // The file's time is the time the agent keeps.
    if (QFile f(file); f.open(QIODevice::ReadWrite))
        f.setFileTime(now, QFileDevice::FileModificationTime);
    return true;
}

void wnDemoras::playReminder()
{
    const QString sound = QDir(m_ctx.programFolder).filePath(u"resources/cargardemoras.wav"_s);
    if (QFileInfo::exists(sound))
        m_ctx.adds->Sonido_PlayWav(sound, 1, true);
}

void wnDemoras::TimerScan_Timer()
{
    const QPoint centred = centredPosition();
    // Moved on one axis only still counts as centred. (The position is the
    // one move() sets, which is what the centre routine gave it.)
    const QPoint at = pos();
    if (at.x() != centred.x() && at.y() != centred.y()) {
        if (Countdown <= 0) {
            centre();
            playReminder();
            Countdown = kRecentreTicks;
        } else {
            --Countdown;
        }
    }
    const bool stale = wholeMinutesBetween(LastSaved, m_ctx.adds->clock().now()) > kStaleMinutes;
    if (stale && !isPinned()) {
        playReminder();
        m_ctx.pin->setPinned(*this, true);
    } else if (!stale && isPinned()) {
        m_ctx.pin->setPinned(*this, false);
    }
}

void wnDemoras::closeEvent(QCloseEvent *event)
{
    // The board cannot be closed: what it shows is saved and it stays.
    GuardarDemoras();
    event->ignore();
}

} // namespace orvex
