#include "app/ExchangeHelper.h"

#include "app/ScanLog.h"
#include "platform/ProcessWindows.h"
#include "support/Adds.h"

#include <QDir>

using namespace Qt::Literals::StringLiterals;

namespace orvex {

ExchangeHelper::ExchangeHelper(Adds &adds, QString programFolder)
    : m_adds(adds), m_programFolder(std::move(programFolder))
{}

ExchangeHelper::~ExchangeHelper()
{
    // The program goes on running on its own; only our handle goes.
    if (platform::ProcessWindows *pw = m_adds.services().processWindows; pw && m_started)
        pw->release(m_started);
}

bool ExchangeHelper::tick()
{
    platform::ProcessWindows *pw = m_adds.services().processWindows;
    if (!pw)
        return false;
    if (m_started) {
        if (pw->isRunning(m_started))
            return false;
        pw->release(m_started);
        m_started = 0;
    }
    // "No window and the program is there", asked in the cheaper order: on
    // most machines there is no program, and the window search costs more.
    const QString program = m_programFolder + u"/OxExchange.exe"_s;
    if (!m_adds.File_Exists(program))
        return false;
    if (m_adds.App_IsRunningForNT(u"OxExchange"_s))
        return false;
    const QString commandLine = u'"' + QDir::toNativeSeparators(program) + u'"';
    m_started = pw->startProcess(commandLine.toStdString(), m_programFolder.toStdString(),
                                 platform::StartMode::NormalWindow);
    qCInfo(lcScan).noquote() << (m_started ? "started" : "could not start") << program;
    return m_started != 0;
}

} // namespace orvex
