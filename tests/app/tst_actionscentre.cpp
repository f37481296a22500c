// The maintenance actions, driven through the main form, against the real
// reference centre and the real archiver it serves.
#include "helpers/AgentHarness.h"
#include "helpers/CentreProcess.h"
#include "support/helpers/PeImageWriter.h"

#include <QComboBox>
#include <QDirIterator>
#include <QLabel>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

const QByteArray kIni = "[Centro]\r\nHost=127.0.0.1\r\n\r\n[Registracion]\r\nEmpresa=Gr\xFA"
                        "as del "
                        "Sur\r\n\r\n[DynIP]\r\n";

QByteArray module(std::uint16_t major)
{
    return test::pe::buildImage({.version = {major, 0, 0, 0}});
}

struct Agent
{
    explicit Agent(test::CentreProcess &centre)
        : h(kIni, test::AgentHarness::Network::Loopback, true)
    {
        h.commandLine = centre.host();
        QDir(h.folder.path()).mkdir(u"Instalables"_s);
    }
    bool load() { return h.form().Form_Load(); }
    QLabel &label(const char *name) { return *h.form().findChild<QLabel *>(QLatin1String(name)); }
    void act(const QString &action)
    {
        h.form().findChild<QComboBox *>(u"Accion_Combo"_s)->setCurrentText(action);
        h.form().cmdAccion_Click();
    }
    QString avance() { return label("LabelAvance").text(); }
    test::AgentHarness h;
};

// Every archive the centre keeps, wherever its company and computer put it.
QStringList storedArchives(const QString &data)
{
    QStringList found;
    QDirIterator it(data + u"/configurations"_s, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        found << it.next();
    return found;
}

} // namespace

class TestActionsCentre : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        const QString bin = qEnvironmentVariable("ORVEX_BINARY_DIR") + u"/src/app/"_s;
        if (!QFileInfo(bin + u"orvex-centre"_s).isExecutable() ||
            !QFileInfo(bin + u"oxzip"_s).isExecutable())
            QSKIP("orvex-centre and oxzip are not built beside the agent");
    }

    // Save: the archiver comes from the centre, the archive travels inside
    // the request and the centre keeps exactly those bytes. Restore: a
    // changed and a lost file come back byte for byte; the archiver, now in
    // "Instalables", is not fetched again.
    void saveAndRestoreRoundTrip()
    {
        test::CentreProcess centre;
        QVERIFY(centre.running());
        Agent a(centre);
        QVERIFY(a.load());
        const QByteArray movilar = "[Directorios]\r\nCasos=C:\\Sendaro\\Casos\r\n";
        const QByteArray datos("\x00\x01\xFF"
                               "datos con acentos: \xF1\r\n",
                               24);
        QVERIFY(test::writeBytes(a.h.path(u"Movilar.ini"_s), movilar));
        QVERIFY(test::writeBytes(a.h.path(u"Configuración de móviles.dbs"_s), datos));
        const QByteArray ini = test::readBytes(a.h.path(u"Orvex.ini"_s));

        a.act(u"Guardar configuración por Internet"_s);
        QCOMPARE(a.avance(), u"Backup correcto!."_s);
        QCOMPARE(centre.served(u"/pkzip25.exe"_s), 1);
        QCOMPARE(centre.served(u"/ox/uploadconfiguration.cgi"_s), 1);
        const QStringList stored = storedArchives(centre.data.path());
        QCOMPARE(stored.size(), 1);
        const QByteArray built = test::readBytes(a.h.path(u"Instalables/Configuracion.zip"_s));
        QVERIFY(built.startsWith("PK"));
        QCOMPARE(test::readBytes(stored[0]), built);

        QVERIFY(test::writeBytes(a.h.path(u"Orvex.ini"_s), ini + "[Cambiado]\r\nx=1\r\n"));
        QVERIFY(QFile::remove(a.h.path(u"Movilar.ini"_s)));
        a.act(u"Recuperar configuración por Internet"_s);
        QCOMPARE(a.avance(), u"Instalacion finalizada!."_s);
        QCOMPARE(test::readBytes(a.h.path(u"Orvex.ini"_s)), ini);
        QCOMPARE(test::readBytes(a.h.path(u"Movilar.ini"_s)), movilar);
        QCOMPARE(test::readBytes(a.h.path(u"Configuración de móviles.dbs"_s)), datos);
        QCOMPARE(centre.served(u"/ox/downloadconfiguration.cgi"_s), 1);
        QCOMPARE(centre.served(u"/pkzip25.exe"_s), 1);
    }

    // Three files: a newer one replaces the provider's, a current one is
    // answered "OK", one cut short by the centre leaves the old file whole.
    void anUpdateReplacesOnlyWhatArrivedWholeAndNewer()
    {
        test::CentreProcess centre({u"--truncate"_s, u"Cortado.exe"_s});
        QVERIFY(centre.running());
        const QString updates = centre.data.path() + u"/updates/Ox/"_s;
        QVERIFY(QDir().mkpath(updates));
        for (const auto &[name, major] :
             {std::pair{"Nuevo.exe", 3}, {"Igual.exe", 2}, {"Cortado.exe", 3}})
            QVERIFY(test::writeBytes(updates + QString::fromLatin1(name), module(major)));

        Agent a(centre);
        QVERIFY(a.load());
        QVERIFY(test::writeBytes(a.h.path(u"Nuevo.exe"_s), module(1)));
        QVERIFY(test::writeBytes(a.h.path(u"Igual.exe"_s), module(2)));
        QVERIFY(test::writeBytes(a.h.path(u"Cortado.exe"_s), module(1)));
        a.h.boxes.inputs = {QString()}; // blank: the general module "Ox"
        a.act(u"Actualizar sistema por Internet"_s);

        QCOMPARE(a.avance(), u"Actualización finalizada!"_s);
        QCOMPARE(test::readBytes(a.h.path(u"Nuevo.exe"_s)), module(3));
        QCOMPARE(test::readBytes(a.h.path(u"Igual.exe"_s)), module(2));
        QCOMPARE(test::readBytes(a.h.path(u"Cortado.exe"_s)), module(1));
        QCOMPARE(centre.served(u"/ox/updatelistfiles.cgi"_s), 1);
        QCOMPARE(centre.served(u"/ox/updategetfile.cgi"_s), 3);
        // Nothing half-written is left beside the program.
        QCOMPARE(QDir(a.h.folder.path()).entryList({u"*.orvex-new"_s}), QStringList());
        QCOMPARE(a.h.boxes.asked.size(), size_t(2)); // the two information boxes
    }

};

QTEST_MAIN(TestActionsCentre)
#include "tst_actionscentre.moc"
