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
        if (refused.count(id))
            return {Lookup::Outcome::Refused, {}, refused[id]};
        if (id == noPathId)
            return {Lookup::Outcome::NoPath, {}, 5};
        return {Lookup::Outcome::Found, "/menus/" + std::to_string(id), 0};
    }
    Lookup systemFolder(platform::SystemFolder which) override
    {
        if (which == platform::SystemFolder::System && systemRefused)
            return {Lookup::Outcome::Refused, {}, 2};
        return {Lookup::Outcome::Found, "/sys", 0};
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
        links.push_back(link);
        return writes;
    }

    std::map<int, std::uint32_t> refused;
    int noPathId = -1;
    bool systemRefused = false;
    std::uint32_t platformId = 2;
    bool machineWide = true;
    bool writes = true;
    std::vector<std::string> groups;
    std::vector<platform::ShellLink> links;
};

} // namespace

class TestSpecialFolders : public QObject
{
    Q_OBJECT

private slots:
    // Which menu takes the shortcut: Programs or the Start menu, the
    // machine's or the user's.
    void theBaseFolderFollowsTheFlags_data()
    {
        QTest::addColumn<bool>("allUsers");
        QTest::addColumn<bool>("inPrograms");
        QTest::addColumn<uint>("platformId");
        QTest::addColumn<bool>("machineWide");
        QTest::addColumn<int>("menu");
        QTest::addColumn<QString>("scope");
        QTest::newRow("all users, Programs") << true << true << 2u << true << 23 << "all";
        QTest::newRow("user, Programs") << false << true << 2u << true << 2 << "user";
        QTest::newRow("all users, Start menu") << true << false << 2u << true << 22 << "all";
        QTest::newRow("user, Start menu") << false << false << 2u << true << 11 << "user";
        QTest::newRow("consumer family: user") << true << true << 1u << true << 2 << "user";
        QTest::newRow("machine's not writable") << true << false << 2u << false << 11 << "user";
    }
    void theBaseFolderFollowsTheFlags()
    {
        QFETCH(bool, allUsers);
        QFETCH(bool, inPrograms);
        QFETCH(int, menu);
        QFETCH(QString, scope);
        RecordingShell shell;
        QFETCH(uint, platformId);
        shell.platformId = platformId;
        QFETCH(bool, machineWide);
        shell.machineWide = machineWide;
        SpecialFolders folders(shell);
        QVERIFY(folders.Win_CreateShortCutSTKit(u"Sendaro"_s, u"/p/Orvex.exe"_s, u"-x"_s,
                                                u"Orvex"_s, allUsers, inPrograms));
        QCOMPARE(shell.groups, std::vector<std::string>{".\\Sendaro " + scope.toStdString()});
        QCOMPARE(shell.links.size(), size_t(1));
        const platform::ShellLink &link = shell.links[0];
        QCOMPARE(link.folder, "/menus/" + std::to_string(menu) + "/group");
        QCOMPARE(link.caption, std::string("Orvex"));
        QCOMPARE(link.target, std::string("/p/Orvex.exe"));
        QCOMPARE(link.arguments, std::string("-x"));
    }

    // The toolkit's rule looks at the second character, not the first.
    void groupNamesAreMadeRelative_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("relative");
        QTest::newRow("plain") << u"Sendaro"_s << u".\\Sendaro"_s;
        QTest::newRow("dot first") << u".oculto"_s << u".oculto"_s;
        QTest::newRow("second is a backslash") << u"X\\Y"_s << u".X\\Y"_s;
        QTest::newRow("first is a backslash") << u"\\Grupo"_s << u".\\\\Grupo"_s;
        QTest::newRow("empty") << QString() << u".\\"_s;
    }
    void groupNamesAreMadeRelative()
    {
        QFETCH(QString, name);
        QTEST(SpecialFolders::relativeGroupName(name), "relative");
    }

    // Failures become events and empty paths; a missing menu writes nothing.
    void failuresAreToldNotThrown()
    {
        RecordingShell shell;
        shell.refused = {{2, 2}, {11, 1234567}};
        shell.noPathId = 16;
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
        QVERIFY(folders.Desktop.isEmpty() && folders.StartMenuPrograms.isEmpty());
        QCOMPARE(folders.CommonStartMenuPrograms, u"/menus/23"_s);
        QCOMPARE(folders.WindowsTemporary, u"/sys"_s);
        QVERIFY(folders.WindowsSystem.isEmpty());

        QVERIFY(!folders.Win_CreateShortCutSTKit(u"Sendaro"_s, u"/p/a"_s, {}, u"A"_s, false, true));
        QVERIFY(shell.links.empty());
        shell.writes = false;
        QVERIFY(!folders.Win_CreateShortCutSTKit(u"Sendaro"_s, u"/p/a"_s, {}, u"A"_s, true, true));
        QCOMPARE(shell.links.size(), size_t(1));
    }
};

QTEST_GUILESS_MAIN(TestSpecialFolders)
#include "tst_specialfolders.moc"
