#include "common/FakeClock.h"
#include "common/FakeServices.h"
#include "common/FakeSystem.h"
#include "support/AddsSystem.h"
#include "support/AddsTray.h"

#include <QPixmap>
#include <QtTest>

#include <optional>

using namespace orvex;
using namespace orvex::platform;
using namespace Qt::StringLiterals;

namespace {

using Handles = std::vector<WindowHandle>;
const QString Command = u"\"C:\\Orvex\\ayudante.exe\" -x"_s;

class RecordingOwner final : public TrayOwnerControl
{
public:
    quint32 hwnd() const override { return 0x1234; }
    int twipsPerPixel() const override { return twips; }
    void MouseMove(int, int, float X, float) override
    {
        codes << QString::number(qRound(X), 16).toUpper();
    }
    int twips = 0;
    QStringList codes;
};

struct Fixture
{
    test::FakeTrayBackend backend;
    test::FakeMessageBoxes boxes;
    RecordingOwner owner;
    AddsTray tray{AddsServices{.messageBoxes = &boxes, .tray = &backend}};
};

} // namespace

// The tray icon and the system services of the Adds object.
class TestAdds : public QObject
{
    Q_OBJECT
private slots:
    // The shell shows the text between blanks, cut to the 64-byte field
    // (here the field's bytes before its zero fill).
    void tip()
    {
        const std::pair<QString, QByteArray> rows[] = {
            {u"Año"_s, " A\xF1o "_ba},
            {QString(), QByteArray()},
            {QString(70, u'x'), " "_ba + QByteArray(63, 'x')},        // cut: no terminator left
            {QString(62, u'y'), " "_ba + QByteArray(62, 'y') + " "}}; // exactly fits
        for (const auto &[text, tip] : rows) {
            Fixture f;
            f.tray.setWin_SysTrayToolTip(text);
            QVERIFY(f.tray.Win_SysTrayAdd());
            QCOMPARE(f.backend.shownTip, QString::fromLatin1(tip));
            QCOMPARE(f.tray.Win_SysTrayToolTip(),
                     QString::fromLatin1(tip.leftJustified(AddsTray::kTipSize, '\0')));
        }
    }

    // Refused, then added, then removed: changes reach the shell only while
    // the icon is there, and so may the owner, who gets the button events as
    // MouseMove X codes (the message number in twips).
    void lifeOfTheIcon()
    {
        Fixture f;
        RecordingOwner second;
        const QIcon red{QPixmap(16, 16)}, none;
        QVERIFY(!AddsTray(AddsServices{}).Win_SysTrayAdd()); // no notification area at all
        f.tray.setWin_SysTrayOwnerControl(&second);
        f.tray.setWin_SysTrayOwnerControl(&f.owner);
        f.backend.accept = false;
        QVERIFY(!f.tray.Win_SysTrayAdd());
        f.tray.setWin_SysTrayIcon(red);
        QVERIFY(!f.tray.Win_SysTrayEnable());
        f.backend.accept = true;
        QVERIFY(f.tray.Win_SysTrayAdd() && f.backend.shownIcon.cacheKey() == red.cacheKey());
        QVERIFY(f.tray.Win_SysTrayEnable());
        f.tray.setWin_SysTrayIcon(none);
        f.tray.setWin_SysTrayToolTip(u"dos"_s);
        QCOMPARE(std::pair(f.backend.shownIcon.cacheKey(), f.backend.shownTip),
                 std::pair(none.cacheKey(), u" dos "_s));

        f.tray.setWin_SysTrayOwnerControl(&second);
        QCOMPARE(f.tray.Win_SysTrayOwnerControl(), &f.owner);
        QCOMPARE(f.boxes.messages(),
                 QStringList(qApp->applicationName() +
                             u"|Alerta: Adds.Win_SysTray (SysTray) no puede "
                             u"cambiar el OwnerControl cuando hay un ícono activo"_s));
        QCOMPARE(f.boxes.asked[0].icon, BoxIcon::Exclamation);
        f.owner.twips = 12;
        using E = TrayBackend::Event;
        for (E e : {E::LeftDown, E::LeftDoubleClick, E::RightDown, E::RightDoubleClick})
            f.backend.click(e);
        QCOMPARE(f.owner.codes, QStringList({u"180C"_s, u"1824"_s, u"1830"_s, u"1848"_s}));
        // The usage text's handler selects on codes the owner really gets.
        for (const char *code : {"1E0F", "1E2D", "1E3C", "1E5A", "1830", "1824"})
            QVERIFY(AddsTray::sysTrayUsage().contains(
                u"    Case \"%1\"  '"_s.arg(QLatin1StringView(code))));

        // Removed twice: harmless, the shell is not asked again.
        QVERIFY(f.tray.Win_SysTrayRemove() && f.tray.Win_SysTrayRemove());
        QVERIFY(!f.tray.Win_SysTrayEnable());
        f.tray.setWin_SysTrayToolTip(u"tres"_s);
        QCOMPARE(std::tuple(f.backend.adds, f.backend.modifies, f.backend.removes),
                 std::tuple(2, 2, 1));
        std::optional<AddsTray> gone(std::in_place, AddsServices{.tray = &f.backend});
        gone->setWin_SysTrayOwnerControl(&second);
        gone.reset(); // a tray that is gone hears no more clicks
        f.backend.click(E::LeftDown);
        QVERIFY(second.codes.isEmpty());
    }

