#include "common/TestSupport.h"
#include "platform/ProcessWindows.h"

#include <QtTest>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <signal.h>

using namespace orvex::platform;
using namespace Qt::StringLiterals;

// A private X server (-displayfd lets it pick a free display and say which),
// and the test's own Xlib connection to it, which makes the windows. That
// connection closes first: Xlib ends a program whose server vanishes.
struct XServer
{
    QProcess process;
    Display *d = nullptr;
    ~XServer()
    {
        if (d)
            XCloseDisplay(d);
        process.kill();
        process.waitForFinished(5000);
    }
    bool start(const QStringList &screens = {})
    {
        process.start(u"Xvfb"_s,
                      QStringList{u"-displayfd"_s, u"1"_s, u"-nolisten"_s, u"tcp"_s} + screens);
        while (!process.canReadLine() && process.waitForReadyRead(15000))
            ;
        name = ':' + process.readLine().trimmed();
        if (name.size() > 1 && (d = XOpenDisplay(name.constData())))
            qputenv("DISPLAY", name);
        return d;
    }
    // Titled `latin1` in WM_NAME; a modern one also has a UTF-8 _NET_WM_NAME,
    // a WM_CLASS and takes WM_DELETE_WINDOW.
    Window makeWindow(const char *latin1, const char *utf8 = nullptr, int screen = 0)
    {
        const Window w = XCreateSimpleWindow(d, RootWindow(d, screen), 0, 0, 50, 50, 0, 0, 0);
        XStoreName(d, w, latin1);
        if (utf8) {
            XChangeProperty(d, w, atom("_NET_WM_NAME"), atom("UTF8_STRING"), 8, PropModeReplace,
                            reinterpret_cast<const unsigned char *>(utf8), int(qstrlen(utf8)));
            XClassHint hint{const_cast<char *>("orvexprobe"), const_cast<char *>("OrvexProbe")};
            XSetClassHint(d, w, &hint);
            Atom del = atom("WM_DELETE_WINDOW");
            XSetWMProtocols(d, w, &del, 1);
        }
        XMapWindow(d, w);
        XSync(d, False);
        return w;
    }
    Atom atom(const char *name) { return XInternAtom(d, name, False); }
    // Whether a client message of `type` to `w` (with `first` as its first
    // datum, unless 0) arrives; events read are consumed, so it keeps count.
    bool messageSeen(Window w, Atom type, Atom first = 0)
    {
        while (XPending(d)) {
            XEvent e;
            XNextEvent(d, &e);
            seen = seen || (e.type == ClientMessage && e.xclient.window == w &&
                            e.xclient.message_type == type &&
                            (!first || Atom(e.xclient.data.l[0]) == first));
        }
        return seen;
    }
    bool seen = false;
    QByteArray name;
};

