#include "common/TestSupport.h"
#include "platform/ProcessWindows.h"
#include "platform/SoundPlayer.h"
#include "support/AddsSystem.h"

#include <QElapsedTimer>
#include <QTest>
#include <QTimer>

#include <map>

#ifndef Q_OS_WIN
#include <signal.h>
#endif

using namespace orvex;
using namespace orvex::platform;
using namespace Qt::StringLiterals;

namespace {

// Windows known by title and class; records what it was asked to close.
// Processes are real.
class FakeProcessWindows : public ProcessWindows
{
public:
    std::map<std::string, WindowHandle> titles, classes;
    std::vector<WindowHandle> closed;
    std::unique_ptr<ProcessWindows> real = createProcessWindows();
    ProcessToken lastStarted = 0;
    bool runningWhenReleased = false;

    bool hasWindowList() override { return true; }
    WindowHandle findWindowByTitle(const std::string &t) override { return titles[t]; }
    WindowHandle findWindowByClass(const std::string &c) override { return classes[c]; }
    bool postClose(WindowHandle window) override
    {
        closed.push_back(window);
        return true;
    }
    ProcessToken startProcess(const std::string &line, const std::string &dir,
                              StartMode mode) override
    {
        return lastStarted = real->startProcess(line, dir, mode);
    }
    bool isRunning(ProcessToken p) override { return real->isRunning(p); }
    void release(ProcessToken p) override
    {
        runningWhenReleased = isRunning(p);
        real->release(p);
    }
};

// Plays for as long as the test says.
class FakeSound : public SoundPlayer
{
public:
    QString path;
    int count = -1;
    bool playing = false;

    bool play(const QString &p, int c) override
    {
        path = p;
        count = c;
        return playing = true;
    }
    bool isPlaying() const override { return playing; }
    void stop() override { playing = false; }
};

#ifdef Q_OS_WIN
const QString LongCommand = u"ping -n 6 127.0.0.1"_s;
const QString ShortCommand = u"ping -n 2 127.0.0.1"_s;
#else
const QString LongCommand = u"sleep 5"_s;
const QString ShortCommand = u"sleep 1"_s;
#endif

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
        QVERIFY(!sys.Win_RunApp(ShortCommand));
        QCOMPARE(sys.Sonido_PlayWav(u"x.wav"_s, 1, false), qint16(0));
        const QString name = sys.NET_CurrentMachineName();
        QVERIFY(!name.isEmpty() && !name.contains(QChar(0)));
    }

    void runAndWaitKeepsEventsFlowing()
    {
        FakeProcessWindows pw;
        AddsSystem sys({.processWindows = &pw});
        int ticks = 0;
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, [&] { ++ticks; });
        timer.start(100);
        QElapsedTimer clock;
        clock.start();
        sys.Win_RunAppAndWait(LongCommand, {}, 1);
        QVERIFY2(clock.elapsed() >= 900 && clock.elapsed() < 4000,
                 QByteArray::number(clock.elapsed()));
        QVERIFY(pw.lastStarted != 0);
        QVERIFY(pw.runningWhenReleased); // left running, only no longer waited for
        QVERIFY(ticks >= 3);
#ifndef Q_OS_WIN
        ::kill(static_cast<pid_t>(pw.lastStarted), SIGKILL);
#endif
        // Without a time-out it waits for the end.
        ticks = 0;
        clock.restart();
        sys.Win_RunAppAndWait(ShortCommand, u"no usado"_s);
        QVERIFY(clock.elapsed() >= 900);
        QVERIFY(!pw.runningWhenReleased);
        QVERIFY(ticks >= 3);
    }

    void pauseLetsTimersFire()
    {
        AddsSystem sys(AddsServices{});
        bool fired = false;
        QTimer::singleShot(50, [&] { fired = true; });
        QElapsedTimer clock;
        clock.start();
        sys.DateTime_PausaTimer(0.3);
        QVERIFY(clock.elapsed() >= 280);
        QVERIFY(fired);
        clock.restart();
        sys.DateTime_PausaTimer(-1);
        sys.DateTime_PausaTimer(0);
        QVERIFY(clock.elapsed() < 100);
    }

    void playWavWaitsOnlyWhenSynchronous()
    {
        FakeSound sound;
        AddsSystem sys({.sound = &sound});
        // Should asynchronous play wait after all, this ends the wait.
        QTimer guard;
        guard.callOnTimeout([&] { sound.playing = false; });
        guard.start(1000);
        QCOMPARE(sys.Sonido_PlayWav(uR"(C:\Orvex\resources\aviso.wav)"_s, 3, true), qint16(1));
        QCOMPARE(sound.path, u"C:/Orvex/resources/aviso.wav"_s); // Windows-style path made local
        QCOMPARE(sound.count, 3);
        QVERIFY(sound.playing); // asynchronous: returned while still playing

        QTimer::singleShot(200, [&] { sound.playing = false; });
        QCOMPARE(sys.Sonido_PlayWav(u"aviso.wav"_s, 1, false), qint16(1));
        QVERIFY(!sound.playing); // synchronous: returned only after the end

        sound.count = -1;
        QCOMPARE(sys.Sonido_PlayWav(u"aviso.wav"_s, 0, false), qint16(0));
        QCOMPARE(sound.count, -1); // nothing to play, player not asked
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
        // With or without an audio device, a synchronous play ends within the
        // sound's length (2 x 100 ms) plus the start margin.
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(sys.Sonido_PlayWav(good, 2, false), qint16(1));
        QVERIFY2(clock.elapsed() < 4000, QByteArray::number(clock.elapsed()));
        QVERIFY(!player->isPlaying());
        QCOMPARE(sys.Sonido_PlayWav(good, 1, true), qint16(1));
        QTRY_VERIFY_WITH_TIMEOUT(!player->isPlaying(), 4000);
    }
};

QTEST_GUILESS_MAIN(TestAddsSystem)
#include "tst_addssystem.moc"
