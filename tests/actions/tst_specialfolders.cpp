#include "actions/SpecialFolders.h"
#include "platform/ShellFolders.h"

#include <QtTest>

#include <map>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

// A shell whose folders are "/menus/<id>" and which notes every link with
// the group it went to.
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
    std::string errorText(std::uint32_t number) override { return number == 2 ? "No está." : ""; }
    std::string groupFolder(const std::string &base, const std::string &relative,
                            bool allUsers) override
    {
        return base + '/' + relative + (allUsers ? " all" : " user");
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
    std::vector<std::string> links;
};

} // namespace

class TestSpecialFolders : public QObject
{
    Q_OBJECT

private slots:
    // Which menu takes the shortcut: Programs or the Start menu, the
    // machine's or the user's. The group name is made relative by the
    // toolkit's rule, which looks at the second character, not the first.
    void theMenuFollowsTheFlags()
    {
        // All users, in Programs, "1": the consumer family, "-": the machine's not writable.
        for (const auto &[flags, group, folder] :
             {std::tuple{u"AP"_s, u"Sendaro"_s, "/menus/23/.\\Sendaro all"},
              {u"P"_s, u".oculto"_s, "/menus/2/.oculto user"},
              {u"A"_s, u"X\\Y"_s, "/menus/22/.X\\Y all"},
              {u""_s, u"\\Grupo"_s, "/menus/11/.\\\\Grupo user"},
              {u"AP1"_s, QString(), "/menus/2/.\\ user"},
              {u"A-"_s, u"Sendaro"_s, "/menus/11/.\\Sendaro user"}}) {
            RecordingShell shell;
            shell.platformId = flags.contains(u'1') ? 1 : 2;
            shell.machineWide = !flags.contains(u'-');
            QVERIFY(SpecialFolders(shell).Win_CreateShortCutSTKit(group, u"/p/Orvex.exe"_s, u"-x"_s,
                                                                  u"Orvex"_s, flags.contains(u'A'),
                                                                  flags.contains(u'P')));
            QCOMPARE(shell.links,
                     std::vector<std::string>{folder + std::string("|Orvex|/p/Orvex.exe|-x")});
        }
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
        const QString lookup = u"|SpecialFolders.GetFolderLocation"_s;
        QCOMPARE(told, (QStringList{u"5|Failed to retrieve folder location."_s + lookup,
                                    u"2|No está."_s + lookup,
                                    u"1234567|Error (1234567) not defined."_s + lookup,
                                    u"2|No está.|SpecialFolders.Initialize"_s}));
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
