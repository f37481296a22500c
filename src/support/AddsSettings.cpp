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
    store().LoadIniFile(CurrentFileName);
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
    ini.WriteIniFile();
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
