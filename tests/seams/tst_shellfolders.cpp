#include "SeamTest.h"
#include "platform/ShellFolders.h"

#include <algorithm>
#include <fstream>

using namespace orvex::platform;
using orvex::seamtest::kWindows;

namespace {

bool endsWithSeparator(const std::string &path)
{
    return path.size() > 3 && (path.back() == '\\' || path.back() == '/');
}

} // namespace

TEST_SUITE("shellfolders")
{
    TEST_CASE("every folder the agent reads has its place, without a trailing separator")
    {
        auto shell = createShellFolders();
        const auto expect = [](const FolderLookup &found, bool known) {
            CHECK((found.outcome == FolderLookup::Outcome::Found) == known);
            if (known)
                CHECK_FALSE((found.path.empty() || endsWithSeparator(found.path)));
        };
        // The bases of the shortcuts first: the menus of the user and of the
        // machine, and the start-up groups.
        for (const int id : {csidl::Programs, csidl::StartMenu, csidl::CommonPrograms,
                             csidl::CommonStartMenu, csidl::StartUp, csidl::CommonStartUp,
                             csidl::Desktop, csidl::Documents, csidl::Templates,
                             csidl::ApplicationData, csidl::InternetCache, csidl::ProgramFiles}) {
            CAPTURE(id);
            expect(shell->specialFolder(id), true);
        }
        // The Windows shell knows the rest too; a freedesktop system has no
        // equivalent for them.
        for (const int id : {csidl::Favorites, csidl::SendTo, csidl::RecentDocuments,
                             csidl::Cookies, csidl::History}) {
            CAPTURE(id);
            expect(shell->specialFolder(id), kWindows);
        }
        for (const SystemFolder which :
             {SystemFolder::Windows, SystemFolder::System, SystemFolder::Temporary})
            expect(shell->systemFolder(which), true);
    }

    TEST_CASE("an id the shell does not know is refused, with an error number and its text")
    {
        auto shell = createShellFolders();
        const FolderLookup found = shell->specialFolder(0x7777);
        CHECK(found.outcome == FolderLookup::Outcome::Refused);
        CHECK(found.path.empty());
        CHECK(found.error != 0);
        CHECK(shell->errorText(0xDEADBEEFu).empty());
        CHECK_FALSE(shell->errorText(2).empty()); // file not found, in both
    }

    TEST_CASE("a shortcut written is read back whole, and writing it again replaces it")
    {
        auto shell = createShellFolders();
        const std::string temporary = shell->systemFolder(SystemFolder::Temporary).path;
        const char separator = kWindows ? '\\' : '/';
        const std::string base = temporary + separator + "orvex seam links";
        const std::string group = shell->groupFolder(base, ".\\Sendaro", false);
        CHECK(group == base + separator + "Sendaro");
        CHECK(shell->groupFolder(base + separator + separator, ".\\Sendaro", false) == group);

        const std::string program = base + separator + "SD Norte.exe";
        orvex::seamtest::makeProgram(program);
        const ShellLink link{group, "SD Norte: Año", program, "-x \"dos palabras\"", {}};
        REQUIRE(shell->writeShellLink(link));
        REQUIRE(shell->writeShellLink(link));
        // A group that cannot be made (a file stands where it would go).
        CHECK_FALSE(shell->writeShellLink({program + separator + "grupo", "x", program, {}, {}}));

        const std::vector<std::string> files = orvex::seamtest::filesIn(group);
        REQUIRE(files.size() == 1);
        CHECK(files[0] == std::string("SD Norte_ Año") + (kWindows ? ".lnk" : ".desktop"));
        const orvex::seamtest::LinkReadBack back =
            orvex::seamtest::readLink(group + separator + files[0]);
        CHECK(back.target == program);
        CHECK(back.arguments == std::vector<std::string>{"-x", "dos palabras"});
        CHECK(back.caption == "SD Norte: Año");
        orvex::seamtest::removeTree(base);
    }

    TEST_CASE("the start-up group of the Programs menu starts with the session")
    {
        auto shell = createShellFolders();
        const char separator = kWindows ? '\\' : '/';
        const std::string user = shell->specialFolder(csidl::StartUp).path;
        const std::string all = shell->specialFolder(csidl::CommonStartUp).path;
        const std::string programs = shell->specialFolder(csidl::Programs).path;
        CHECK(shell->groupFolder(programs, ".\\Inicio", false) == user);
        CHECK(shell->groupFolder(programs, ".\\Inicio", true) == all);
        CHECK(shell->groupFolder(programs, ".\\Inicio\\Otro", false) ==
              programs + separator + "Inicio" + separator + "Otro");
    }
}