class TestProcessWindows : public QObject
{
    Q_OBJECT

private slots:
    void splitsCommandLines()
    {
        // The line; the program, then each argument, after a "|".
        const QString rows[][2] = {
            // A quoted program keeps its backslashes.
            {uR"("C:\Program Files\Orvex\oxzip.exe" -add "copia de x.zip" *.ini)"_s,
             uR"(C:\Program Files\Orvex\oxzip.exe|-add|copia de x.zip|*.ini)"_s},
            {u"  \ttool  a\t \"\" b\"c d\"e "_s, u"tool|a||bc de"_s}, // blanks, empty, joined
            {uR"(p a\\\"b "c\\" d\e "say ""hola""")"_s, uR"(p|a\"b|c\|d\e|say "hola")"_s},
            // Unterminated quoted program. (No raw string here: moc loses its
            // way in one with an odd count of quotes.)
            {u"\"C:\\x y"_s, u"C:\\x y"_s},
            {QString(), QString()}};
        for (const auto &[line, parts] : rows) {
            CommandLineParts split = splitCommandLine(line.toStdString());
            for (const std::string &a : split.arguments)
                split.program += '|' + a;
            QCOMPARE(QString::fromStdString(split.program), parts);
        }
    }

    // A quoted program gets its arguments and working folder; one that ends,
    // is killed or is released while it runs is reaped, never left a zombie.
    void startsReapsAndRefusesProcesses()
    {
        QTemporaryDir tmp;
        const QString work = tmp.filePath(u"trabajo"_s), script = tmp.filePath(u"con espacio.sh"_s);
        QVERIFY(QDir().mkpath(work) &&
                orvex::test::writeBytes(script,
                                        "#!/bin/sh\nprintf '[%s]\\n' \"$(pwd)\" \"$@\" >out\n") &&
                QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner));
        auto pw = createProcessWindows();
        const ProcessToken p =
            pw->startProcess(QString(u'"' + script + u"\" uno \"dos tres\" año"_s).toStdString(),
                             work.toStdString());
        QTRY_VERIFY(p != 0 && !pw->isRunning(p));
        pw->release(p);
        QCOMPARE(QString::fromUtf8(orvex::test::readBytes(work + u"/out"_s)),
                 u'[' + QDir(work).canonicalPath() + u"]\n[uno]\n[dos tres]\n[año]\n"_s);

        // The children handle signals by default, whatever this process ignores;
        // one released while it runs goes on, and is reaped once it ends.
        ::signal(SIGTERM, SIG_IGN);
        const ProcessToken killed = pw->startProcess("sleep 600"),
                           detached = pw->startProcess("sleep 600", {}, StartMode::NormalWindow);
        ::signal(SIGTERM, SIG_DFL);
        const QString proc = u"/proc/"_s + QString::number(detached);
        pw->release(detached);
        QVERIFY(pw->isRunning(killed) && detached != 0 && !pw->isRunning(detached) &&
                QFileInfo::exists(proc) && ::kill(pid_t(killed), SIGTERM) == 0 &&
                ::kill(pid_t(detached), SIGTERM) == 0);
        QTRY_VERIFY(!pw->isRunning(killed) && !QFileInfo::exists(proc));
        pw->release(killed);

        for (const char *refused : {"", "   ", "orvex-no-such-program-xyz --x"})
            QCOMPARE(pw->startProcess(refused) + pw->startProcess("true", "/orvex/no/such"),
                     ProcessToken(0));
        pw->release(424242); // unknown tokens are ignored
    }

    void findsAndClosesWindows()
    {
        XServer x;
        if (!x.start())
            QSKIP("no Xvfb to run an X server on");
        // No window manager runs, so there is no _NET_CLIENT_LIST: this walks the tree.
        const Window modern = x.makeWindow("Orvex - ano", "Orvex – año");
        const Window legacy = x.makeWindow("A\xf1o nuevo");
        const Window likeAClass = x.makeWindow("OrvexProbe");
        // Where a window manager would listen for _NET_CLOSE_WINDOW.
        XSelectInput(x.d, DefaultRootWindow(x.d), SubstructureNotifyMask);
        XSync(x.d, False);

        auto pw = createProcessWindows();
        QVERIFY(pw->hasWindowList());
        // _NET_WM_NAME is the title when present, WM_NAME the fallback; exact, not a
        // prefix; a class by either of its names. One walk for both: a title anywhere
        // comes before a class.
        const QList<WindowHandle> found{
            pw->findWindowByTitle("Orvex – año"),      pw->findWindowByTitle("Orvex - ano"),
            pw->findWindowByTitle("Año nuevo"),        pw->findWindowByTitle("Orvex"),
            pw->findWindowByClass("orvexprobe"),       pw->findWindowByClass("OrvexProbe"),
            pw->findWindowByClass("orvexprob"),        pw->findWindowByTitleOrClass("orvexprobe"),
            pw->findWindowByTitleOrClass("OrvexProbe")};
        QCOMPARE(found, (QList<WindowHandle>{modern, 0, legacy, 0, modern, modern, 0, modern,
                                             likeAClass}));

        QVERIFY(pw->postClose(modern));
        QTRY_VERIFY(x.messageSeen(modern, x.atom("WM_PROTOCOLS"), x.atom("WM_DELETE_WINDOW")));
        x.seen = false;
        QVERIFY(pw->postClose(legacy));
        QTRY_VERIFY(x.messageSeen(legacy, x.atom("_NET_CLOSE_WINDOW")));

        // A handle that is no (longer a) window fails quietly instead of ending
        // the program through Xlib's default error handler.
        XDestroyWindow(x.d, modern);
        XSync(x.d, False);
        QVERIFY(!pw->postClose(modern));

        // With a window manager, its list of managed windows is what is searched.
        XChangeProperty(x.d, DefaultRootWindow(x.d), x.atom("_NET_CLIENT_LIST"), XA_WINDOW, 32,
                        PropModeReplace, reinterpret_cast<const unsigned char *>(&legacy), 1);
        XSync(x.d, False);
        QCOMPARE(pw->findWindowByTitleOrClass("OrvexProbe"), WindowHandle(0));
        QCOMPARE(pw->findWindowByTitle("Año nuevo"), WindowHandle(legacy));
    }

    // Where the display has several screens, the one DISPLAY names is searched.
    void searchesTheScreenNamed()
    {
        XServer x;
        if (!x.start({u"-screen"_s, u"0"_s, u"64x64x8"_s, u"-screen"_s, u"1"_s, u"64x64x8"_s}))
            QSKIP("no Xvfb to run an X server on");
        x.makeWindow("Primera");
        const Window second = x.makeWindow("Segunda", nullptr, 1);
        qputenv("DISPLAY", x.name + ".1");
        auto pw = createProcessWindows();
        QCOMPARE(QList({pw->findWindowByTitle("Segunda"), pw->findWindowByTitle("Primera")}),
                 QList<WindowHandle>({second, 0}));
    }
};

QTEST_GUILESS_MAIN(TestProcessWindows)
#include "tst_processwindows_linux.moc"
