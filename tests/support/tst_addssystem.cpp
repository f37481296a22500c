#include "common/FakeClock.h"
#include "common/FakeSystem.h"
#include "support/AddsSystem.h"

#include <QTest>
#include <QTimer>

#include <optional>

using namespace orvex;
using namespace orvex::platform;
using namespace Qt::StringLiterals;
using test::FakeProcessWindows;

namespace {

const QString Command = u"\"C:\\Orvex\\ayudante.exe\" -x"_s;

} // namespace

class TestAddsSystem : public QObject
{
    Q_OBJECT

private slots:
    // A title (case counts) or a class says "running"; only a title or a
    // handle's digits are closed.
    void windowsByTitleClassOrHandle_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<quint64>("closed"); // 0: nothing
        QTest::addColumn<bool>("running");
        QTest::newRow("title, non-ASCII") << u"Año"_s << quint64(0x4a0002) << true;
        QTest::newRow("class") << u"OxExchange"_s << quint64(0) << true;
        QTest::newRow("case differs") << u"año"_s << quint64(0) << false;
        QTest::newRow("handle digits") << u" 1234 "_s << quint64(1234) << false;
        QTest::newRow("handle zero") << u"0"_s << quint64(0) << false;
        QTest::newRow("beyond 64 bits") << u"99999999999999999999999"_s << quint64(0) << false;
    }
    void windowsByTitleClassOrHandle()
    {
        QFETCH(QString, argument);
        QFETCH(quint64, closed);
        FakeProcessWindows pw;
        pw.titles = {{"Orvex", 0x4a0001}, {"Año", 0x4a0002}};
        pw.classes = {{"OxExchange", 8}};
        AddsSystem sys({.processWindows = &pw});
        QTEST(sys.App_IsRunningForNT(argument), "running");
        sys.App_Close(argument);
        QCOMPARE(pw.closed,
                 closed ? std::vector<WindowHandle>{closed} : std::vector<WindowHandle>{});
    }

    // The child ends on an event: a wait that lets events run sees it end,
    // a wait of no time at all leaves it running (only no longer watched).
    void runAndWait_data()
    {
        QTest::addColumn<std::optional<qint32>>("timeoutSeconds");
        QTest::addColumn<bool>("waited");
        QTest::newRow("no time-out") << std::optional<qint32>() << true;
        QTest::newRow("negative: no limit") << std::optional<qint32>(-1) << true;
        QTest::newRow("zero: looks once") << std::optional<qint32>(0) << false;
    }
    void runAndWait()
    {
        QFETCH(std::optional<qint32>, timeoutSeconds);
        FakeProcessWindows pw;
        AddsSystem sys({.processWindows = &pw});
        QObject scope; // a wait that returned early must not leave the timer behind
        QTimer::singleShot(0, &scope, [&] { pw.endAll(); });
        sys.Win_RunAppAndWait(Command, u"no usado"_s, timeoutSeconds);
        QVERIFY(sys.Win_RunApp(Command)); // on its own, in a window, never waited for
        QCOMPARE(pw.started, std::vector<std::string>(2, Command.toStdString()));
        QCOMPARE(pw.modes, (std::vector<StartMode>{StartMode::Inherit, StartMode::NormalWindow}));
        QCOMPARE(pw.released.size(), size_t(2));
        QTEST(!pw.isRunning(pw.released[0]), "waited");
        // Nothing started, nothing to wait for or release.
        pw.startFails = true;
        sys.Win_RunAppAndWait(Command);
        QVERIFY(!sys.Win_RunApp(Command));
        QCOMPARE(pw.released.size(), size_t(2));
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

QTEST_GUILESS_MAIN(TestAddsSystem)
#include "tst_addssystem.moc"
