#include "actions/ConfigurationBackup.h"
#include "actions/Downloads.h"
#include "actions/MaintenanceDispatcher.h"
#include "actions/OnlineUpdate.h"
#include "common/CaptionLog.h"
#include "common/FakeClock.h"
#include "common/FakeFileTransfer.h"
#include "common/FakeServices.h"
#include "common/LoopbackHttpServer.h"
#include "common/MessageLog.h"
#include "common/TestSupport.h"
#include "platform/ProcessWindows.h"
#include "platform/SocketX.h"
#include "support/Adds.h"

#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;
using test::Answer;

namespace {

// A program folder with its "Instalables", the home server, and the form's
// controls as the actions see them.
struct Fixture
{
    Fixture()
    {
        QDir(folder.path()).mkdir(u"Instalables"_s);
        // Replies above 512 bytes go to a spool, as gigabytes would.
        adds.setReplySpool(path(u"Instalables"_s), 512);
        // An archiver stand-in; the archive it writes holds bytes of every kind.
        test::writeBytes(path(u"Instalables/pkzip25.exe"_s),
                         "#!/bin/sh\nprintf 'PK\\003\\004 A\\361o-.\\n' > \"$3\"\n");
    }
    QString path(const QString &name) const { return folder.filePath(name); }
    QStringList instalables() const
    {
        return QDir(path(u"Instalables"_s)).entryList(QDir::Files | QDir::Hidden);
    }

    QTemporaryDir folder;
    test::FakeClock clock;
    test::FakeMessageBoxes boxes;
    std::unique_ptr<platform::ProcessWindows> processes = platform::createProcessWindows();
    Adds adds{
        AddsServices{.processWindows = processes.get(), .messageBoxes = &boxes, .clock = &clock}};
    platform::SocketX socket;
    test::FakeFileTransfer transfer;
    test::LoopbackHttpServer home;
    test::CaptionLog status;
    QStringList avance;
    QList<bool> cmdAccion;
    bool timer = true;
    ActionContext c{.adds = &adds,
                    .boxes = &boxes,
                    .socket = &socket,
                    .transfer = &transfer,
                    .labelStatus = &status,
                    .programFolder = folder.path(),
                    .homeHost = home.host(),
                    .setLabelAvance = [this](const QString &t) { avance << t; },
                    .enableCmdAccion = [this](bool on) { cmdAccion << on; },
                    .timerScanEnabled = [this] { return timer; },
                    .setTimerScanEnabled = [this](bool on) { timer = on; },
                    .createShortcuts = {}};
    Downloads downloads{c};
};

} // namespace

class TestMaintenance : public QObject
{
    Q_OBJECT
private slots:
    // A fetch replaces the file only with a whole one of two bytes or more;
    // a file already there is asked about first unless told to overwrite,
    // and comes back when its replacement does not arrive whole.
    void aDownloadReplacesOnlyWithAWholeFile()
    {
        const QByteArray none, old = "vieja", zip = "PK-archivo";
        // Before (null: no file), overwrite, answer yes, body, whole, after (null: no file).
        for (const auto &[before, overwrite, yes, body, whole, after] :
             {std::tuple{none, true, false, zip, true, zip},
              {none, true, false, "x"_ba, true, none}, // one byte: nothing
              {none, true, false, "OK"_ba, true, "OK"_ba},
              {none, true, false, zip, false, none}, // short of its length
              {old, false, true, zip, true, zip},
              {old, false, true, zip, false, old},
              {old, false, false, zip, true, old},
              {old, true, false, zip, true, zip}}) { // overwrite: not asked
            Fixture f;
            f.boxes.answers = {yes ? platform::Answer::Yes : platform::Answer::No};
            f.transfer.body = body;
            f.transfer.whole = whole;
            const QString local = f.path(u"Instalables/lista.txt"_s);
            QVERIFY(before.isNull() || test::writeBytes(local, before));
            // An ended transfer is a success whatever it brought.
            QVERIFY(f.downloads.DownloadAndRun(u"lista.txt"_s, {}, u"ox"_s, overwrite, true, true));
            const bool asked = !before.isNull() && !overwrite;
            QCOMPARE(f.boxes.asked.size(), size_t(asked));
            QVERIFY(!asked || f.boxes.asked[0].defaultButton == platform::DefaultButton::Second);
            const bool fetched = !asked || yes;
            const QString url = u"http://"_s + f.home.host() + u"/ox/lista.txt|1|"_s + local;
            QCOMPARE(f.transfer.reads,
                     fetched ? QStringList{u"lista.txt|"_s + url} : QStringList());
            QVERIFY(!fetched || f.status.captions.last() == u"%1/%1"_s.arg(body.size()));
            QCOMPARE(test::readBytes(local), after);
            // Nothing else is left: no part file, nothing set aside.
            QCOMPARE(f.instalables().join(u' '),
                     after.isNull() ? u"pkzip25.exe"_s : u"lista.txt pkzip25.exe"_s);
            QCOMPARE(f.cmdAccion, (QList<bool>{false, true}));
        }
        QCOMPARE(Downloads::serverPathForUrl(u"/a/ñ mi v1.2"_s), u"/a/%F1%20mi%20v1%2E2/"_s);
    }

