#include "actions/ConfigurationBackup.h"
#include "actions/Downloads.h"
#include "actions/MaintenanceDispatcher.h"
#include "actions/OnlineUpdate.h"
#include "common/FakeClock.h"
#include "common/FakeFileTransfer.h"
#include "common/FakeServices.h"
#include "common/TestSupport.h"
#include "helpers/HomeServer.h"
#include "platform/ProcessWindows.h"
#include "platform/SocketX.h"
#include "support/Adds.h"
#include "support/ProgressCaption.h"
#include "support/helpers/LoopbackHttpServer.h"

#include <QSignalSpy>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

struct Captions final : ProgressCaption
{
    void setCaption(const QString &c) override { shown << c; }
    QStringList shown;
};

// A program folder with its "Instalables", the home server, and the form's
// controls as the actions see them.
struct Fixture
{
    Fixture()
    {
        QDir(folder.path()).mkdir(u"Instalables"_s);
        c.adds = &adds;
        c.boxes = &boxes;
        c.socket = &socket;
        c.transfer = &transfer;
        c.labelStatus = &status;
        c.programFolder = folder.path();
        c.homeHost = home.host();
        c.setLabelAvance = [this](const QString &t) { avance << t; };
        c.enableCmdAccion = [this](bool on) { cmdAccion << on; };
        c.timerScanEnabled = [this] { return timer; };
        c.setTimerScanEnabled = [this](bool on) { timer = on; };
        c.createShortcuts = [this] { ++shortcuts; };
    }
    QString path(const QString &name) const { return folder.filePath(name); }
    // An archiver stand-in in "Instalables" that notes its arguments.
    void writeTool(const QByteArray &body)
    {
        QVERIFY(test::writeBytes(
            path(u"Instalables/pkzip25.exe"_s),
            "#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$(dirname \"$0\")/args.txt\"\n" + body));
    }
    QStringList toolArgs() const
    {
        return QString::fromUtf8(test::readBytes(path(u"Instalables/args.txt"_s)))
            .split(u'\n', Qt::SkipEmptyParts);
    }

    QTemporaryDir folder;
    test::FakeClock clock;
    test::FakeMessageBoxes boxes;
    std::unique_ptr<platform::ProcessWindows> processes = platform::createProcessWindows();
    Adds adds{
        AddsServices{.processWindows = processes.get(), .messageBoxes = &boxes, .clock = &clock}};
    platform::SocketX socket;
    test::FakeFileTransfer transfer;
    test::HomeServer home;
    Captions status;
    QStringList avance;
    QList<bool> cmdAccion;
    bool timer = true;
    int shortcuts = 0;
    ActionContext c;
};

QByteArray reply(const QByteArray &body, const QByteArray &headers = {})
{
    return "HTTP/1.0 200 OK\r\n" + headers + "\r\n" + body;
}

} // namespace

