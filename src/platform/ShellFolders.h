#pragma once
// The shell's special folders and its shortcuts. Qt-free: the Windows side is
// also built on its own and run under Wine.
//
// Windows answers from the shell (CSIDL ids, .lnk shell links). Linux maps
// the same ids to the freedesktop places a user of a desktop expects and
// writes desktop entries; an id without an equivalent is refused like an id
// the Windows shell does not know.
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace orvex::platform {

// The shell's folder ids (the documented CSIDL numbers) the agent reads.
namespace csidl {
constexpr int Programs = 2;
constexpr int Documents = 5;
constexpr int Favorites = 6;
constexpr int StartUp = 7;
constexpr int RecentDocuments = 8;
constexpr int SendTo = 9;
constexpr int StartMenu = 11;
constexpr int Desktop = 16;
constexpr int Templates = 21;
constexpr int CommonStartMenu = 22;
constexpr int CommonPrograms = 23;
constexpr int CommonStartUp = 24;
constexpr int CommonDesktop = 25;
constexpr int ApplicationData = 26;
constexpr int AlternateStartUp = 29;
constexpr int CommonAlternateStartUp = 30;
constexpr int CommonFavorites = 31;
constexpr int InternetCache = 32;
constexpr int Cookies = 33;
constexpr int History = 34;
constexpr int ProgramFiles = 38;
} // namespace csidl

struct FolderLookup
{
    enum class Outcome {
        Found,
        Refused, // the shell does not know the id (error holds its number)
        NoPath,  // the id is known but gives no folder of the file system
    };
    Outcome outcome = Outcome::Refused;
    // UTF-8, without a trailing separator.
    std::string path;
    std::uint32_t error = 0;
};

enum class SystemFolder { Windows, System, Temporary };

struct SystemVersion
{
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t build = 0;
    // 1: the old consumer family, with no machine-wide menus; 2: NT.
    std::uint32_t platformId = 0;
    std::string servicePack;
};

struct ShellLink
{
    std::string folder; // the group's folder, where the link file goes
    // Shown to the user as it is; the link's file name is made safe from it.
    std::string caption;
    std::string target;
    std::string arguments;
    std::string iconFile; // empty: the target's own
};

class ShellFolders
{
public:
    virtual ~ShellFolders() = default;

    virtual FolderLookup specialFolder(int csidl) = 0;
    virtual FolderLookup systemFolder(SystemFolder which) = 0;
    virtual SystemVersion version() = 0;
    // The system's text for an error number; empty when it has none.
    virtual std::string errorText(std::uint32_t number) = 0;

    // Where a group of shortcuts lives, below a base folder of the menus.
    // `relativeGroup` is the group's name as handed to the setup toolkit
    // (".\Sendaro"). The start-up group "Inicio" is the system's own: autostart on
    // Linux, the shell's start-up folder on Windows.
    virtual std::string groupFolder(const std::string &baseFolder, const std::string &relativeGroup,
                                    bool allUsers) = 0;
    // Whether the machine-wide menus can take shortcuts from this user.
    virtual bool machineWideMenusWritable() = 0;
    // Writes (or replaces) one shortcut; false when it could not.
    virtual bool writeShellLink(const ShellLink &link) = 0;
};

std::unique_ptr<ShellFolders> createShellFolders();

// A group or caption made fit for a file name on either system: characters
// Windows refuses in names (and control characters) become "_"; trailing dots
// and blanks, which Windows drops silently, go; nothing left gives "_".
inline std::string safeFileName(const std::string &name)
{
    std::string safe;
    safe.reserve(name.size());
    for (const char c : name) {
        const bool refused = static_cast<unsigned char>(c) < 0x20 ||
                             std::string_view("<>:\"/\\|?*").find(c) != std::string_view::npos;
        safe += refused ? '_' : c;
    }
    while (!safe.empty() && (safe.back() == '.' || safe.back() == ' '))
        safe.pop_back();
    return safe.empty() ? std::string("_") : safe;
}

} // namespace orvex::platform
