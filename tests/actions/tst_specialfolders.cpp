#include "actions/SpecialFolders.h"
#include "platform/ShellFolders.h"

#include <QtTest>

#include <map>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

// A shell whose folders are "/menus/<id>" and which notes every link.
struct RecordingShell final : platform::ShellFolders
{
    using Lookup = platform::FolderLookup;
    Lookup specialFolder(int id) override
    {
        // The desktop (16) has no path.
        return refused.count(id) ? Lookup{Lookup::Outcome::Refused, {}, refused[id]}
               : id == 16        ? Lookup{Lookup::Outcome::NoPath, {}, 5}
                          : Lookup{Lookup::Outcome::Found, "/menus/" + std::to_string(id), 0};
    }
    Lookup systemFolder(platform::SystemFolder which) override
    {
        return which == platform::SystemFolder::System && systemRefused
                   ? Lookup{Lookup::Outcome::Refused, {}, 2}
                   : Lookup{Lookup::Outcome::Found, "/sys", 0};
    }
    platform::SystemVersion version() override { return {4, 10, 1998, platformId, {}}; }
    std::string errorText(std::uint32_t number) override
    {
        return number == 2 ? "The system cannot find the file specified." : "";
    }
    std::string groupFolder(const std::string &base, const std::string &relative,
                            bool allUsers) override
    {
        groups.push_back(relative + (allUsers ? " all" : " user"));
        return base + "/group";
    }
    bool machineWideMenusWritable() override { return machineWide; }
    bool writeShellLink(const platform::ShellLink &link) override
    {
        links.push_back(link.folder + '|' + link.caption + '|' + link.target + '|' +
                        link.arguments);
        return writes;
    }

    std::map<int, std::uint32_t> refused;
    std::uint32_t platformId = 2;
    bool systemRefused = false, machineWide = true, writes = true;
    std::vector<std::string> groups, links;
};

} // namespace

class TestSpecialFolders : public QObject
{
    Q_OBJECT

private slots:
    // Which menu takes the shortcut: Programs or the Start menu, the
    // machine's or the user's.
    void theBaseFolderFollowsTheFlags()
    {
        // All users, in Programs, "1": the consumer family, "-": the machine's not writable.
        for (const QString &row :
             u"AP=23 all|P=2 user|A=22 all|=11 user|AP1=2 user|A-=11 user"_s.split(u'|')) {
            const QString flags = row.section(u'=', 0, 0), link = row.section(u'=', 1);
            RecordingShell shell;
            shell.platformId = flags.contains(u'1') ? 1 : 2;
            shell.machineWide = !flags.contains(u'-');
            SpecialFolders folders(shell);
            QVERIFY(folders.Win_CreateShortCutSTKit(u"Sendaro"_s, u"/p/Orvex.exe"_s, u"-x"_s,
                                                    u"Orvex"_s, flags.contains(u'A'),
                                                    flags.contains(u'P')));
            const std::string menu = link.section(u' ', 0, 0).toStdString();
            QCOMPARE(shell.groups,
                     std::vector<std::string>{".\\Sendaro " + link.section(u' ', 1).toStdString()});
            QCOMPARE(shell.links,
                     std::vector<std::string>{"/menus/" + menu + "/group|Orvex|/p/Orvex.exe|-x"});
        }
    }

    // The toolkit's rule looks at the second character, not the first.
    void groupNamesAreMadeRelative()
    {
        for (const QString &row :
             u"Sendaro>.\\Sendaro|.oculto>.oculto|X\\Y>.X\\Y|\\Grupo>.\\\\Grupo|>.\\"_s.split(u'|'))
            QCOMPARE(SpecialFolders::relativeGroupName(row.section(u'>', 0, 0)),
                     row.section(u'>', 1));
    }

    // Failures become events and empty paths; a missing menu writes nothing.
    void failuresAreToldNotThrown()
    {
        RecordingShell shell;
        shell.refused = {{2, 2}, {11, 1234567}};
        shell.systemRefused = true;
        QStringList told;
        SpecialFolders folders(shell, [&](qint32 n, const QString &d, const QString &s) {
            told << u"%1|%2|%3"_s.arg(n).arg(d, s);
        });
        const QString notFound = u"The system cannot find the file specified.|SpecialFolders."_s;
        QCOMPARE(told, (QStringList{u"5|Failed to retrieve folder location."
                                    u"|SpecialFolders.GetFolderLocation"_s,
                                    u"2|"_s + notFound + u"GetFolderLocation"_s,
                                    u"1234567|Error (1234567) not defined."
                                    u"|SpecialFolders.GetFolderLocation"_s,
                                    u"2|"_s + notFound + u"Initialize"_s}));
        // The refused ones empty, the others found.
        QCOMPARE(folders.Desktop + folders.StartMenuPrograms + folders.WindowsSystem + u'|' +
                     folders.CommonStartMenuPrograms + folders.WindowsTemporary,
                 u"|/menus/23/sys"_s);

        QVERIFY(!folders.Win_CreateShortCutSTKit(u"Sendaro"_s, u"/p/a"_s, {}, u"A"_s, false, true));
        shell.writes = false;
        QVERIFY(!folders.Win_CreateShortCutSTKit(u"Sendaro"_s, u"/p/a"_s, {}, u"A"_s, true, true));
        QCOMPARE(shell.links.size(), size_t(1)); // the first wrote nothing
    }
};

QTEST_GUILESS_MAIN(TestSpecialFolders)
#include "tst_specialfolders.moc"
