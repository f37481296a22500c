#include "common/TestSupport.h"
#include "platform/ProcessWindows.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <signal.h>

using namespace orvex::platform;
using namespace Qt::StringLiterals;

namespace {

// Reads the events `d` has pending: true when one is a client message of
// `type` to `w` whose first datum is `first` (any with 0).
bool clientMessageSeen(Display *d, Window w, Atom type, Atom first = 0)
{
    bool seen = false;
    while (XPending(d)) {
        XEvent e;
        XNextEvent(d, &e);
        seen = seen ||
               (e.type == ClientMessage && e.xclient.window == w &&
                e.xclient.message_type == type && (!first || Atom(e.xclient.data.l[0]) == first));
    }
    return seen;
}

} // namespace

// A private X server (-displayfd lets it pick a free display and say which),
// and the test's own Xlib connection to it, which makes the windows.
class XServer
{
public:
    ~XServer() { stop(); }

    bool start()
    {
        m_process.start(u"Xvfb"_s, {u"-displayfd"_s, u"1"_s, u"-nolisten"_s, u"tcp"_s});
        QByteArray number;
        while (!number.endsWith('\n') && m_process.waitForReadyRead(15000))
            number += m_process.readAllStandardOutput();
        const QByteArray name = ':' + number.trimmed();
        if (number.endsWith('\n') && (m_display = XOpenDisplay(name.constData())))
            qputenv("DISPLAY", name);
        return m_display != nullptr;
    }

    // The test's connection goes first: Xlib ends a program whose server vanishes.
    void stop()
    {
        if (m_display)
            XCloseDisplay(std::exchange(m_display, nullptr));
        m_process.kill();
        m_process.waitForFinished(5000);
    }

    Display *display() const { return m_display; }

    // A window titled `latin1` in WM_NAME; a modern one also has a UTF-8
    // _NET_WM_NAME, a WM_CLASS and takes WM_DELETE_WINDOW.
    Window makeWindow(const char *latin1, const char *utf8 = nullptr)
    {
        Display *d = m_display;
        const Window w = XCreateSimpleWindow(d, DefaultRootWindow(d), 0, 0, 50, 50, 0, 0, 0);
        XStoreName(d, w, latin1);
        if (utf8) {
            XChangeProperty(d, w, XInternAtom(d, "_NET_WM_NAME", False),
                            XInternAtom(d, "UTF8_STRING", False), 8, PropModeReplace,
                            reinterpret_cast<const unsigned char *>(utf8), int(qstrlen(utf8)));
            XClassHint hint{const_cast<char *>("orvexprobe"), const_cast<char *>("OrvexProbe")};
            XSetClassHint(d, w, &hint);
            Atom del = XInternAtom(d, "WM_DELETE_WINDOW", False);
            XSetWMProtocols(d, w, &del, 1);
        }
        XMapWindow(d, w);
        XSync(d, False);
        return w;
    }

private:
    QProcess m_process;
    Display *m_display = nullptr;
};

class TestProcessWindows : public QObject
{
    Q_OBJECT

