#include "actions/SpecialFolders.h"

#include <QCoreApplication>
#include <QLoggingCategory>

using namespace Qt::Literals::StringLiterals;

Q_DECLARE_LOGGING_CATEGORY(lcActions)

namespace orvex {
namespace {

QString fromUtf8(const std::string &text)
{
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

std::string toUtf8(const QString &text)
{
    return text.toUtf8().toStdString();
}

} // namespace

SpecialFolders::SpecialFolders(platform::ShellFolders &shell, const ErrorHandler &onError,
                               QObject *parent)
    : QObject(parent), m_shell(shell)
{
    if (onError)
        connect(this, &SpecialFolders::FolderError, this, onError);
    namespace id = platform::csidl;
    // Read in this order, which is not the order the properties are kept in.
    Desktop = GetFolderLocation(id::Desktop);
    StartMenuPrograms = GetFolderLocation(id::Programs);
    Documents = GetFolderLocation(id::Documents);
    Favorites = GetFolderLocation(id::Favorites);
    StartUp = GetFolderLocation(id::StartUp);
    RecentDocuments = GetFolderLocation(id::RecentDocuments);
    SendTo = GetFolderLocation(id::SendTo);
    StartMenu = GetFolderLocation(id::StartMenu);
    Templates = GetFolderLocation(id::Templates);
    Cookies = GetFolderLocation(id::Cookies);
    CommonStartMenu = GetFolderLocation(id::CommonStartMenu);
    CommonStartMenuPrograms = GetFolderLocation(id::CommonPrograms);
    CommonStartUp = GetFolderLocation(id::CommonStartUp);
    CommonDesktop = GetFolderLocation(id::CommonDesktop);
    InternetCache = GetFolderLocation(id::InternetCache);
    History = GetFolderLocation(id::History);
    CommonAlternateStartUp = GetFolderLocation(id::CommonAlternateStartUp);
    AlternateStartUp = GetFolderLocation(id::AlternateStartUp);
    ApplicationData = GetFolderLocation(id::ApplicationData);
    CommonFavorites = GetFolderLocation(id::CommonFavorites);
    ProgramFiles = GetFolderLocation(id::ProgramFiles);
    Windows = systemFolder(platform::SystemFolder::Windows);
    WindowsSystem = systemFolder(platform::SystemFolder::System);
    WindowsTemporary = systemFolder(platform::SystemFolder::Temporary);
}

QString SpecialFolders::GetFolderLocation(qint32 FolderId)
{
    const QString source = u"SpecialFolders.GetFolderLocation"_s;
    const platform::FolderLookup found = m_shell.specialFolder(FolderId);
    switch (found.outcome) {
    case platform::FolderLookup::Outcome::Found:
        return fromUtf8(found.path);
    case platform::FolderLookup::Outcome::Refused:
        raiseError(found.error, errorText(found.error), source);
        break;
    case platform::FolderLookup::Outcome::NoPath:
        raiseError(found.error, u"Failed to retrieve folder location."_s, source);
        break;
    }
    return {};
}

QString SpecialFolders::systemFolder(platform::SystemFolder which)
{
    const platform::FolderLookup found = m_shell.systemFolder(which);
    if (found.outcome == platform::FolderLookup::Outcome::Found)
        return fromUtf8(found.path);
    raiseError(found.error, errorText(found.error), u"SpecialFolders.Initialize"_s);
    return {};
}

bool SpecialFolders::Win_CreateShortCut(const QString &FolderPath, const QString &LinkPath,
                                        const QString &LinkArguments, const QString &LinkName)
{
    const platform::ShellLink link{toUtf8(FolderPath), toUtf8(LinkName), toUtf8(LinkPath),
                                   toUtf8(LinkArguments), toUtf8(m_iconFile)};
    const bool written = m_shell.writeShellLink(link);
    if (!written)
        qCWarning(lcActions) << "shortcut not written:" << LinkName << "in" << FolderPath;
    return written;
}

bool SpecialFolders::Win_CreateShortCutSTKit(const QString &FolderName, const QString &LinkPath,
                                             const QString &LinkArguments, const QString &LinkName,
                                             bool AllUsers, bool InPrograms, bool /*Reserved*/)
{
    // The old consumer systems have no machine-wide menus; here, neither has
    // a system whose machine-wide menus this user may not write.
    if (AllUsers && (Win_Version().platformId == 1 || !m_shell.machineWideMenusWritable()))
        AllUsers = false;
    namespace id = platform::csidl;
    const int baseId = InPrograms ? (AllUsers ? id::CommonPrograms : id::Programs)
                                  : (AllUsers ? id::CommonStartMenu : id::StartMenu);
    const QString base = GetFolderLocation(baseId);
    const QString relative = relativeGroupName(FolderName);
    qCInfo(lcActions).noquote() << "shortcut" << LinkName << "in" << base << relative;
    if (base.isEmpty())
        return false;
    // The shell makes the group's folder as it writes the link.
    const QString group = fromUtf8(m_shell.groupFolder(toUtf8(base), toUtf8(relative), AllUsers));

    QCoreApplication::processEvents();
    const bool written = Win_CreateShortCut(group, LinkPath, LinkArguments, LinkName);
    QCoreApplication::processEvents();
    return written;
}

QString SpecialFolders::relativeGroupName(const QString &FolderName)
{
    if (FolderName.startsWith(u'.'))
        return FolderName;
    // The second character decides, as the toolkit's callers always did.
    return (FolderName.mid(1, 1) == u"\\"_s ? u"."_s : u".\\"_s) + FolderName;
}

platform::SystemVersion SpecialFolders::Win_Version()
{
    return m_shell.version();
}

QString SpecialFolders::errorText(std::uint32_t number)
{
    const QString text = fromUtf8(m_shell.errorText(number));
    return text.isEmpty() ? u"Error ("_s + QString::number(number) + u") not defined."_s : text;
}

void SpecialFolders::raiseError(std::uint32_t number, const QString &description,
                                const QString &source)
{
    qCDebug(lcActions) << "folder error" << number << description << source;
    emit FolderError(static_cast<qint32>(number), description, source);
}

} // namespace orvex