    // A title (case counts) or a class says "running"; only a title or a
    // handle's digits are closed.
    void windowsByTitleClassOrHandle()
    {
        // The argument, the windows closed, whether it says "running".
        for (const auto &[argument, closed, running] :
             {std::tuple{u"Año"_s, Handles{0x4a0002}, true}, // a title, not ASCII
              {u"OxExchange"_s, Handles{}, true},            // a class
              {u"año"_s, Handles{}, false},                  // the case differs
              {u" 1234 "_s, Handles{1234}, false},           // a handle's digits
              {u"0"_s, Handles{}, false},
              {u"99999999999999999999999"_s, Handles{}, false}}) { // beyond 64 bits
            test::FakeProcessWindows pw;
            pw.titles = {{"Orvex", 0x4a0001}, {"Año", 0x4a0002}};
            pw.classes = {{"OxExchange", 8}};
            AddsSystem sys({.processWindows = &pw});
            QCOMPARE(sys.App_IsRunningForNT(argument), running);
            sys.App_Close(argument);
            QCOMPARE(pw.closed, closed);
        }
    }

    // The child ends on an event: a wait that lets events run sees it end,
    // a wait of no time at all leaves it running (only no longer watched).
    void runAndWait()
    {
        // The time-out (none or negative: no limit, zero: looks once), waited.
        for (const auto &[timeoutSeconds, waited] : {std::pair{std::optional<qint32>(), true},
                                                     {std::optional(-1), true},
                                                     {std::optional(0), false}}) {
            test::FakeProcessWindows pw;
            AddsSystem sys({.processWindows = &pw});
            QObject scope; // a wait that returned early must not leave the timer behind
            QTimer::singleShot(0, &scope, [&] { pw.endAll(); });
            sys.Win_RunAppAndWait(Command, u"no usado"_s, timeoutSeconds);
            QVERIFY(sys.Win_RunApp(Command)); // on its own, in a window, never waited for
            QCOMPARE(pw.started, std::vector<std::string>(2, Command.toStdString()));
            QCOMPARE(pw.modes,
                     (std::vector<StartMode>{StartMode::Inherit, StartMode::NormalWindow}));
            QCOMPARE(pw.released.size(), size_t(2));
            QCOMPARE(!pw.isRunning(pw.released[0]), waited);
            // Nothing started, nothing to wait for or release.
            pw.startFails = true;
            sys.Win_RunAppAndWait(Command);
            QVERIFY(!sys.Win_RunApp(Command));
            QCOMPARE(pw.released.size(), size_t(2));
        }
    }

    // The pause runs on the clock, rounded to milliseconds and bounded; no
    // time, less or none at all is no pause.
    void pauseRunsOnTheClock()
    {
        test::FakeClock clock;
        AddsSystem sys({.clock = &clock});
        const QDateTime start = clock.now();
        for (double s : {0.3, 0.0015, 0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), 1e10})
            sys.DateTime_PausaTimer(s);
        QCOMPARE(clock.pauses, 3);
        QCOMPARE(start.msecsTo(clock.now()), 302 + qint64(std::numeric_limits<int>::max()));
    }
};

QTEST_MAIN(TestAdds)
#include "tst_adds.moc"
