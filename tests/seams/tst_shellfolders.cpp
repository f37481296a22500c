#include "SeamTest.h"
#include "platform/ShellFolders.h"

#include <filesystem>
#include <fstream>

using namespace orvex::platform;
using orvex::seamtest::kSeparator;
using orvex::seamtest::kWindows;

// The seams speak UTF-8, which a path takes as char8_t on either system.
static std::filesystem::path fsPath(const std::string &utf8)
{
    return std::u8string(utf8.begin(), utf8.end());
}

TEST_SUITE_BEGIN("shellfolders");

TEST_CASE("every folder the agent reads has its place, without a trailing separator")
{
    auto shell = createShellFolders();
    const auto expect = [](const FolderLookup &found, bool known) {
        CAPTURE(found.path);
        CHECK((found.outcome == FolderLookup::Outcome::Found) == known);
        CHECK((!known ||
               (found.path.size() > 3 && found.path.find_last_of("\\/") != found.path.size() - 1)));
    };
    for (const int id :
         {csidl::Programs, csidl::StartMenu, csidl::CommonPrograms, csidl::CommonStartMenu,
          csidl::StartUp, csidl::CommonStartUp, csidl::Desktop, csidl::Documents, csidl::Templates,
          csidl::ApplicationData, csidl::InternetCache, csidl::ProgramFiles})
        expect(shell->specialFolder(id), true);
    // The Windows shell knows the rest too; freedesktop has no equivalent.
    for (const int id :
         {csidl::Favorites, csidl::SendTo, csidl::RecentDocuments, csidl::Cookies, csidl::History})
        expect(shell->specialFolder(id), kWindows);
    for (const SystemFolder which :
         {SystemFolder::Windows, SystemFolder::System, SystemFolder::Temporary})
        expect(shell->systemFolder(which), true);
    // An id the shell does not know is refused, with an error number.
    const FolderLookup unknown = shell->specialFolder(0x7777);
    CHECK((unknown.outcome == FolderLookup::Outcome::Refused && unknown.error != 0));
    CHECK((shell->errorText(0xDEADBEEFu).empty() && !shell->errorText(2).empty()));
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
    std::filesystem::create_directories(fsPath(base));
    std::ofstream(fsPath(program)) << (kWindows ? "MZ" : "#!/bin/sh\n");
    std::filesystem::permissions(fsPath(program), std::filesystem::perms::owner_all);
    const ShellLink link{group, "SD Norte: Año", program, "-x \"dos palabras\"", {}};
    REQUIRE((shell->writeShellLink(link) && shell->writeShellLink(link)));
    // A group that cannot be made (a file stands where it would go).
    CHECK_FALSE(shell->writeShellLink({program + kSeparator + "grupo", "x", program, {}, {}}));

    // One file, by the caption with what a file name cannot hold replaced.
    const std::string name = std::string("SD Norte_ Año") + (kWindows ? ".lnk" : ".desktop");
    using std::filesystem::directory_iterator;
    REQUIRE((std::distance(directory_iterator(fsPath(group)), directory_iterator()) == 1 &&
             std::filesystem::exists(fsPath(group + kSeparator + name))));
    CHECK(orvex::seamtest::readLink(group + kSeparator + name) ==
          orvex::seamtest::LinkReadBack{program, {"-x", "dos palabras"}, "SD Norte: Año"});
    std::error_code ignored;
    std::filesystem::remove_all(fsPath(base), ignored);
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
TEST_SUITE_END();
