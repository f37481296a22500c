#include "support/AddsSettings.h"
#include "support/clsINI.h"

namespace orvex {

AddsSettings::AddsSettings() = default;

AddsSettings::~AddsSettings() = default;

clsINI &AddsSettings::store()
{
    if (!m_ini)
        m_ini = std::make_unique<clsINI>();
    return *m_ini;
}

void AddsSettings::loadCurrent()
{
    // One or two characters cannot name a file; callers use that to leave
    // the store empty on purpose.
    if (CurrentFileName.size() < 3) {
        INI_FileName = QString();
        return;
    }
    INI_FileName = CurrentFileName;
    // Described before it is read: a change made meanwhile is read next time.
    m_readAs = describe(CurrentFileName);
    if (m_setAside && m_setAside->path == m_readAs.path && m_setAside->exists == m_readAs.exists &&
        m_setAside->size == m_readAs.size && m_setAside->modified == m_readAs.modified) {
        store() = *m_setAside->store; // shares the lines, copies nothing
        return;
    }
    store().LoadIniFile(CurrentFileName);
}

AddsSettings::LoadedFile AddsSettings::describe(const QString &path)
{
    // Straight from the file system: QFileInfo's time goes through the
    // local time zone, which costs more than reading a small file.
    namespace fs = std::filesystem;
    const fs::path file(path.toStdU16String());
    std::error_code error;
    LoadedFile seen{nullptr, path, fs::is_regular_file(file, error), 0, {}};
    if (seen.exists) {
        seen.size = static_cast<qint64>(fs::file_size(file, error));
        seen.modified = fs::last_write_time(file, error);
    }
    return seen;
}

void AddsSettings::INI_SetFileName(QString name)
{
    INI_PurgeBuffer();
    if (!CurrentFileName.isEmpty())
        LastFileName = CurrentFileName;
    CurrentFileName = name;
    loadCurrent();
}

void AddsSettings::INI_SetLastFileName()
{
    INI_PurgeBuffer();
    // With no previous file the store stays empty and CurrentFileName keeps
    // its value, so reads answer their defaults.
    if (LastFileName.isEmpty())
        return;
    CurrentFileName = LastFileName;
    loadCurrent();
}

QString AddsSettings::INI_GetString(QString section, QString key, QString defaultValue)
{
    if (trimBlanks(CurrentFileName).isEmpty())
        return trimBlanks(defaultValue);
    return store().ReadFrom(section, key, defaultValue);
}

qint16 AddsSettings::INI_PutString(QString section, QString key, QString value, bool DeferWrite)
{
    if (trimBlanks(CurrentFileName).isEmpty() || trimBlanks(key).isEmpty() ||
        trimBlanks(section).isEmpty())
        return 0;
    store().WriteTo(section, key, value);
    if (!DeferWrite)
        store().WriteIniFile();
    return 0;
}

void AddsSettings::INI_PurgeBuffer()
{
    clsINI &ini = store();
    const bool written = ini.Dirty();
    ini.WriteIniFile();
    const QString name = ini.FileName().toString();
    m_setAside.reset();
    if (!ini.Dirty() && !name.isEmpty() && (written || m_readAs.path == name)) {
        m_setAside = written ? describe(name) : std::move(m_readAs);
        m_setAside->store = std::make_unique<clsINI>(ini);
    }
    m_readAs = {};
    ini.Clear();
    ini.FileName(QString());
}

QVariant AddsSettings::INI_ListAppName()
{
    return store().ListSections();
}

QVariant AddsSettings::INI_DeleteAppName(QString section)
{
    store().DeleteSection(section);
    store().WriteIniFile();
    return true;
}

} // namespace orvex
