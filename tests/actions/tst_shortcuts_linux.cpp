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
    for (const QString &line : lines.mid(1)) {
        const qsizetype eq = line.indexOf(u'=');
        if (eq > 0 && lines[0] == u"[Desktop Entry]"_s)
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

// The user's and the system's places, and the program folder (its name
// needing every kind of quoting), all inside one temporary folder.
struct Desktop
{
    explicit Desktop(const QStringList &files)
    {
        for (const auto &[variable, place] : {std::pair{"HOME", "/home"},
                                              {"XDG_DATA_HOME", "/data"},
                                              {"XDG_CONFIG_HOME", "/config"},
                                              {"XDG_DATA_DIRS", "/sysdata:/usr/share"},
                                              {"XDG_CONFIG_DIRS", "/sysconfig"}})
            qputenv(variable, QFile::encodeName(root.path()) + place);
        QDir().mkpath(folder() + u"/resources"_s);
        test::writeBytes(folder() + u"/resources/orvex.png"_s, "png");
        for (const QString &f : files) {
            test::writeBytes(folder() + u'/' + f, "#!/bin/sh\n");
            if (!f.endsWith(u".hlp"_s))
                QFile::setPermissions(folder() + u'/' + f, QFile::ReadOwner | QFile::ExeOwner);
        }
        c.boxes = &boxes;
        c.programFolder = folder();
        c.setLabelAvance = [this](const QString &t) { avance << t; };
    }
    QString path(const QString &p) const { return root.path() + u'/' + p; }
    QString folder() const { return path(u"Mis programas $ \"100%\""_s); }
    void run(const QString &agent, platform::Answer answer)
    {
        boxes.answers = {answer};
        auto shell = platform::createShellFolders();
        SpecialFolders folders(*shell);
        ShortcutAction(c, folders, agent).run();
    }
    QTemporaryDir root;
    test::FakeMessageBoxes boxes;
    QStringList avance;
    ActionContext c;
};

const QStringList kEveryFile =
    u"orvex OxExchange.exe SD_NORTE.exe SD_SUR.exe SDCliente.exe SendaroOperador.exe "
    u"SendaroGestion.exe SendaroReportes.exe SendaroConfigurador.exe SendaroOperador.hlp "
    u"SendaroGestion.hlp SendaroReportes.hlp"_s.split(u' ');

} // namespace

