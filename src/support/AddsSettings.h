#pragma once
// The settings family of the utility class: one INI file at a time, held in
// memory by a clsINI store. Reads come from memory; a write changes memory
// and, unless deferred, rewrites the whole file.
#include <QString>
#include <QVariant>
#include <QtGlobal>

#include <filesystem>
#include <memory>
#include <optional>

namespace orvex {

class clsINI;

class AddsSettings
{
public:
    AddsSettings();
    ~AddsSettings();
    AddsSettings(const AddsSettings &) = delete;
    AddsSettings &operator=(const AddsSettings &) = delete;

    // Writes what is pending in the current file, then selects and loads
    // `name`. A name shorter than 3 characters loads nothing.
    void INI_SetFileName(QString name);
    // Back to the file in use before the last INI_SetFileName; calling it
    // twice returns to the same file both times.
    void INI_SetLastFileName();
    QString INI_GetString(QString section, QString key, QString defaultValue);
    // Always 0; callers ignore it.
    qint16 INI_PutString(QString section, QString key, QString value, bool DeferWrite = false);
    // Writes pending changes and empties the store.
    void INI_PurgeBuffer();
    QVariant INI_ListAppName();
    QVariant INI_DeleteAppName(QString section);

    // The name actually loaded, or an empty string when none was.
    QVariant INI_FileName = QString();

private:
    clsINI &store();
    void loadCurrent();

    QString CurrentFileName;
    QString LastFileName;
    std::unique_ptr<clsINI> m_ini;

    // The last file read, as the store held it when it was set aside, and
    // how the disk showed the file then: a file selected again unchanged
    // (start-up selects "Orvex.ini" twice) is not read again.
    struct LoadedFile
    {
        std::unique_ptr<clsINI> store;
        QString path;
        bool exists = false;
        qint64 size = 0;
        std::filesystem::file_time_type modified;
    };
    std::optional<LoadedFile> m_setAside;
    // How the disk showed the store's file when it was read or last written.
    LoadedFile m_readAs;
    static LoadedFile describe(const QString &path);
};

} // namespace orvex