class TestMaintenance : public QObject
{
    Q_OBJECT
private slots:
    void serverPathsInUrls_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("url");
        QTest::newRow("bare") << u"ox"_s << u"/ox/"_s;
        QTest::newRow("root") << u"/"_s << u"/"_s;
        QTest::newRow("blank") << u"mi carpeta"_s << u"/mi%20carpeta/"_s;
        QTest::newRow("nested, accent") << u"/a/ñ"_s << u"/a/%F1/"_s;
        QTest::newRow("dot escaped") << u"v1.2"_s << u"/v1%2E2/"_s;
    }
    void serverPathsInUrls()
    {
        QFETCH(QString, path);
        QTEST(Downloads::serverPathForUrl(path), "url");
    }

    void downloadGoesToItsTargetWhenWhole_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("whole");
        QTest::addColumn<QByteArray>("target"); // null: no file made
        QTest::newRow("a file") << QByteArray("PK-archivo") << true << QByteArray("PK-archivo");
        QTest::newRow("one byte: nothing") << QByteArray("x") << true << QByteArray();
        QTest::newRow("empty: nothing") << QByteArray("") << true << QByteArray();
        QTest::newRow("short of its length") << QByteArray("PK-arch") << false << QByteArray();
    }
    void downloadGoesToItsTargetWhenWhole()
    {
        QFETCH(QByteArray, body);
        QFETCH(bool, whole);
        QFETCH(QByteArray, target);
        Fixture f;
        f.transfer.body = body;
        f.transfer.whole = whole;
        Downloads d(f.c);
        const QString local = f.path(u"Instalables/temp.zip"_s);
        // An ended transfer is a success whatever it brought.
        QVERIFY(d.DownloadAndRun(u"downloadconfiguration.cgi?empresa=A&pcname=B"_s, {}, u"ox"_s,
                                 true, true, true, local));
        QCOMPARE(f.transfer.reads,
                 QStringList{u"downloadconfiguration.cgi?empresa=A&pcname=B|http://"_s +
                             f.home.host() +
                             u"/ox/downloadconfiguration.cgi?empresa=A&pcname=B|1|"_s + local});
        QCOMPARE(test::readBytes(local), target);
        QCOMPARE(QFile::exists(local), !target.isNull());
        QVERIFY(!QFile::exists(f.path(u"Instalables/.fake.part"_s)));
        QCOMPARE(f.cmdAccion, (QList<bool>{false, true}));
        QCOMPARE(f.status.shown.last(), u"%1/%1"_s.arg(body.size()));
    }

    // Fetched again over a file that is there: a new file that does not
    // arrive whole leaves the old one in place.
    void aTruncatedDownloadLeavesTheOldFile()
    {
        Fixture f;
        const QString local = f.path(u"Instalables/pkzip25.exe"_s);
        f.writeTool("exit 0\n");
        const QByteArray before = test::readBytes(local);
        f.transfer.body = "medio archivo";
        f.transfer.whole = false;
        Downloads d(f.c);
        QVERIFY(d.DownloadAndRun(u"pkzip25.exe"_s, {}, u"/"_s, true, true, true));
        QCOMPARE(test::readBytes(local), before);
    }

    void anExistingFileIsOnlyFetchedAgainWhenTheUserSaysSo_data()
    {
        QTest::addColumn<QList<platform::Answer>>("answers");
        QTest::addColumn<int>("transfers");
        QTest::newRow("yes") << QList<platform::Answer>{platform::Answer::Yes} << 1;
        QTest::newRow("no") << QList<platform::Answer>{platform::Answer::No} << 0;
    }
    void anExistingFileIsOnlyFetchedAgainWhenTheUserSaysSo()
    {
        QFETCH(QList<platform::Answer>, answers);
        QFETCH(int, transfers);
        Fixture f;
        f.boxes.answers.assign(answers.begin(), answers.end());
        QVERIFY(test::writeBytes(f.path(u"Instalables/lista.txt"_s), "vieja"));
        Downloads d(f.c);
        QVERIFY(d.DownloadAndRun(u"lista.txt"_s, {}, u"ox"_s, false, true, true));
        QCOMPARE(f.transfer.reads.size(), transfers);
        QCOMPARE(f.boxes.asked.size(), size_t(1));
        QCOMPARE(f.boxes.asked[0].text,
                 u"Ya existe el fichero en su equipo, desea volver a descargarlo?"_s);
        QCOMPARE(f.boxes.asked[0].defaultButton, platform::DefaultButton::Second);
        QCOMPARE(test::readBytes(f.path(u"Instalables/lista.txt"_s)),
                 transfers ? QByteArray("PK-archivo") : QByteArray("vieja"));
        QVERIFY(!QFile::exists(f.path(u"Instalables/lista.txt.orvex-old"_s)));
    }

    void aToolAlreadyThereRunsWithoutTraffic()
    {
        Fixture f;
        f.writeTool("exit 0\n");
        Downloads d(f.c);
        QVERIFY(d.DownloadAndRun(u"pkzip25.exe"_s, u"-extract -overwrite=all \"a b.zip\" x"_s,
                                 u"/"_s, false, false, false));
        QVERIFY(f.transfer.reads.isEmpty());
        QVERIFY(f.home.requests.isEmpty());
        QCOMPARE(f.toolArgs(),
                 (QStringList{u"-extract"_s, u"-overwrite=all"_s, u"a b.zip"_s, u"x"_s}));
    }

    void theRealTransferReportsProgressAndShortBodies_data()
    {
        QTest::addColumn<QByteArray>("served");
        QTest::addColumn<bool>("whole");
        QTest::addColumn<qint64>("size");
        const QByteArray body(200000, 'z');
        QTest::newRow("announced and whole")
            << "HTTP/1.0 200 OK\r\nContent-Length: 200000\r\n\r\n" + body << true << qint64(200000);
        QTest::newRow("no length, until close")
            << "HTTP/1.0 200 OK\r\n\r\n" + body << true << qint64(200000);
        QTest::newRow("short of its length")
            << "HTTP/1.0 200 OK\r\nContent-Length: 300000\r\n\r\n" + body << false
            << qint64(200000);
    }
    void theRealTransferReportsProgressAndShortBodies()
    {
        QFETCH(QByteArray, served);
        QFETCH(bool, whole);
        QFETCH(qint64, size);
        test::LoopbackHttpServer http(
            {test::send(served), test::ServerStep{test::ServerStep::Close, {}, 0}});
        QTemporaryDir folder;
        const auto transfer = platform::createFileTransfer();
        QSignalSpy progress(transfer.get(), &platform::FileTransfer::FileReadProgress);
        QSignalSpy complete(transfer.get(), &platform::FileTransfer::FileReadComplete);
        transfer->ReadFile(u"x.zip"_s, u"http://127.0.0.1:%1/f/x.zip"_s.arg(http.port()), 1,
                           folder.filePath(u"x.zip"_s));
        QVERIFY(complete.wait(10000));
        QCOMPARE(complete[0][0].toString(), u"x.zip"_s);
        const QString temp = complete[0][1].toString();
        QCOMPARE(QFileInfo(temp).absolutePath(), QFileInfo(folder.path()).absoluteFilePath());
        QCOMPARE(QFileInfo(temp).size(), size);
        QCOMPARE(complete[0][2].toBool(), whole);
        QVERIFY(!progress.isEmpty());
        QCOMPARE(progress.last()[1].toLongLong(), size);
        QVERIFY(http.requests[0].startsWith("GET /f/x.zip HTTP/1.1\r\n"));
    }

    void aRefusedTransferStillEnds()
    {
        QTcpServer gone;
        QVERIFY(gone.listen(QHostAddress::LocalHost));
        const quint16 port = gone.serverPort();
        gone.close();
        QTemporaryDir folder;
        const auto transfer = platform::createFileTransfer();
        QSignalSpy complete(transfer.get(), &platform::FileTransfer::FileReadComplete);
        transfer->ReadFile(u"x"_s, u"http://127.0.0.1:%1/x"_s.arg(port), 1,
                           folder.filePath(u"x"_s));
        QVERIFY(complete.wait(10000));
        QVERIFY(!complete[0][2].toBool());
        QCOMPARE(QFileInfo(complete[0][1].toString()).size(), 0);
    }

    void oneFileOfAnUpdate_data()
    {
        QTest::addColumn<QByteArray>("served"); // the whole reply
        QTest::addColumn<bool>("result");
        QTest::addColumn<QByteArray>("after"); // the local file afterwards
        const QByteArray old = "viejo";
        QTest::newRow("up to date") << reply("OK") << true << old;
        QTest::newRow("five characters are still nothing") << reply("12345") << true << old;
        QTest::newRow("six characters, no length")
            << reply("123456") << true << QByteArray("123456");
        const QByteArray thousand(1000, 'n');
        QTest::newRow("length as announced")
            << reply(thousand, "content-length: 1000\r\n") << true << thousand;
        QTest::newRow("fewer bytes than announced")
            << reply(thousand, "Content-Length: 1200\r\n") << false << old;
    }
    void oneFileOfAnUpdate()
    {
        QFETCH(QByteArray, served);
        QFETCH(bool, result);
        QFETCH(QByteArray, after);
        Fixture f;
        f.home.route("/ox/updategetfile.cgi", served);
        QDir(f.folder.path()).mkdir(u"bin"_s);
        const QString local = f.path(u"bin/Tool.exe"_s);
        QVERIFY(test::writeBytes(local, "viejo"));
        QFile::setPermissions(local, QFile::permissions(local) | QFile::ExeOwner);
        QCOMPARE(OnlineUpdate(f.c).UpdateIfIsPossible(u"Grúa Sur"_s, u"PC-1"_s, u"Ox"_s,
                                                      u"bin\\Tool.exe"_s),
                 result);
        QCOMPARE(test::readBytes(local), after);
        QVERIFY(QFileInfo(local).isExecutable()); // a replaced program still runs
        // Its own key order, every value escaped, the version of the file here.
        QCOMPARE(f.home.requests,
                 QByteArrayList{"GET /ox/updategetfile.cgi?empresa=Gr%FAa+Sur&group=Ox&pcname="
                                "PC%2D1&filename=bin%5CTool%2Eexe&version=0%2E0%2E0%2E0 HTTP/1.0"});
        QCOMPARE(f.cmdAccion, (QList<bool>{false, true}));
    }

    void namesOutsideTheProgramAreRefused_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("absolute") << u"/etc/passwd"_s;
        QTest::newRow("backslash root") << u"\\Windows\\x.dll"_s;
        QTest::newRow("drive") << u"C:\\Windows\\x.dll"_s;
        QTest::newRow("parent") << u"..\\Orvex.ini"_s;
        QTest::newRow("parent inside") << u"bin/../../x"_s;
    }
    void namesOutsideTheProgramAreRefused()
    {
        QFETCH(QString, name);
        Fixture f;
        f.home.route("/", reply("123456789"));
        QVERIFY(!OnlineUpdate(f.c).UpdateIfIsPossible(u"A"_s, u"B"_s, u"Ox"_s, name));
        QVERIFY(f.home.requests.isEmpty());
        QVERIFY(OnlineUpdate::isSafeRelativeName(u"bin\\a b\\Tool.exe"_s));
    }

    void theUpdateChecksTheListUpToItsFirstEmptyLine_data()
    {
        QTest::addColumn<QList<std::optional<QString>>>("typed");
        QTest::addColumn<QByteArray>("group");
        QTest::newRow("a key") << QList<std::optional<QString>>{u"Gestión"_s}
                               << QByteArray("Gesti%F3n");
        QTest::newRow("blank is the general module")
            << QList<std::optional<QString>>{QString()} << QByteArray("Ox");
        QTest::newRow("cancel too")
            << QList<std::optional<QString>>{std::nullopt} << QByteArray("Ox");
    }
    void theUpdateChecksTheListUpToItsFirstEmptyLine()
    {
        QFETCH(QList<std::optional<QString>>, typed);
        QFETCH(QByteArray, group);
        Fixture f;
        f.boxes.inputs.assign(typed.begin(), typed.end());
        f.home.route("/ox/updatelistfiles.cgi", reply("uno.exe\r\n\r\ndos.exe\r\n.END.\r\n"));
        f.home.route("/ox/updategetfile.cgi", reply("OK"));
        OnlineUpdate(f.c).run(u"Empresa"_s, u"PC"_s);
        QCOMPARE(f.home.requests.size(), 2); // the list, then only the first file
        QCOMPARE(f.home.requests[0],
                 "GET /ox/updatelistfiles.cgi?empresa=Empresa&pcname=PC&group=" + group +
                     " HTTP/1.0");
        QVERIFY(f.home.requests[1].contains("&filename=uno%2Eexe&"));
        QCOMPARE(f.avance,
                 (QStringList{u"..."_s, u"Chequeando uno.exe"_s, u"Actualización finalizada!"_s}));
        QCOMPARE(f.boxes.inputsAsked.size(), size_t(1));
        QCOMPARE(f.boxes.inputsAsked[0].prompt,
                 u"Ingrese el nombre clave del módulo que desea actualizar/instalar\r\n"
                 u"(en blanco para el módulo general):"_s);
        QCOMPARE(f.boxes.messages(),
                 (QStringList{
                     u"|Por favor cierre todos los módulos de Sendaro que tenga en uso incluyendo "
                     u"los que esten abiertos en otros ordenadores si tiene una versión para red, "
                     u"excepto este (Orvex).\r\nAl finalizar el proceso de actualización se le "
                     u"informará para que retome su operación normal."_s,
                     u"|El proceso de actualización/instalación ha finalizado.\r\nYa puede volver "
                     u"a abrir las aplicaciones de Sendaro que tenia en uso, gracias."_s}
                      .replaceInStrings(u"|"_s, QCoreApplication::applicationName() + u"|"_s)));
        QVERIFY(f.timer); // the update turns the scan back on itself
    }

    void saveSendsTheArchiveInsideTheQuery_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("taken") << reply("R:OK\r\n.END.\r\n") << u"Backup correcto!."_s;
        QTest::newRow("lower case is not R:OK") << reply("r:ok\r\n") << u"Backup fallido."_s;
        QTest::newRow("no answer") << QByteArray() << u"Backup fallido."_s;
    }
    void saveSendsTheArchiveInsideTheQuery()
    {
        QFETCH(QByteArray, answer);
        QFETCH(QString, outcome);
        Fixture f;
        if (!answer.isEmpty())
            f.home.route("/ox/uploadconfiguration.cgi", answer);
        QVERIFY(test::writeBytes(f.path(u"Instalables/Configuracion.zip"_s), "la de ayer"));
        // The archive the tool builds: bytes of every kind.
        f.writeTool("printf 'PK\\003\\004 A\\361o-.\\n' > \"$3\"\n");
        ConfigurationBackup(f.c, *std::make_unique<Downloads>(f.c)).save(u"Grúa Sur"_s, u"PC-1"_s);
        QCOMPARE(f.toolArgs(),
                 (QStringList{u"-add"_s, u"-directories=relative"_s,
                              QDir::toNativeSeparators(f.path(u"Instalables/Configuracion.zip"_s)),
                              QDir::toNativeSeparators(f.path(u"*.ini"_s)),
                              QDir::toNativeSeparators(f.path(u"*.dbs"_s))}));
        QCOMPARE(f.home.requests.size(), 1);
        QCOMPARE(f.home.requests[0], "GET /ox/uploadconfiguration.cgi?empresa=Gr%FAa+Sur&pcname="
                                     "PC%2D1&filename=Configuracion.zip&content=PK%03%04+A%F1o%2D"
                                     "%2E%0A HTTP/1.0");
        QCOMPARE(f.avance, (QStringList{u"..."_s, outcome}));
        const bool failed = outcome == u"Backup fallido."_s;
        QCOMPARE(f.boxes.messages().size(), failed ? 1 : 0);
        if (failed) {
            QCOMPARE(f.boxes.asked[0].icon, platform::BoxIcon::Critical);
            QCOMPARE(f.boxes.asked[0].text, u"No pudo subirse el backup al server en Internet. "
                                            u"Reintente la operación."_s);
        }
    }

    void restoreFetchesAndUnpacksWhateverHappens()
    {
        Fixture f;
        f.writeTool("exit 0\n");
        ConfigurationBackup(f.c, *std::make_unique<Downloads>(f.c)).restore(u"A B"_s, u"PC"_s);
        QCOMPARE(f.transfer.reads.size(), 1);
        QVERIFY(f.transfer.reads[0].startsWith(u"downloadconfiguration.cgi?empresa=A+B&pcname=PC|"_s
                                               u"http://"_s +
                                               f.home.host() + u"/ox/"_s));
        QCOMPARE(test::readBytes(f.path(u"Instalables/temp.zip"_s)), QByteArray("PK-archivo"));
        QCOMPARE(f.toolArgs(),
                 (QStringList{u"-extract"_s, u"-overwrite=all"_s,
                              QDir::toNativeSeparators(f.path(u"Instalables/temp.zip"_s)),
                              QDir::toNativeSeparators(f.folder.path())}));
        QCOMPARE(f.avance, (QStringList{u"..."_s, u"Instalacion finalizada!."_s}));
        // A second restore while temp.zip is there fetches nothing new.
        ConfigurationBackup(f.c, *std::make_unique<Downloads>(f.c)).restore(u"A B"_s, u"PC"_s);
        QCOMPARE(f.transfer.reads.size(), 1);
    }

    void theDispatcherComparesExactTexts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("timerBefore");
        QTest::addColumn<int>("shortcuts");
        QTest::addColumn<int>("requests");
        const QString line(43, u'-');
        QTest::newRow("separator, timer on") << line << true << 0 << 0;
        QTest::newRow("separator, timer off") << line << false << 0 << 0;
        QTest::newRow("nothing chosen") << QString() << true << 0 << 0;
        QTest::newRow("save history")
            << u"Guardar histórico de casos por Internet"_s << true << 0 << 0;
        QTest::newRow("restore history")
            << u"Recuperar histórico de casos por Internet"_s << false << 0 << 0;
        QTest::newRow("typed shortcut action") << u"Crear accesos directos"_s << true << 1 << 0;
        QTest::newRow("other letter case") << u"crear accesos directos"_s << true << 0 << 0;
        QTest::newRow("save") << u"Guardar configuración por Internet"_s << true << 0 << 1;
    }
    void theDispatcherComparesExactTexts()
    {
        QFETCH(QString, text);
        QFETCH(bool, timerBefore);
        QFETCH(int, shortcuts);
        QFETCH(int, requests);
        Fixture f;
        f.home.route("/", reply("R:OK"));
        f.writeTool("exit 0\n");
        QVERIFY(test::writeBytes(f.path(u"Orvex.ini"_s), "[Registracion]\r\nEmpresa=Gr\xFA"
                                                         "a Sur\r\n"));
        QVERIFY(test::writeBytes(f.path(u"otro.ini"_s), "[A]\r\nk=v\r\n"));
        f.adds.INI_SetFileName(f.path(u"otro.ini"_s));
        f.timer = timerBefore;
        bool timerDuring = true;
        f.c.createShortcuts = [&] {
            ++f.shortcuts;
            timerDuring = f.timer;
        };
        Downloads downloads(f.c);
        MaintenanceDispatcher(f.c, downloads).dispatch(text);
        QCOMPARE(f.timer, timerBefore);
        QCOMPARE(f.shortcuts, shortcuts);
        QCOMPARE(f.home.requests.size(), requests);
        if (shortcuts)
            QVERIFY(!timerDuring);
        if (requests)
            QVERIFY(f.home.requests[0].contains("?empresa=Gr%FAa+Sur&pcname="));
        else
            QVERIFY(f.avance.isEmpty());
        // The INI file in use before is the one in use after.
        QCOMPARE(f.adds.INI_GetString(u"A"_s, u"k"_s, u"-"_s), u"v"_s);
    }
};

QTEST_MAIN(TestMaintenance)
#include "tst_maintenance.moc"