class TestShortcutsLinux : public QObject
{
    Q_OBJECT

private slots:
    // Byte-exact, and read back through the file's string escapes.
    void execLinesQuoteByTheDesktopRules_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<QString>("quoted");
        QTest::newRow("plain, accents") << u"/opt/Año/orvex"_s << u"/opt/Año/orvex"_s;
        QTest::newRow("blank") << u"/opt/Mis programas/orvex"_s
                               << u"\"/opt/Mis programas/orvex\""_s;
        QTest::newRow("quote dollar grave backslash")
            << u"a\"b$c`d\\e"_s << u"\"a\\\"b\\$c\\`d\\\\e\""_s;
        QTest::newRow("reserved without escape") << u"a;b&c"_s << u"\"a;b&c\""_s;
        QTest::newRow("percent") << u"100%"_s << u"100%%"_s;
        QTest::newRow("empty") << QString() << u"\"\""_s;
    }
    void execLinesQuoteByTheDesktopRules()
    {
        QFETCH(QString, argument);
        const std::string quoted = platform::desktopExecArgument(argument.toStdString());
        QTEST(QString::fromStdString(quoted), "quoted");
        const std::string value = platform::desktopStringValue(quoted);
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
        QTEST(QString::fromStdString(platform::safeFileName(name.toStdString())), "safe");
    }

    // "No" (the default): the family's group only, machine-wide (the
    // system's folders are writable here), each entry with its exact keys.
    void noCreatesTheGroupOnly()
    {
        Desktop d(kEveryFile);
        const QString agent = d.folder() + u"/orvex"_s;
        d.run(agent, platform::Answer::No);
        QCOMPARE(d.boxes.asked.size(), size_t(1));
        QCOMPARE(d.boxes.asked[0],
                 (platform::MessageBoxRequest{
                     QCoreApplication::applicationName(),
                     u"Desea que también se creen accesos directos en el Inicio, para que el "
                     u"sistema se ejecute automáticamente al iniciar la PC?"_s,
                     platform::BoxIcon::Question, platform::BoxButtons::YesNo,
                     platform::DefaultButton::Second}));
        QCOMPARE(d.avance, (QStringList{u"..."_s, u"Creacion de iconos finalizada!."_s}));

        const QString group = d.path(u"sysdata/applications/Sendaro"_s);
        QCOMPARE(entriesIn(group),
                 (QStringList{u"Ayuda de SendaroGestion.desktop"_s,
                              u"Ayuda de SendaroOperador.desktop"_s,
                              u"Ayuda de SendaroReportes.desktop"_s, u"Orvex.desktop"_s,
                              u"OxExchange.desktop"_s, u"SD Cliente.desktop"_s,
                              u"SD Norte.desktop"_s, u"SD Sur.desktop"_s,
                              u"SendaroConfigurador.desktop"_s, u"SendaroGestion.desktop"_s,
                              u"SendaroOperador.desktop"_s, u"SendaroReportes.desktop"_s}));
        QVERIFY(!QDir(d.path(u"sysconfig/autostart"_s)).exists());
        QVERIFY(!QDir(d.path(u"data/applications"_s)).exists());

        const Entry orvex = readEntry(group + u"/Orvex.desktop"_s);
        QCOMPARE(orvex, (Entry{{u"Type"_s, u"Application"_s},
                               {u"Name"_s, u"Orvex"_s},
                               {u"Exec"_s, orvex.value(u"Exec"_s)},
                               {u"Icon"_s, d.folder() + u"/resources/orvex.png"_s},
                               {u"Terminal"_s, u"false"_s},
                               {u"Categories"_s, u"Office;"_s}}));
        QCOMPARE(execArguments(orvex.value(u"Exec"_s)), QStringList{agent});
        // A help file is opened, not run.
        const Entry help = readEntry(group + u"/Ayuda de SendaroGestion.desktop"_s);
        QCOMPARE(help.value(u"Type"_s), u"Link"_s);
        QCOMPARE(help.value(u"URL"_s), QUrl::fromLocalFile(d.folder() + u"/SendaroGestion.hlp"_s)
                                           .toString(QUrl::FullyEncoded));
        QVERIFY(!help.contains(u"Exec"_s));

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
    // replaced, never doubled; a link that cannot be written (a folder in
    // its way) does not stop the rest.
    void yesAddsTheStartUpGroupAndRunsTwiceCleanly()
    {
        Desktop d(kEveryFile + QStringList{u"orvex-agent"_s});
        const QString agent = d.folder() + u"/orvex-agent"_s;
        const QString autostart = d.path(u"sysconfig/autostart"_s);
        QVERIFY(QDir().mkpath(autostart + u"/SD Sur.desktop"_s));
        d.run(agent, platform::Answer::Yes);
        d.run(agent, platform::Answer::Yes);
        QCOMPARE(entriesIn(d.path(u"sysdata/applications/Sendaro"_s)).size(), 12);
        QCOMPARE(entriesIn(autostart),
                 (QStringList{u"Orvex.desktop"_s, u"OxExchange.desktop"_s, u"SD Cliente.desktop"_s,
                              u"SD Norte.desktop"_s, u"SendaroGestion.desktop"_s}));
        QCOMPARE(readEntry(autostart + u"/SendaroGestion.desktop"_s)[u"Name"_s],
                 u"SendaroGestion"_s);
        QCOMPARE(execArguments(readEntry(autostart + u"/Orvex.desktop"_s)[u"Exec"_s]),
                 QStringList{agent});
        QCOMPARE(d.avance.last(), u"Creacion de iconos finalizada!."_s);
    }
};

QTEST_GUILESS_MAIN(TestShortcutsLinux)
#include "tst_shortcuts_linux.moc"
