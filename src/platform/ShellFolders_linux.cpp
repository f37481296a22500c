#include "platform/DesktopEntry.h"
#include "platform/ProcessWindows.h"
#include "platform/ShellFolders.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/utsname.h>
#include <unistd.h>

namespace orvex::platform {
namespace {

std::string fromEnvironment(const char *name, const std::string &fallback)
{
    const char *value = std::getenv(name);
    return value && *value == '/' ? std::string(value) : fallback;
}

std::string home()
{
    return QDir::homePath().toStdString();
}

std::string dataHome()
{
    return fromEnvironment("XDG_DATA_HOME", home() + "/.local/share");
}

std::string configHome()
{
    return fromEnvironment("XDG_CONFIG_HOME", home() + "/.config");
}

// The first folder of a search list such as XDG_DATA_DIRS: the one the
// system's administrator writes to.
std::string firstOf(const char *listName, const std::string &fallback)
{
    const std::string list = fromEnvironment(listName, fallback);
    return list.substr(0, list.find(':'));
}

std::string systemApplications()
{
    return firstOf("XDG_DATA_DIRS", "/usr/local/share") + "/applications";
}

std::string userAutostart()
{
    return configHome() + "/autostart";
}

std::string systemAutostart()
{
    return firstOf("XDG_CONFIG_DIRS", "/etc/xdg") + "/autostart";
}

std::string standardPath(QStandardPaths::StandardLocation location)
{
    return QStandardPaths::writableLocation(location).toStdString();
}

std::string withoutTrailingSlash(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

bool isStartUpGroup(const std::string &name)
{
    return name == "Inicio";
}

class LinuxShellFolders final : public ShellFolders
{
public:
    FolderLookup specialFolder(int id) override
    {
        const std::string path = pathOf(id);
        if (path.empty())
            return {FolderLookup::Outcome::Refused, {}, EINVAL};
        return {FolderLookup::Outcome::Found, withoutTrailingSlash(path), 0};
    }

    FolderLookup systemFolder(SystemFolder which) override
    {
        switch (which) {
        case SystemFolder::Windows:
            return {FolderLookup::Outcome::Found, "/usr", 0};
        case SystemFolder::System:
            return {FolderLookup::Outcome::Found, "/usr/bin", 0};
        case SystemFolder::Temporary:
            return {FolderLookup::Outcome::Found,
                    withoutTrailingSlash(fromEnvironment("TMPDIR", "/tmp")), 0};
        }
        return {};
    }

    SystemVersion version() override
    {
        utsname name{};
        if (uname(&name) != 0)
            return {};
        SystemVersion v;
        v.platformId = 2; // menus for the user and for all users, like NT
        unsigned major = 0, minor = 0, build = 0;
        std::sscanf(name.release, "%u.%u.%u", &major, &minor, &build);
        v.major = major;
        v.minor = minor;
        v.build = build;
        v.servicePack = std::string(name.sysname) + ' ' + name.release;
        return v;
    }

    std::string errorText(std::uint32_t number) override
    {
        char buffer[256] = {};
        const std::string text = strerror_r(static_cast<int>(number), buffer, sizeof buffer);
        // glibc makes up a text for numbers it does not know.
        return text.rfind("Unknown error", 0) == 0 ? std::string() : text;
    }

    std::string groupFolder(const std::string &baseFolder, const std::string &relativeGroup,
                            bool allUsers) override
    {
        std::vector<std::string> parts;
        std::string part;
        for (const char c : relativeGroup + '/') {
            if (c != '\\' && c != '/') {
                part += c;
                continue;
            }
            if (!part.empty() && part != ".")
                parts.push_back(safeFileName(part));
            part.clear();
        }
        // The desktop starts the programs of autostart with the session.
        if (parts.size() == 1 && isStartUpGroup(parts.front()))
            return allUsers ? systemAutostart() : userAutostart();
        std::string folder = withoutTrailingSlash(baseFolder);
        for (const std::string &p : parts)
            folder += '/' + p;
        return folder;
    }

    bool machineWideMenusWritable() override
    {
        // The nearest folder that exists decides whether the rest can be made.
        QFileInfo folder(QString::fromStdString(systemApplications()));
        while (!folder.exists() && !folder.isRoot())
            folder = QFileInfo(folder.absolutePath());
        return access(folder.absoluteFilePath().toLocal8Bit().constData(), W_OK) == 0;
    }

    bool writeShellLink(const ShellLink &link) override
    {
        const QString folder = QString::fromStdString(link.folder);
        if (folder.isEmpty() || !QDir().mkpath(folder))
            return false;
        DesktopEntry entry;
        entry.name = link.caption;
        const QFileInfo target(QString::fromStdString(link.target));
        entry.application = target.isFile() && target.isExecutable();
        if (entry.application) {
            entry.program = link.target;
            entry.arguments = splitCommandLine("\"\" " + link.arguments).arguments;
            entry.categories = "Office;";
        } else {
            entry.url = fileUrl(link.target);
        }
        entry.icon =
            link.iconFile.empty() ? std::string("application-x-executable") : link.iconFile;

        QSaveFile file(folder + u'/' + QString::fromStdString(safeFileName(link.caption)) +
                       QStringLiteral(".desktop"));
        if (!file.open(QIODevice::WriteOnly))
            return false;
        const std::string text = desktopEntryText(entry);
        file.write(text.data(), static_cast<qint64>(text.size()));
        return file.commit();
    }

private:
    static std::string pathOf(int id)
    {
        using namespace csidl;
        switch (id) {
        case Desktop:
            return standardPath(QStandardPaths::DesktopLocation);
        case Documents:
            return standardPath(QStandardPaths::DocumentsLocation);
        case Templates:
            return standardPath(QStandardPaths::TemplatesLocation);
        case Programs:
        case StartMenu:
            return dataHome() + "/applications";
        case CommonPrograms:
        case CommonStartMenu:
            return systemApplications();
        case StartUp:
            return userAutostart();
        case CommonStartUp:
            return systemAutostart();
        case ApplicationData:
            return dataHome();
        case InternetCache:
            return fromEnvironment("XDG_CACHE_HOME", home() + "/.cache");
        case ProgramFiles:
            return "/opt";
        default:
            // Favorites, recent documents, send-to, cookies, history, the
            // all-users desktop and the alternate start-ups have no
            // equivalent on a freedesktop system.
            return {};
        }
    }
};

} // namespace

std::unique_ptr<ShellFolders> createShellFolders()
{
    return std::make_unique<LinuxShellFolders>();
}

} // namespace orvex::platform
