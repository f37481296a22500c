#include "actions/ShortcutAction.h"
#include "actions/SpecialFolders.h"
#include "common/FakeServices.h"
#include "common/TestSupport.h"
#include "platform/DesktopEntry.h"
#include "platform/ShellFolders.h"

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
    for (const QString &line : lines.mid(1))
        if (line.indexOf(u'=') > 0 && lines[0] == u"[Desktop Entry]"_s)
            keys.insert(line.section(u'=', 0, 0), line.section(u'=', 1));
    return keys;
}

// The Exec value of an entry as a launcher runs it: the program and its arguments.
std::vector<std::string> execOf(const QString &path)
{
    return platform::desktopExecArguments(readEntry(path)[u"Exec"_s].toStdString());
}

QStringList entriesIn(const QString &folder)
{
    return QDir(folder).entryList({u"*.desktop"_s}, QDir::Files, QDir::Name);
}

} // namespace

class TestShortcutsLinux : public QObject
{
    Q_OBJECT

private slots:
    // "No" (the default) makes the family's group only, machine-wide (the
    // system's folders are writable here), each entry with its exact keys;
    // "Yes" adds the start-up group. The agent's row is its own program
    // whatever its name. Run again, entries are replaced, never doubled; a
    // link that cannot be written (a folder in its way) does not stop the rest.
    void createsTheGroupsOfTheFamily()
    {
        QTemporaryDir root;
        const auto path = [&](const QString &p) -> QString { return root.path() + u'/' + p; };
        for (const QString &set :
             u"HOME=/home XDG_DATA_HOME=/data XDG_CONFIG_HOME=/config "
             u"XDG_DATA_DIRS=/sysdata:/usr/share XDG_CONFIG_DIRS=/sysconfig"_s.split(u' '))
            qputenv(set.section(u'=', 0, 0).toLatin1(),
                    QFile::encodeName(root.path() + set.section(u'=', 1)));
        // The program folder's name needs every kind of quoting: the entries must
        // pass the validator and read back to the same program.
        const QString folder = path(u"Mis programás $ \"100%\" `a\\b;c&d"_s);
        QVERIFY(QDir().mkpath(folder + u"/resources"_s) &&
                test::writeBytes(folder + u"/resources/orvex.png"_s, "png"));
        for (const QString &f :
             u"orvex orvex-agent OxExchange.exe SD_NORTE.exe SD_SUR.exe SDCliente.exe "
             u"SendaroOperador.exe SendaroGestion.exe SendaroReportes.exe SendaroConfigurador.exe "
             u"SendaroOperador.hlp SendaroGestion.hlp SendaroReportes.hlp"_s.split(u' '))
            QVERIFY(
                test::writeBytes(folder + u'/' + f, "#!/bin/sh\n") &&
                QFile::setPermissions(folder + u'/' + f, f.endsWith(u".hlp"_s)
                                                             ? QFile::ReadOwner
                                                             : QFile::ReadOwner | QFile::ExeOwner));
        test::FakeMessageBoxes boxes;
        ActionContext c;
        c.boxes = &boxes;
        c.programFolder = folder;
        c.setLabelAvance = [](const QString &) {};
        const QString agent = folder + u"/orvex-agent"_s;
        const auto run = [&](platform::Answer answer) {
            boxes.answers = {answer};
            auto shell = platform::createShellFolders();
            SpecialFolders folders(*shell);
            ShortcutAction(c, folders, agent).run();
        };

        run(platform::Answer::No);
        QCOMPARE(boxes.asked.at(0).defaultButton, platform::DefaultButton::Second);
        const QString group = path(u"sysdata/applications/Sendaro"_s);
        QCOMPARE(entriesIn(group).size(), 12);
        QVERIFY(!QDir(path(u"sysconfig/autostart"_s)).exists() && !QDir(path(u"data"_s)).exists());
        const Entry orvex = readEntry(group + u"/Orvex.desktop"_s);
        QCOMPARE(QStringList(orvex.keys()).join(u' '),
                 u"Categories Exec Icon Name Terminal Type"_s);
        QVERIFY(orvex[u"Icon"_s].endsWith(u"/resources/orvex.png"_s));
        const std::vector<std::string> runsTheAgent{agent.toStdString()};
        QCOMPARE(execOf(group + u"/Orvex.desktop"_s), runsTheAgent);
        // A help file is opened, not run.
        const Entry help = readEntry(group + u"/Ayuda de SendaroGestion.desktop"_s);
        QCOMPARE(help[u"Type"_s] + help[u"URL"_s],
                 u"Link"_s + QUrl::fromLocalFile(folder + u"/SendaroGestion.hlp"_s)
                                 .toString(QUrl::FullyEncoded));

        const QString autostart = path(u"sysconfig/autostart"_s);
        QVERIFY(QDir().mkpath(autostart + u"/SD Sur.desktop"_s));
        run(platform::Answer::Yes);
        run(platform::Answer::Yes);
        QCOMPARE(entriesIn(group).size(), 12);
        QCOMPARE(entriesIn(autostart),
                 (QStringList{u"Orvex.desktop"_s, u"OxExchange.desktop"_s, u"SD Cliente.desktop"_s,
                              u"SD Norte.desktop"_s, u"SendaroGestion.desktop"_s}));
        QCOMPARE(execOf(autostart + u"/Orvex.desktop"_s), runsTheAgent);

        QCOMPARE(platform::safeFileName("a/b\\c<>:\"|?*y. . "), std::string("a_b_c_______y"));
        QCOMPARE(platform::safeFileName(".."), std::string("_"));
        if (QStandardPaths::findExecutable(u"desktop-file-validate"_s).isEmpty())
            QSKIP("desktop-file-validate is not installed (package desktop-file-utils)");
        QProcess validate;
        validate.setWorkingDirectory(group);
        validate.start(u"desktop-file-validate"_s, entriesIn(group));
        QVERIFY(validate.waitForFinished());
        const QByteArray said = validate.readAll();
        QVERIFY2(validate.exitCode() == 0 && said.isEmpty(), said.constData());
    }
};

QTEST_GUILESS_MAIN(TestShortcutsLinux)
#include "tst_shortcuts_linux.moc"
