#include "actions/ShortcutAction.h"
#include "actions/SpecialFolders.h"
#include "common/FakeServices.h"
#include "common/TestSupport.h"
#include "platform/DesktopEntry.h"
#include "platform/ShellFolders.h"

#include <QProcess>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

using Entry = QMap<QString, QString>;

// A desktop entry's keys, as a reader of the format sees them.
Entry readEntry(const QString &path)
{
    Entry keys;
    const QStringList lines = QString::fromUtf8(test::readBytes(path)).split(u'\n');
    if (lines.value(0) != u"[Desktop Entry]"_s)
        return keys;
    for (const QString &line : lines.mid(1)) {
        const qsizetype eq = line.indexOf(u'=');
        if (eq > 0)
            keys.insert(line.left(eq), line.mid(eq + 1));
    }
    return keys;
}

// An Exec value back to the program and its arguments.
QStringList execArguments(const QString &value)
{
    QStringList args;
    for (const std::string &a : platform::desktopExecArguments(value.toStdString()))
        args << QString::fromStdString(a);
    return args;
}

QStringList entriesIn(const QString &folder)
{
    return QDir(folder).entryList({u"*.desktop"_s}, QDir::Files, QDir::Name);
}

// The user's and the system's places, all inside one temporary folder.
struct Desktop
{
    Desktop()
    {
        const QString r = root.path();
        qputenv("HOME", QFile::encodeName(r + u"/home"_s));
        qputenv("XDG_DATA_HOME", QFile::encodeName(r + u"/data"_s));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(r + u"/config"_s));
        qputenv("XDG_CACHE_HOME", QFile::encodeName(r + u"/cache"_s));
        qputenv("XDG_DATA_DIRS", QFile::encodeName(r + u"/sysdata:/usr/share"_s));
        qputenv("XDG_CONFIG_DIRS", QFile::encodeName(r + u"/sysconfig"_s));
        QDir().mkpath(r + u"/config"_s);
        test::writeBytes(r + u"/config/user-dirs.dirs"_s,
                         "XDG_DESKTOP_DIR=\"$HOME/Escritorio\"\n"
                         "XDG_DOCUMENTS_DIR=\"$HOME/Documentos\"\n"
                         "XDG_TEMPLATES_DIR=\"$HOME/Plantillas\"\n");
    }
    QString path(const QString &p) const { return root.path() + u'/' + p; }
    QTemporaryDir root;
};

// The program folder, its name chosen to need every kind of quoting.
struct Installation
{
    explicit Installation(const QStringList &files)
    {
        QDir().mkpath(folder());
        for (const QString &f : files) {
            test::writeBytes(folder() + u'/' + f, "#!/bin/sh\n");
            if (!f.endsWith(u".hlp"_s))
                QFile::setPermissions(folder() + u'/' + f, QFile::permissions(folder() + u'/' + f) |
                                                               QFileDevice::ExeOwner);
        }
        QDir().mkpath(folder() + u"/resources"_s);
        test::writeBytes(folder() + u"/resources/orvex.png"_s, "png");
        c.boxes = &boxes;
        c.programFolder = folder();
        c.setLabelAvance = [this](const QString &t) { avance << t; };
    }
    QString folder() const { return dir.path() + u"/Mis programas $ \"100%\""_s; }
    void run(const QString &agent)
    {
        auto shell = platform::createShellFolders();
        SpecialFolders folders(*shell);
        ShortcutAction(c, folders, agent).run();
    }
    QTemporaryDir dir;
    test::FakeMessageBoxes boxes;
    ActionContext c;
    QStringList avance;
};

const QStringList kEveryFile = {u"orvex"_s,
                                u"OxExchange.exe"_s,
                                u"SD_NORTE.exe"_s,
                                u"SD_SUR.exe"_s,
                                u"SDCliente.exe"_s,
                                u"SendaroOperador.exe"_s,
                                u"SendaroGestion.exe"_s,
                                u"SendaroReportes.exe"_s,
                                u"SendaroConfigurador.exe"_s,
                                u"SendaroOperador.hlp"_s,
                                u"SendaroGestion.hlp"_s,
                                u"SendaroReportes.hlp"_s};

} // namespace