    // The module key asked for (blank or cancelled: the general one), the
    // scan off meanwhile, and the list read up to its first empty line. Of
    // the file listed, up to five bytes of body mean "nothing to do"; replies
    // above 512 bytes arrive through a spool, the others in memory. Names
    // that would reach outside the program folder are not even asked for.
    void anUpdateFetchesTheListedFile()
    {
        const QString tool = u"bin\\Tool.exe"_s;
        const QByteArray ok = "HTTP/1.0 200 OK\r\n", old = "viejo", thousand(1000, 'n');
        const std::optional<QString> cancelled;
        // The key typed, the name listed first, the reply to it, the local file afterwards.
        QList<std::tuple<std::optional<QString>, QString, QByteArray, QByteArray>> rows{
            {u"Gestión"_s, tool, ok + "\r\n12345", old}, // five bytes: nothing to do
            {QString(), tool, ok + "\r\n123456", "123456"_ba},
            {cancelled, tool, ok + "content-length: 1000\r\n\r\n" + thousand, thousand},
            {cancelled, tool, ok + "Content-Length: 1200\r\n\r\n" + thousand, old},
            {cancelled, tool, ok + thousand, old}}; // no empty line
        for (const QString &outside : {u"\\Windows\\x.dll"_s, u"C:x.dll"_s, u"bin/../../x"_s,
                                       u"bin\\Tool.exe\0.txt"_s, u"a\x7F.txt"_s})
            rows.append({cancelled, outside, ok + "\r\n123456", old});
        for (const auto &[typed, name, served, after] : rows) {
            Fixture f;
            f.boxes.inputs = {typed};
            f.home.route("/ox/updatelistfiles.cgi",
                         Answer::ok(name.toLatin1() + "\r\n\r\ndos.exe\r\n.END.\r\n"));
            f.home.route("/ox/updategetfile.cgi", Answer::reply(served));
            const QString local = f.path(u"bin/Tool.exe"_s);
            QVERIFY(QDir(f.folder.path()).mkdir(u"bin"_s) && test::writeBytes(local, "viejo") &&
                    QFile::setPermissions(local,
                                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
            QList<bool> timerDuring;
            f.home.onRequest = [&](const QByteArray &) { timerDuring << f.timer; };
            OnlineUpdate(f.c).run(u"Grúa Sur"_s, u"PC-1"_s);
            QCOMPARE(test::readBytes(local), after);
            QVERIFY(QFileInfo(local).isExecutable()); // a replaced program still runs
            // Their own key orders, every value escaped, the version of the file here.
            const QByteArray group = typed.value_or(QString()).isEmpty() ? "Ox" : "Gesti%F3n";
            QByteArrayList lines{
                "GET /ox/updatelistfiles.cgi?empresa=Gr%FAa+Sur&pcname=PC%2D1&group=" + group +
                " HTTP/1.0"};
            if (name == tool)
                lines << "GET /ox/updategetfile.cgi?empresa=Gr%FAa+Sur&group=" + group +
                             "&pcname=PC%2D1&filename=bin%5CTool%2Eexe&version=0%2E0%2E0%2E0 "
                             "HTTP/1.0";
            QCOMPARE(f.home.requestLines(), lines);
            QCOMPARE(timerDuring, QList<bool>(lines.size(), false));
            QVERIFY(f.timer); // the update turns the scan back on itself
            QCOMPARE(f.avance, (QStringList{u"..."_s, u"Chequeando "_s + name,
                                            u"Actualización finalizada!"_s}));
            // Asked once; told before and after.
            QCOMPARE(f.boxes.inputsAsked.size() + f.boxes.messages().size(), size_t(3));
            QCOMPARE(f.cmdAccion, (QList<bool>{false, true}));
            QCOMPARE(f.instalables() + QDir(f.path(u"bin"_s)).entryList(QDir::Files | QDir::Hidden),
                     (QStringList{u"pkzip25.exe"_s, u"Tool.exe"_s}));
        }
    }

    // A listed file that stops coming is waited for a minute, then left.
    void anUpdateWaitsAMinuteForAFile()
    {
        Fixture f;
        f.boxes.inputs = {QString()};
        f.home.route("/ox/updatelistfiles.cgi", Answer::ok("a.exe\r\n\r\n"));
        f.home.route("/ox/updategetfile.cgi", Answer().send("HTTP/1.0 200 OK\r\n"));
        QTimer time;
        connect(&time, &QTimer::timeout, [&] { f.clock.advanceSeconds(5); });
        time.start(1);
        test::MessageLog messages("orvex.http");
        OnlineUpdate(f.c).run(u"Grúa Sur"_s, u"PC-1"_s);
        QVERIFY(messages.contains(u"no end of reply in 60 s"_s));
    }

    // The archive travels in the query of a GET; a server that refuses that
    // request line gets the same fields once more as a POST's body.
    void saveSendsTheArchive()
    {
        const QByteArray ok = "HTTP/1.0 200 OK\r\n\r\nR:OK\r\n.END.\r\n", none;
        const auto refused = [](int n) { return u"HTTP/1.0 %1 No\r\n\r\n"_s.arg(n).toLatin1(); };
        // The GET's answer (empty: none at all), the POST's (null: no POST may come), taken.
        QList<std::tuple<QByteArray, QByteArray, bool>> rows{
            {ok, none, true},
            {"HTTP/1.0 200 OK\r\n\r\nr:ok\r\n"_ba, none, false}, // letter case counts
            {""_ba, none, false},
            {refused(500), none, false}, // a server error: no POST
            {refused(414), refused(413), false}};
        for (const int status : {400, 413, 414, 431})
            rows.append({refused(status), ok, true});
        for (const auto &[getAnswer, postAnswer, taken] : rows) {
            Fixture f;
            f.home.route("GET /ox/uploadconfiguration.cgi",
                         getAnswer.isEmpty() ? Answer().close() : Answer::reply(getAnswer));
            f.home.route("POST /ox/uploadconfiguration.cgi", Answer::reply(postAnswer));
            QVERIFY(test::writeBytes(f.path(u"Instalables/Configuracion.zip"_s), "la de ayer"));
            ConfigurationBackup(f.c, f.downloads).save(u"Grúa Sur"_s, u"PC-1"_s);
            const QByteArray fields = "empresa=Gr%FAa+Sur&pcname=PC%2D1&filename=Configuracion.zip"
                                      "&content=PK%03%04+A%F1o%2D%2E%0A";
            // The POST's bytes are the stock-server run's to check.
            QByteArrayList lines{"GET /ox/uploadconfiguration.cgi?" + fields + " HTTP/1.0"};
            if (!postAnswer.isNull())
                lines << "POST /ox/uploadconfiguration.cgi HTTP/1.0";
            QCOMPARE(f.home.requestLines(), lines);
            QCOMPARE(f.avance.last(), taken ? u"Backup correcto!."_s : u"Backup fallido."_s);
            QCOMPARE(f.boxes.asked.size(), size_t(taken ? 0 : 1)); // a failure is told
        }
    }

    // Only the exact texts run an action, with the scan off meanwhile and as
    // it was afterwards. Save is the row that reaches the server: with the
    // company from Orvex.ini, the INI file in use before in use again after.
    void theDispatcherComparesExactTexts()
    {
        // The text, the timer before, shortcuts made, the last caption (null: untouched).
        for (const auto &[text, timerBefore, shortcuts, caption] :
             {std::tuple{QString(43, u'-'), false, 0, QString()},
              {u"Recuperar configuración por Internet"_s, true, 0, u"Instalacion finalizada!."_s},
              {u"Guardar histórico de casos por Internet"_s, true, 0, QString()},
              {u"Crear accesos directos"_s, true, 1, QString()},
              {u"crear accesos directos"_s, true, 0, QString()},
              {u"Guardar configuración por Internet"_s, false, 0, u"Backup correcto!."_s}}) {
            Fixture f;
            f.home.route("/", Answer::ok("R:OK"));
            QVERIFY(test::writeBytes(f.path(u"Orvex.ini"_s), "[Registracion]\r\nEmpresa=Gr\xFA"
                                                             "a Sur\r\n"));
            QVERIFY(test::writeBytes(f.path(u"otro.ini"_s), "[A]\r\nk=v\r\n"));
            f.adds.INI_SetFileName(f.path(u"otro.ini"_s));
            f.timer = timerBefore;
            QList<bool> timerDuring;
            f.c.createShortcuts = [&] { timerDuring << f.timer; };
            MaintenanceDispatcher(f.c, f.downloads).dispatch(text);
            QCOMPARE(f.timer, timerBefore);
            QCOMPARE(timerDuring, QList<bool>(shortcuts, false));
            QCOMPARE(f.avance.value(f.avance.size() - 1), caption);
            QVERIFY(f.home.requests.isEmpty() ||
                    f.home.requests[0].contains("?empresa=Gr%FAa+Sur&pcname="));
            QCOMPARE(f.adds.INI_GetString(u"A"_s, u"k"_s, u"-"_s), u"v"_s);
        }
    }

    // "Realizar" pressed while a keep-alive holds the socket: the save waits
    // for it, then runs, and succeeds; the scan timer ends as it was.
    void anActionPressedDuringAKeepAliveFollowsIt()
    {
        Fixture f;
        f.home.route("/DynIP",
                     Answer().trickle("HTTP/1.0 200 OK\r\n\r\nR:OK Lumaris\r\n.END.\r\n", 5, 20));
        f.home.route("/ox/uploadconfiguration.cgi", Answer::ok("R:OK\r\n.END.\r\n"));
        MaintenanceDispatcher dispatcher(f.c, f.downloads);
        f.home.onRequest = [&](const QByteArray &request) {
            if (!request.startsWith("GET /DynIP"))
                return;
            dispatcher.dispatch(u"Guardar configuración por Internet"_s);
            dispatcher.dispatch(QString(43, u'-')); // a second press waits behind it
        };
        const AnsiText keepAlive = f.adds.NET_HTTPget(
            f.socket, u"http://"_s + f.home.host() + u"/DynIP?CMD=KEEPALIVE&&DOMAINNAME=x"_s);
        QVERIFY(keepAlive.contains(u"R:OK Lumaris"_s));
        QVERIFY(!f.timer);                           // off from the press on
        QCOMPARE(f.cmdAccion, (QList<bool>{false})); // and the button too
        QTRY_COMPARE(f.avance, (QStringList{u"..."_s, u"Backup correcto!."_s}));
        QVERIFY(f.timer);
    }
};

QTEST_MAIN(TestMaintenance)
#include "tst_maintenance.moc"
