#pragma once
// Where the shell keeps the user's and the machine's special folders, and
// the shortcuts put into its menus. Failures never stop the caller: they are
// told by FolderError and leave an empty path.
#include "platform/ShellFolders.h"

#include <QObject>
#include <QString>

#include <functional>

namespace orvex {

class SpecialFolders : public QObject
{
    Q_OBJECT

public:
    using ErrorHandler =
        std::function<void(qint32 number, const QString &description, const QString &source)>;

    // Every folder is read here; `onError` hears the failures of these
    // first look-ups too.
    explicit SpecialFolders(platform::ShellFolders &shell, const ErrorHandler &onError = {},
                            QObject *parent = nullptr);

    QString ProgramFiles;
    QString CommonFavorites;
    QString ApplicationData;
    QString AlternateStartUp;
    QString CommonAlternateStartUp;
    QString History;
    QString InternetCache;
    QString CommonDesktop;
    QString CommonStartUp;
    QString StartMenuPrograms;
    QString CommonStartMenuPrograms;
    QString CommonStartMenu;
    QString WindowsTemporary;
    QString WindowsSystem;
    QString Windows;
    QString Cookies;
    QString Templates;
    QString StartMenu;
    QString SendTo;
    QString RecentDocuments;
    QString StartUp;
    QString Favorites;
    QString Documents;
    QString Desktop;

    // The folder of a shell folder id, without a trailing separator; "" when
    // the system has none.
    QString GetFolderLocation(qint32 FolderId);
    // A shortcut straight into `FolderPath`, no menu rules.
    bool Win_CreateShortCut(const QString &FolderPath, const QString &LinkPath,
                            const QString &LinkArguments, const QString &LinkName);
    // A shortcut in the group `FolderName` of the Start menu, or of its
    // Programs menu; for all users where the system has machine-wide menus.
    bool Win_CreateShortCutSTKit(const QString &FolderName, const QString &LinkPath,
                                 const QString &LinkArguments, const QString &LinkName,
                                 bool AllUsers, bool InPrograms, bool Reserved = false);
    platform::SystemVersion Win_Version();

    // The group path as the setup toolkit writes it: a name that does not
    // start with "." is made relative, looking at its second character.
    static QString relativeGroupName(const QString &FolderName);
    // The icon the shortcuts show; empty: each target's own.
    void setIconFile(const QString &path) { m_iconFile = path; }

signals:
    void FolderError(qint32 number, const QString &description, const QString &source);

private:
    QString systemFolder(platform::SystemFolder which);
    QString errorText(std::uint32_t number);
    void raiseError(std::uint32_t number, const QString &description, const QString &source);

    platform::ShellFolders &m_shell;
    QString m_iconFile;
};

} // namespace orvex
