#include "platform/ProcessWindows.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <signal.h>

#include <functional>

using namespace orvex::platform;
using namespace Qt::StringLiterals;

namespace {

// Reads events of `display` until `match` accepts one or `ms` pass.
bool waitForEvent(Display *display, const std::function<bool(const XEvent &)> &match, int ms = 5000)
{
    QDeadlineTimer deadline(ms);
    while (!deadline.hasExpired()) {
        while (XPending(display)) {
            XEvent event;
            XNextEvent(display, &event);
            if (match(event))
                return true;
        }
        QThread::msleep(10);
    }
    return false;
}

} // namespace

class TestProcessWindows : public QObject
{
    Q_OBJECT

private slots:
    void splitsCommandLines_data();
    void splitsCommandLines();

    void startsAndReapsProcesses();
    void startsQuotedProgramInWorkingDirectory();
    void refusesWhatCannotStart();

    void noDisplayMeansNoWindowList();
    void findsAndClosesWindows();

    void cleanupTestCase();

private:
    bool startXServer();
    Window makeWindow(const char *utf8Title, const char *latin1Title, const char *instance,
                      const char *className, bool acceptsDelete);

    QProcess m_xvfb;
    Display *m_display = nullptr;
};

void TestProcessWindows::splitsCommandLines_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("arguments");

    QTest::newRow("plain") << u"sleep 5"_s << u"sleep"_s << QStringList{u"5"_s};
    QTest::newRow("quoted program keeps its backslashes")
        << uR"("C:\Program Files\Orvex\oxzip.exe" -add "copia de x.zip" *.ini)"_s
        << uR"(C:\Program Files\Orvex\oxzip.exe)"_s
        << QStringList{u"-add"_s, u"copia de x.zip"_s, u"*.ini"_s};
    QTest::newRow("blanks and tabs around")
        << u"  \ttool   a\t b  "_s << u"tool"_s << QStringList{u"a"_s, u"b"_s};
    QTest::newRow("empty quoted argument")
        << uR"(p "" x)"_s << u"p"_s << QStringList{QString(), u"x"_s};
    QTest::newRow("backslashes before quotes")
        << uR"(p a\\\"b "c\\" d\e)"_s << u"p"_s
        << QStringList{uR"(a\"b)"_s, uR"(c\)"_s, uR"(d\e)"_s};
    QTest::newRow("doubled quote inside quotes")
        << uR"(p "say ""hola""")"_s << u"p"_s << QStringList{uR"(say "hola")"_s};
    QTest::newRow("quotes join a word") << uR"(p a"b c"d)"_s << u"p"_s << QStringList{u"ab cd"_s};
    QTest::newRow("unterminated quoted program")
        << uR"("C:\x y)"_s << uR"(C:\x y)"_s << QStringList{};
    QTest::newRow("empty") << QString() << QString() << QStringList{};
}

void TestProcessWindows::splitsCommandLines()
{
    QFETCH(QString, line);
    QFETCH(QString, program);
    QFETCH(QStringList, arguments);

    const CommandLineParts parts = splitCommandLine(line.toStdString());
    QCOMPARE(QString::fromStdString(parts.program), program);
    QStringList got;
    for (const std::string &a : parts.arguments)
        got << QString::fromStdString(a);
    QCOMPARE(got, arguments);
}

void TestProcessWindows::startsAndReapsProcesses()
{
    auto pw = createProcessWindows();

    const ProcessToken quick = pw->startProcess("true");
    QVERIFY(quick != 0);
    QTRY_VERIFY(!pw->isRunning(quick));
    pw->release(quick);

    const ProcessToken slow = pw->startProcess("sleep 30");
    QVERIFY(slow != 0);
    QVERIFY(pw->isRunning(slow));
    ::kill(static_cast<pid_t>(slow), SIGKILL);
    QTRY_VERIFY(!pw->isRunning(slow));
    pw->release(slow);

    // Released while still running: ending later must not leave a zombie.
    const ProcessToken detached = pw->startProcess("sleep 30", {}, StartMode::NormalWindow);
    QVERIFY(detached != 0);
    pw->release(detached);
    QVERIFY(!pw->isRunning(detached)); // forgotten, whatever it does
    const QString proc = u"/proc/"_s + QString::number(detached);
    QVERIFY(QFileInfo::exists(proc));
    ::kill(static_cast<pid_t>(detached), SIGKILL);
    QTRY_VERIFY((pw->isRunning(0), !QFileInfo::exists(proc)));
}

void TestProcessWindows::startsQuotedProgramInWorkingDirectory()
{
    QTemporaryDir tmp;
    QVERIFY(tmp.isValid());
    const QString bin = tmp.filePath(u"con espacio"_s);
    const QString work = tmp.filePath(u"trabajo"_s);
    QVERIFY(QDir().mkpath(bin) && QDir().mkpath(work));
    const QString script = bin + u"/anotar args.sh"_s;
    {
        QFile f(script);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("#!/bin/sh\npwd > out.txt\nfor a in \"$@\"; do echo \"[$a]\" >> out.txt; done\n");
    }
    QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

    auto pw = createProcessWindows();
    const std::string line = QString(u'"' + script + uR"(" uno "dos tres" año)"_s).toStdString();
    const ProcessToken p = pw->startProcess(line, work.toStdString());
    QVERIFY(p != 0);
    QTRY_VERIFY(!pw->isRunning(p));
    pw->release(p);

    QFile out(work + u"/out.txt"_s);
    QVERIFY(out.open(QIODevice::ReadOnly));
    const QString expected = QDir(work).canonicalPath() + u"\n[uno]\n[dos tres]\n[año]\n"_s;
    QCOMPARE(QString::fromUtf8(out.readAll()), expected);
}

void TestProcessWindows::refusesWhatCannotStart()
{
    auto pw = createProcessWindows();
    QCOMPARE(pw->startProcess(""), ProcessToken(0));
    QCOMPARE(pw->startProcess("   "), ProcessToken(0));
    QCOMPARE(pw->startProcess("orvex-no-such-program-xyz --x"), ProcessToken(0));
    QCOMPARE(pw->startProcess("true", "/orvex/no/such/folder"), ProcessToken(0));
    QVERIFY(!pw->isRunning(424242));
    pw->release(424242); // unknown tokens are ignored
}

void TestProcessWindows::noDisplayMeansNoWindowList()
{
    const QByteArray saved = qgetenv("DISPLAY");
    qunsetenv("DISPLAY");
    auto pw = createProcessWindows();
    const bool blind = !pw->hasWindowList() && pw->findWindowByTitle("Orvex") == 0 &&
                       pw->findWindowByClass("Orvex") == 0 && !pw->postClose(0x200001);
    if (!saved.isNull())
        qputenv("DISPLAY", saved);
    QVERIFY(blind);
}

bool TestProcessWindows::startXServer()
{
    const QString xvfb = QStandardPaths::findExecutable(u"Xvfb"_s);
    if (xvfb.isEmpty())
        return false;
    // -displayfd: the server picks a free display and tells us its number.
    m_xvfb.start(xvfb, {u"-displayfd"_s, u"1"_s, u"-nolisten"_s, u"tcp"_s, u"-screen"_s, u"0"_s,
                        u"320x240x24"_s});
    QDeadlineTimer deadline(15000);
    QByteArray number;
    while (!number.endsWith('\n') && !deadline.hasExpired() &&
           m_xvfb.state() != QProcess::NotRunning) {
        m_xvfb.waitForReadyRead(200);
        number += m_xvfb.readAllStandardOutput();
    }
    if (!number.endsWith('\n'))
        return false;
    const QByteArray name = ':' + number.trimmed();
    m_display = XOpenDisplay(name.constData());
    if (m_display)
        qputenv("DISPLAY", name);
    return m_display != nullptr;
}

Window TestProcessWindows::makeWindow(const char *utf8Title, const char *latin1Title,
                                      const char *instance, const char *className,
                                      bool acceptsDelete)
{
    Display *d = m_display;
    const Window w = XCreateSimpleWindow(d, DefaultRootWindow(d), 0, 0, 50, 50, 0, 0, 0);
    if (latin1Title)
        XStoreName(d, w, latin1Title);
    if (utf8Title)
        XChangeProperty(d, w, XInternAtom(d, "_NET_WM_NAME", False),
                        XInternAtom(d, "UTF8_STRING", False), 8, PropModeReplace,
                        reinterpret_cast<const unsigned char *>(utf8Title),
                        static_cast<int>(qstrlen(utf8Title)));
    if (instance) {
        XClassHint hint{const_cast<char *>(instance), const_cast<char *>(className)};
        XSetClassHint(d, w, &hint);
    }
    if (acceptsDelete) {
        Atom del = XInternAtom(d, "WM_DELETE_WINDOW", False);
        XSetWMProtocols(d, w, &del, 1);
    }
    XMapWindow(d, w);
    XSync(d, False);
    return w;
}

void TestProcessWindows::findsAndClosesWindows()
{
    if (!startXServer())
        QSKIP("no Xvfb to run an X server on");
    Display *d = m_display;
    // No window manager runs, so there is no _NET_CLIENT_LIST: this walks
    // the window tree.
    const Window modern =
        makeWindow("Orvex – año", "Orvex - ano", "orvexprobe", "OrvexProbe", true);
    const Window legacy = makeWindow(nullptr, "A\xf1o nuevo", nullptr, nullptr, false);
    // Where a window manager would listen for _NET_CLOSE_WINDOW.
    XSelectInput(d, DefaultRootWindow(d), SubstructureNotifyMask);
    XSync(d, False);

    auto pw = createProcessWindows();
    QVERIFY(pw->hasWindowList());
    QCOMPARE(pw->findWindowByTitle("Orvex – año"), WindowHandle(modern));
    // _NET_WM_NAME is the title when present; WM_NAME is only the fallback.
    QCOMPARE(pw->findWindowByTitle("Orvex - ano"), WindowHandle(0));
    QCOMPARE(pw->findWindowByTitle("Año nuevo"), WindowHandle(legacy));
    QCOMPARE(pw->findWindowByTitle("Orvex"), WindowHandle(0)); // exact, not a prefix
    QCOMPARE(pw->findWindowByClass("orvexprobe"), WindowHandle(modern));
    QCOMPARE(pw->findWindowByClass("OrvexProbe"), WindowHandle(modern));
    QCOMPARE(pw->findWindowByClass("orvexprob"), WindowHandle(0));

    const Atom protocols = XInternAtom(d, "WM_PROTOCOLS", False);
    const Atom deleteWindow = XInternAtom(d, "WM_DELETE_WINDOW", False);
    const Atom netClose = XInternAtom(d, "_NET_CLOSE_WINDOW", False);
    QVERIFY(pw->postClose(modern));
    QVERIFY(waitForEvent(d, [&](const XEvent &e) {
        return e.type == ClientMessage && e.xclient.window == modern &&
               e.xclient.message_type == protocols && Atom(e.xclient.data.l[0]) == deleteWindow;
    }));
    QVERIFY(pw->postClose(legacy));
    QVERIFY(waitForEvent(d, [&](const XEvent &e) {
        return e.type == ClientMessage && e.xclient.window == legacy &&
               e.xclient.message_type == netClose;
    }));

    // A handle that is no (longer a) window fails quietly instead of ending
    // the program through Xlib's default error handler.
    XDestroyWindow(d, modern);
    XSync(d, False);
    QVERIFY(!pw->postClose(modern));
    QCOMPARE(pw->findWindowByTitle("Orvex – año"), WindowHandle(0));
    QCOMPARE(pw->findWindowByTitle("Año nuevo"), WindowHandle(legacy));
    XDestroyWindow(d, legacy);
    XSync(d, False);
}

void TestProcessWindows::cleanupTestCase()
{
    if (m_display)
        XCloseDisplay(m_display);
    m_display = nullptr;
    if (m_xvfb.state() != QProcess::NotRunning) {
        m_xvfb.terminate();
        if (!m_xvfb.waitForFinished(5000)) {
            m_xvfb.kill();
            m_xvfb.waitForFinished(5000);
        }
    }
}

QTEST_GUILESS_MAIN(TestProcessWindows)
#include "tst_processwindows_linux.moc"
