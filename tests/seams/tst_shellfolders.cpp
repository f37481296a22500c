#include "SeamTest.h"
#include "platform/ShellFolders.h"

using namespace orvex::platform;
using orvex::seamtest::kSeparator;
using orvex::seamtest::kWindows;

TEST_SUITE("shellfolders")
{
    TEST_CASE("every folder the agent reads has its place, without a trailing separator")
    {
        auto shell = createShellFolders();
        const auto expect = [](const FolderLookup &found, bool known) {
            CHECK((found.outcome == FolderLookup::Outcome::Found) == known);
            if (known)
                CHECK((found.path.size() > 3 && found.path.back() != '\\' &&
                       found.path.back() != '/'));
        };
        for (const int id :
             {csidl::Programs, csidl::StartMenu, csidl::CommonPrograms, csidl::CommonStartMenu,
              csidl::StartUp, csidl::CommonStartUp, csidl::Desktop, csidl::Documents,
              csidl::Templates, csidl::ApplicationData, csidl::InternetCache, csidl::ProgramFiles})
            expect(shell->specialFolder(id), true);
        // The Windows shell knows the rest too; freedesktop has no equivalent.
        for (const int id : {csidl::Favorites, csidl::SendTo, csidl::RecentDocuments,
                             csidl::Cookies, csidl::History})
            expect(shell->specialFolder(id), kWindows);
        for (const SystemFolder which :
             {SystemFolder::Windows, SystemFolder::System, SystemFolder::Temporary})
            expect(shell->systemFolder(which), true);

        // An id the shell does not know is refused, with an error number.
        const FolderLookup unknown = shell->specialFolder(0x7777);
        CHECK((unknown.outcome == FolderLookup::Outcome::Refused && unknown.error != 0));
        CHECK(shell->errorText(0xDEADBEEFu).empty());
        CHECK_FALSE(shell->errorText(2).empty()); // file not found, in both
    }

    TEST_CASE("a shortcut written is read back whole, and writing it again replaces it")
    {
        auto shell = createShellFolders();
        const std::string base =
            shell->systemFolder(SystemFolder::Temporary).path + kSeparator + "orvex seam links";
        const std::string group =
            shell->groupFolder(base + std::string(2, kSeparator), ".\\Sendaro", false);
        CHECK(group == base + kSeparator + "Sendaro");

        const std::string program = base + kSeparator + "SD Norte.exe";
        orvex::seamtest::makeProgram(program);
        const ShellLink link{group, "SD Norte: Año", program, "-x \"dos palabras\"", {}};
        REQUIRE(shell->writeShellLink(link));
        REQUIRE(shell->writeShellLink(link));
        // A group that cannot be made (a file stands where it would go).
        CHECK_FALSE(shell->writeShellLink({program + kSeparator + "grupo", "x", program, {}, {}}));

        const std::vector<std::string> files = orvex::seamtest::filesIn(group);
        REQUIRE(files.size() == 1);
        CHECK(files[0] == std::string("SD Norte_ Año") + (kWindows ? ".lnk" : ".desktop"));
        const auto back = orvex::seamtest::readLink(group + kSeparator + files[0]);
        CHECK(back.target == program);
        CHECK(back.arguments == std::vector<std::string>{"-x", "dos palabras"});
        CHECK(back.caption == "SD Norte: Año");
        std::error_code ignored;
        std::filesystem::remove_all(orvex::seamtest::fsPath(base), ignored);
    }

    TEST_CASE("the start-up group of the Programs menu starts with the session")
    {
        auto shell = createShellFolders();
        const std::string programs = shell->specialFolder(csidl::Programs).path;
        CHECK(shell->groupFolder(programs, ".\\Inicio", false) ==
              shell->specialFolder(csidl::StartUp).path);
        CHECK(shell->groupFolder(programs, ".\\Inicio", true) ==
              shell->specialFolder(csidl::CommonStartUp).path);
        CHECK(shell->groupFolder(programs, ".\\Inicio\\Otro", false) ==
              programs + kSeparator + "Inicio" + kSeparator + "Otro");
    }
}
