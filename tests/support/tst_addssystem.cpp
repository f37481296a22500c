#include "common/FakeClock.h"
#include "common/FakeSystem.h"
#include "common/TestSupport.h"
#include "support/AddsSystem.h"

#include <QTest>
#include <QTimer>

#include <limits>
#include <optional>

using namespace orvex;
using namespace orvex::platform;
using namespace Qt::StringLiterals;
using test::FakeProcessWindows;
using test::FakeSound;

namespace {

const QString Command = u"\"C:\\Orvex\\ayudante.exe\" -x"_s;

} // namespace

class TestAddsSystem : public QObject
{
    Q_OBJECT

private slots:
    void windowsByTitleClassOrHandle_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<quint64>("closed"); // 0: nothing
        QTest::addColumn<bool>("running");
        QTest::newRow("known title") << u"Orvex"_s << quint64(0x4a0001) << true;
        QTest::newRow("title with non-ASCII") << u"Año"_s << quint64(0x4a0002) << true;
        QTest::newRow("class: running, not closed") << u"OxExchange"_s << quint64(0) << true;
        QTest::newRow("case differs") << u"orvex"_s << quint64(0) << false;
        QTest::newRow("handle digits") << u" 1234 "_s << quint64(1234) << false;
        QTest::newRow("unknown title") << u"Nadie"_s << quint64(0) << false;
        QTest::newRow("handle zero") << u"0"_s << quint64(0) << false;
        QTest::newRow("digits beyond 64 bits")
            << u"99999999999999999999999"_s << quint64(0) << false;
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
        QVERIFY(pw.closed.empty());
        sys.App_Close(argument);
        QCOMPARE(pw.closed,
                 closed ? std::vector<WindowHandle>{closed} : std::vector<WindowHandle>{});
    }

    void withoutServicesEverythingFails()
    {
        AddsSystem sys(AddsServices{});
        sys.App_Close(u"Orvex"_s);
        QVERIFY(!sys.App_IsRunningForNT(u"Orvex"_s));
        QVERIFY(!sys.Win_RunApp(Command));
        sys.Win_RunAppAndWait(Command);
        QCOMPARE(sys.Sonido_PlayWav(u"x.wav"_s, 1, false), qint16(0));
    }

    // The child ends on an event: a wait that lets events run sees it end,
    // a wait with no time at all leaves it running (only no longer watched).
    void runAndWait_data()
    {
        QTest::addColumn<std::optional<qint32>>("timeoutSeconds");
        QTest::addColumn<bool>("waited");
        QTest::newRow("no time-out") << std::optional<qint32>() << true;
        QTest::newRow("negative time-out: no limit") << std::optional<qint32>(-1) << true;
        QTest::newRow("time-out not reached") << std::optional<qint32>(3600) << true;
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
        QCOMPARE(pw.started, std::vector<std::string>{Command.toStdString()});
        QCOMPARE(pw.modes, std::vector<StartMode>{StartMode::Inherit});
        QCOMPARE(pw.released.size(), size_t(1));
        QTEST(!pw.isRunning(pw.released[0]), "waited");

        // Started on its own, in a window, and never waited for.
        QVERIFY(sys.Win_RunApp(Command));
        QCOMPARE(pw.modes.back(), StartMode::NormalWindow);
        QCOMPARE(pw.released.size(), size_t(2));
        // Nothing started, nothing to wait for or release.
        pw.startFails = true;
        sys.Win_RunAppAndWait(Command);
        QVERIFY(!sys.Win_RunApp(Command));
        QCOMPARE(pw.released.size(), size_t(2));
    }

    // Pauses run on the clock: the length is rounded to whole milliseconds,
    // and pending events get their turn.
    void pauseRunsOnTheClock_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<int>("pauses");
        QTest::addColumn<qint64>("ms");
        QTest::newRow("0.3 s") << 0.3 << 1 << qint64(300);
        QTest::newRow("rounded up") << 0.0015 << 1 << qint64(2);
        QTest::newRow("below half a millisecond") << 0.0004 << 1 << qint64(0);
        QTest::newRow("beyond 32-bit milliseconds")
            << 1e10 << 1 << qint64(std::numeric_limits<int>::max());
        QTest::newRow("zero") << 0.0 << 0 << qint64(0);
        QTest::newRow("negative") << -1.0 << 0 << qint64(0);
        QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN() << 0 << qint64(0);
    }
    void pauseRunsOnTheClock()
    {
        QFETCH(double, seconds);
        QFETCH(int, pauses);
        test::FakeClock clock;
        const QDateTime start = clock.now();
        AddsSystem sys({.clock = &clock});
        bool fired = false;
        QObject scope;
        QTimer::singleShot(0, &scope, [&] { fired = true; });
        sys.DateTime_PausaTimer(seconds);
        QCOMPARE(clock.pauses, pauses);
        QTEST(start.msecsTo(clock.now()), "ms");
        QCOMPARE(fired, pauses > 0);
    }

    void playWavWaitsOnlyWhenSynchronous()
    {
        FakeSound sound;
        sound.holds = true;
        AddsSystem sys({.sound = &sound});
        QObject scope; // ends the sound, for the synchronous play to return
        QTimer::singleShot(0, &scope, [&] { sound.playing = false; });
        QCOMPARE(sys.Sonido_PlayWav(uR"(C:\Orvex\resources\aviso.wav)"_s, 3, true), qint16(1));
        QVERIFY(sound.playing); // asynchronous: returned while still playing
        QCOMPARE(sys.Sonido_PlayWav(u"aviso.wav"_s, 1, false), qint16(1));
        QVERIFY(!sound.playing); // synchronous: returned only after the end
        QCOMPARE(sys.Sonido_PlayWav(u"aviso.wav"_s, 0, false), qint16(0));
        // The Windows-style path made local; the count of 0 never reached the player.
        QCOMPARE(sound.played,
                 QStringList({u"C:/Orvex/resources/aviso.wav*3"_s, u"aviso.wav*1"_s}));
    }

    void realPlayerNeverHangs()
    {
        QTemporaryDir dir;
        const QString good = dir.filePath(u"corto.wav"_s), bad = dir.filePath(u"falso.wav"_s);
        // 100 ms of silence: 8-bit mono PCM at 8000 Hz, 800 samples.
        QVERIFY(test::writeBytes(good, QByteArray::fromHex("52494646 44030000 57415645 666d7420 "
                                                           "10000000 01000100 401f0000 401f0000 "
                                                           "01000800 64617461 20030000") +
                                           QByteArray(800, char(0x80))));
        // A RIFF/WAVE file whose only chunk is not sound.
        QVERIFY(test::writeBytes(bad, QByteArray("RIFF\x0e\0\0\0WAVEjunk\x02\0\0\0ab", 22)));
        auto player = createSoundPlayer();
        AddsSystem sys({.sound = player.get()});
        QCOMPARE(sys.Sonido_PlayWav(dir.filePath(u"no-existe.wav"_s), 1, false), qint16(0));
        QCOMPARE(sys.Sonido_PlayWav(bad, 1, false), qint16(0));
        // With or without an audio device, a synchronous play returns once
        // the sound has ended.
        QCOMPARE(sys.Sonido_PlayWav(good, 2, false), qint16(1));
        QVERIFY(!player->isPlaying());
        QCOMPARE(sys.Sonido_PlayWav(good, 1, true), qint16(1));
        QTRY_VERIFY_WITH_TIMEOUT(!player->isPlaying(), 4000);
    }
};

QTEST_GUILESS_MAIN(TestAddsSystem)
#include "tst_addssystem.moc"