class TestShortcutsLinux : public QObject
{
    Q_OBJECT

    std::unique_ptr<Desktop> m_desktop;

private slots:
    void init() { m_desktop = std::make_unique<Desktop>(); }

    void execLinesQuoteByTheDesktopRules_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<QString>("quoted");
        QTest::newRow("plain") << u"/opt/ox/orvex"_s << u"/opt/ox/orvex"_s;
        QTest::newRow("blank") << u"/opt/Mis programas/orvex"_s
                               << u"\"/opt/Mis programas/orvex\""_s;
        QTest::newRow("quote dollar grave backslash")
            << u"a\"b$c`d\\e"_s << u"\"a\\\"b\\$c\\`d\\\\e\""_s;
        QTest::newRow("reserved without escape") << u"a;b&c"_s << u"\"a;b&c\""_s;
        QTest::newRow("percent") << u"100%"_s << u"100%%"_s;
        QTest::newRow("empty") << QString() << u"\"\""_s;
        QTest::newRow("accents") << u"/opt/Año/orvex"_s << u"/opt/Año/orvex"_s;
    }
    void execLinesQuoteByTheDesktopRules()
    {
        QFETCH(QString, argument);
        QFETCH(QString, quoted);
        QCOMPARE(QString::fromStdString(platform::desktopExecArgument(argument.toStdString())),
                 quoted);
        // Through the string escapes of the file and back.
        const std::string value =
            platform::desktopStringValue(platform::desktopExecArgument(argument.toStdString()));
        QCOMPARE(execArguments(QString::fromStdString(value)), QStringList{argument});
    }

    void namesAreMadeSafeForFiles_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("safe");
        QTest::newRow("separators") << u"Ayuda a/b\\c"_s << u"Ayuda a_b_c"_s;
        QTest::newRow("refused by Windows") << u"x<>:\"|?*y"_s << u"x_______y"_s;
        QTest::newRow("trailing dots and blanks") << u"Fin. . "_s << u"Fin"_s;
        QTest::newRow("nothing left") << u".."_s << u"_"_s;
    }
    void namesAreMadeSafeForFiles()
    {
        QFETCH(QString, name);
        QFETCH(QString, safe);
        QCOMPARE(QString::fromStdString(platform::safeFileName(name.toStdString())), safe);
    }

    // "No": the family's group only, machine-wide (the system's folders are
    // writable here), each entry with its exact keys.
    void noCreatesTheGroupOnly()
    {
        Installation inst(kEveryFile);
        inst.boxes.answers = {platform::Answer::No};
        const QString agent = inst.folder() + u"/orvex"_s;
        inst.run(agent);

        QCOMPARE(inst.boxes.asked.size(), size_t(1));
        const platform::MessageBoxRequest &q = inst.boxes.asked[0];
        QCOMPARE(q.text, u"Desea que también se creen accesos directos en el Inicio, para que el "
                         u"sistema se ejecute automáticamente al iniciar la PC?"_s);
        QCOMPARE(q.icon, platform::BoxIcon::Question);
        QCOMPARE(q.buttons, platform::BoxButtons::YesNo);
        QCOMPARE(inst.avance, (QStringList{u"..."_s, u"Creacion de iconos finalizada!."_s}));

        const QString group = m_desktop->path(u"sysdata/applications/Sendaro"_s);
        QCOMPARE(entriesIn(group),
                 (QStringList{u"Ayuda de SendaroGestion.desktop"_s,
                              u"Ayuda de SendaroOperador.desktop"_s,
                              u"Ayuda de SendaroReportes.desktop"_s, u"Orvex.desktop"_s,
                              u"OxExchange.desktop"_s, u"SD Cliente.desktop"_s,
                              u"SD Norte.desktop"_s, u"SD Sur.desktop"_s,
                              u"SendaroConfigurador.desktop"_s, u"SendaroGestion.desktop"_s,
                              u"SendaroOperador.desktop"_s, u"SendaroReportes.desktop"_s}));
        QVERIFY(!QDir(m_desktop->path(u"sysconfig/autostart"_s)).exists());
        QVERIFY(!QDir(m_desktop->path(u"data/applications"_s)).exists());

        const Entry orvex = readEntry(group + u"/Orvex.desktop"_s);
        QCOMPARE(orvex.value(u"Type"_s), u"Application"_s);
        QCOMPARE(orvex.value(u"Name"_s), u"Orvex"_s);
        QCOMPARE(execArguments(orvex.value(u"Exec"_s)), QStringList{agent});
        QCOMPARE(orvex.value(u"Icon"_s), inst.folder() + u"/resources/orvex.png"_s);
        QCOMPARE(orvex.value(u"Categories"_s), u"Office;"_s);
        QCOMPARE(orvex.size(), 6);
        // A help file is opened, not run.
        const Entry help = readEntry(group + u"/Ayuda de SendaroGestion.desktop"_s);
        QCOMPARE(help.value(u"Type"_s), u"Link"_s);
        QCOMPARE(help.value(u"URL"_s), QUrl::fromLocalFile(inst.folder() + u"/SendaroGestion.hlp"_s)
                                           .toString(QUrl::FullyEncoded));
        QVERIFY(!help.contains(u"Exec"_s));

        // Every entry passes the desktop's own validator.
        if (QStandardPaths::findExecutable(u"desktop-file-validate"_s).isEmpty())
            QSKIP("desktop-file-validate is not installed (package desktop-file-utils)");
        for (const QString &name : entriesIn(group)) {
            QProcess validate;
            validate.start(u"desktop-file-validate"_s, {group + u'/' + name});
            QVERIFY(validate.waitForFinished());
            const QByteArray said = validate.readAll();
            QVERIFY2(validate.exitCode() == 0 && said.isEmpty(),
                     qPrintable(name + u": "_s + QString::fromUtf8(said)));
        }
    }

    // "Yes": the start-up group gets what must run with the PC; the agent's
    // row is its own program whatever its name. Run again, the entries are
    // replaced, never doubled.
    void yesAddsTheStartUpGroupAndRunsTwiceCleanly()
    {
        Installation inst(kEveryFile + QStringList{u"orvex-agent"_s});
        const QString agent = inst.folder() + u"/orvex-agent"_s;
        for (int round = 0; round < 2; ++round) {
            inst.boxes.answers = {platform::Answer::Yes};
            inst.run(agent);
        }
        QCOMPARE(entriesIn(m_desktop->path(u"sysdata/applications/Sendaro"_s)).size(), 12);
        const QString autostart = m_desktop->path(u"sysconfig/autostart"_s);
        QCOMPARE(
            entriesIn(autostart),
            (QStringList{u"Orvex.desktop"_s, u"OxExchange.desktop"_s, u"SD Cliente.desktop"_s,
                         u"SD Norte.desktop"_s, u"SD Sur.desktop"_s, u"SendaroGestion.desktop"_s}));
        QCOMPARE(readEntry(autostart + u"/SendaroGestion.desktop"_s)[u"Name"_s],
                 u"SendaroGestion"_s);
        QCOMPARE(execArguments(readEntry(autostart + u"/Orvex.desktop"_s)[u"Exec"_s]),
                 QStringList{agent});
    }

    // A link that cannot be written is skipped; the rest still are.
    void aFailedLinkDoesNotStopTheRest()
    {
        Installation inst(kEveryFile);
        inst.boxes.answers = {platform::Answer::No};
        const QString group = m_desktop->path(u"sysdata/applications/Sendaro"_s);
        QVERIFY(QDir().mkpath(group + u"/SD Norte.desktop"_s)); // a folder in the way
        inst.run(inst.folder() + u"/orvex"_s);
        QCOMPARE(entriesIn(group).size(), 11);
        QVERIFY(entriesIn(group).contains(u"SendaroReportes.desktop"_s));
        QCOMPARE(inst.avance.last(), u"Creacion de iconos finalizada!."_s);
    }
};

QTEST_GUILESS_MAIN(TestShortcutsLinux)
#include "tst_shortcuts_linux.moc"