    XServer m_x;

private slots:
    void splitsCommandLines_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("parts"); // the program, then each argument, after a "|"
        QTest::newRow("quoted program keeps its backslashes")
            << uR"("C:\Program Files\Orvex\oxzip.exe" -add "copia de x.zip" *.ini)"_s
            << uR"(C:\Program Files\Orvex\oxzip.exe|-add|copia de x.zip|*.ini)"_s;
        QTest::newRow("blanks and tabs around") << u"  \ttool   a\t b  "_s << u"tool|a|b"_s;
        QTest::newRow("empty quoted argument") << uR"(p "" x)"_s << u"p||x"_s;
        QTest::newRow("backslashes before quotes")
            << uR"(p a\\\"b "c\\" d\e)"_s << uR"(p|a\"b|c\|d\e)"_s;
        QTest::newRow("doubled quote inside quotes")
            << uR"(p "say ""hola""")"_s << uR"(p|say "hola")"_s;
        QTest::newRow("quotes join a word") << uR"(p a"b c"d)"_s << u"p|ab cd"_s;
        // (No raw string here: moc loses its way in one with an odd count of quotes.)
        QTest::newRow("unterminated quoted program") << u"\"C:\\x y"_s << u"C:\\x y"_s;
        QTest::newRow("empty") << QString() << QString();
    }
    void splitsCommandLines()
    {
        QFETCH(QString, line);
        const CommandLineParts split = splitCommandLine(line.toStdString());
        QStringList parts{QString::fromStdString(split.program)};
        for (const std::string &a : split.arguments)
            parts << QString::fromStdString(a);
        QTEST(parts.join(u'|'), "parts");
    }

    // A quoted program gets its arguments and working folder; one that ends,
    // is killed or is released while it runs is reaped, never left a zombie.
    void startsReapsAndRefusesProcesses()
    {
        QTemporaryDir tmp;
        const QString bin = tmp.filePath(u"con espacio"_s), work = tmp.filePath(u"trabajo"_s);
        const QString script = bin + u"/anotar args.sh"_s;
        QVERIFY(QDir().mkpath(bin) && QDir().mkpath(work));
        QVERIFY(orvex::test::writeBytes(
            script,
            "#!/bin/sh\npwd > out.txt\nfor a in \"$@\"; do echo \"[$a]\" >> out.txt; done\n"));
        QVERIFY(QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner));
        auto pw = createProcessWindows();
        const ProcessToken p =
            pw->startProcess(QString(u'"' + script + u"\" uno \"dos tres\" año"_s).toStdString(),
                             work.toStdString());
        QVERIFY(p != 0);
        QTRY_VERIFY(!pw->isRunning(p));
        pw->release(p);
        QCOMPARE(QString::fromUtf8(orvex::test::readBytes(work + u"/out.txt"_s)),
                 QDir(work).canonicalPath() + u"\n[uno]\n[dos tres]\n[año]\n"_s);

        // The child handles signals by default, whatever this process ignores.
        ::signal(SIGTERM, SIG_IGN);
        const ProcessToken killed = pw->startProcess("sleep 600");
        ::signal(SIGTERM, SIG_DFL);
        QVERIFY(killed != 0 && pw->isRunning(killed));
        ::kill(static_cast<pid_t>(killed), SIGTERM);
        QTRY_VERIFY(!pw->isRunning(killed));
        pw->release(killed);

        const ProcessToken detached = pw->startProcess("sleep 600", {}, StartMode::NormalWindow);
        pw->release(detached);
        QVERIFY(!pw->isRunning(detached)); // forgotten, whatever it does
        const QString proc = u"/proc/"_s + QString::number(detached);
        QVERIFY(detached != 0 && QFileInfo::exists(proc));
        ::kill(static_cast<pid_t>(detached), SIGKILL);
        QTRY_VERIFY((pw->isRunning(0), !QFileInfo::exists(proc)));

        for (const char *refused : {"", "   ", "orvex-no-such-program-xyz --x"})
            QCOMPARE(pw->startProcess(refused), ProcessToken(0));
        QCOMPARE(pw->startProcess("true", "/orvex/no/such/folder"), ProcessToken(0));
        QVERIFY(!pw->isRunning(424242));
        pw->release(424242); // unknown tokens are ignored
    }

    void findsAndClosesWindows()
    {
        if (!m_x.start())
            QSKIP("no Xvfb to run an X server on");
        Display *d = m_x.display();
        // No window manager runs, so there is no _NET_CLIENT_LIST: this walks
        // the window tree.
        const Window modern = m_x.makeWindow("Orvex - ano", "Orvex – año");
        const Window legacy = m_x.makeWindow("A\xf1o nuevo");
        const Window titledLikeAClass = m_x.makeWindow("OrvexProbe");
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
        // One walk for both: a title anywhere comes before a class.
        QCOMPARE(pw->findWindowByTitleOrClass("orvexprobe"), WindowHandle(modern));
        QCOMPARE(pw->findWindowByTitleOrClass("OrvexProbe"), WindowHandle(titledLikeAClass));
        QCOMPARE(pw->findWindowByTitleOrClass("Nadie"), WindowHandle(0));

        // Reading an event consumes it, and QTRY_VERIFY asks once more at the end.
        bool seen = false;
        QVERIFY(pw->postClose(modern));
        QTRY_VERIFY((seen = seen || clientMessageSeen(d, modern, XInternAtom(d, "WM_PROTOCOLS", 0),
                                                      XInternAtom(d, "WM_DELETE_WINDOW", 0))));
        seen = false;
        QVERIFY(pw->postClose(legacy));
        QTRY_VERIFY(
            (seen = seen || clientMessageSeen(d, legacy, XInternAtom(d, "_NET_CLOSE_WINDOW", 0))));

        // A handle that is no (longer a) window fails quietly instead of ending
        // the program through Xlib's default error handler.
        XDestroyWindow(d, modern);
        XSync(d, False);
        QVERIFY(!pw->postClose(modern));
        QCOMPARE(pw->findWindowByTitle("Orvex – año"), WindowHandle(0));

        // With a window manager, its list of managed windows is what is searched.
        XChangeProperty(d, DefaultRootWindow(d), XInternAtom(d, "_NET_CLIENT_LIST", False),
                        XA_WINDOW, 32, PropModeReplace,
                        reinterpret_cast<const unsigned char *>(&legacy), 1);
        XSync(d, False);
        QCOMPARE(pw->findWindowByTitleOrClass("OrvexProbe"), WindowHandle(0));
        QCOMPARE(pw->findWindowByTitle("Año nuevo"), WindowHandle(legacy));
    }
};

QTEST_GUILESS_MAIN(TestProcessWindows)
#include "tst_processwindows_linux.moc"
