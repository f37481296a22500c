#include "app/SiblingFolders.h"

#include "app/ScanLog.h"
#include "support/Adds.h"
#include "support/Clock.h"

#include <QDir>

#include <array>

using namespace Qt::Literals::StringLiterals;

namespace orvex {

SiblingFolders::SiblingFolders(Adds &adds, const Clock &clock, QString programFolder,
                               QString ownIni)
    : m_adds(adds), m_clock(clock), m_programFolder(std::move(programFolder)),
      m_ownIni(std::move(ownIni))
{}

void SiblingFolders::tick()
{
    const QDateTime now = m_clock.now();
    if (wholeMinutesBetween(m_nextCheck, now) < 0)
        return;
    m_nextCheck = now.addSecs(kCheckEveryMinutes * 60);
    check();
}

bool SiblingFolders::check()
{
    const QString module = m_programFolder + u"/SendaroGestion.exe"_s;
    if (!m_adds.File_Exists(module))
        return false;
    // Only majors 1 and 2 keep their folders in this file.
    const double version = m_adds.File_GetVersion(module, true).toDouble();
    if (!(version > 0 && version < 3))
        return false;

    struct Folder
    {
        QString key, sub;
    };
    const std::array<Folder, 3> folders{{{u"Pendientes"_s, u"Eventos/Nuevos"_s},
                                         {u"En Proceso"_s, u"Eventos/Proceso"_s},
                                         {u"Historico"_s, u"Eventos/Historico"_s}}};
    const QString section = u"Directorios"_s;
    m_adds.INI_SetFileName(m_programFolder + u"/Movilar.ini"_s);
    for (const Folder &f : folders) {
        const QString value = m_adds.INI_GetString(section, f.key, QString());
        if (value.contains(u':'))
            continue;
        const QString folder = QDir::toNativeSeparators(m_programFolder + u'/' + f.sub);
        qCInfo(lcScan).noquote() << "Movilar.ini" << f.key << ":" << value << "->" << folder;
        m_adds.INI_PutString(section, f.key, folder);
    }
    m_adds.INI_SetFileName(m_ownIni);
    return true;
}

} // namespace orvex
