#include "actions/MaintenanceDispatcher.h"

#include "actions/ConfigurationBackup.h"
#include "actions/Downloads.h"
#include "actions/OnlineUpdate.h"
#include "platform/SocketX.h"
#include "support/Adds.h"

#include <QLoggingCategory>

#include <utility>

using namespace Qt::Literals::StringLiterals;

Q_DECLARE_LOGGING_CATEGORY(lcActions)

namespace orvex {

MaintenanceDispatcher::MaintenanceDispatcher(const ActionContext &context, Downloads &downloads)
    : m_ctx(context), m_downloads(downloads)
{}

void MaintenanceDispatcher::dispatch(const QString &actionText)
{
    if (m_waiting.isEmpty() && !(m_ctx.socket && m_ctx.socket->Busy())) {
        run(actionText, m_ctx.timerScanEnabled());
        return;
    }
    // Pressed inside the wait of a request (a scan tick's, say): that
    // request can only end once this returns, so the action follows it,
    // after any pressed before it.
    qCInfo(lcActions) << "action:" << actionText << "waits for the request in progress";
    if (m_waiting.isEmpty()) {
        m_timerBeforeWaiting = m_ctx.timerScanEnabled();
        m_ctx.setTimerScanEnabled(false);
        if (m_ctx.enableCmdAccion)
            m_ctx.enableCmdAccion(false);
        m_ctx.socket->WhenFree([this, alive = std::weak_ptr<bool>(m_alive)] {
            if (alive.expired())
                return;
            if (m_ctx.enableCmdAccion)
                m_ctx.enableCmdAccion(true);
            for (const QString &text : std::exchange(m_waiting, {}))
                run(text, m_timerBeforeWaiting);
        });
    }
    m_waiting << actionText;
}

void MaintenanceDispatcher::run(const QString &actionText, bool timerWasOn)
{
    Adds &adds = *m_ctx.adds;
    m_ctx.setTimerScanEnabled(false);

    adds.INI_SetFileName(m_ctx.programFolder + u"/Orvex.ini"_s);
    const QString company = adds.INI_GetString(u"Registracion"_s, u"Empresa"_s, QString());
    adds.INI_SetLastFileName();
    const QString pcName = adds.NET_CurrentMachineName();

    qCInfo(lcActions) << "action:" << actionText;
    ConfigurationBackup backup(m_ctx, m_downloads);
    if (actionText == u"Actualizar sistema por Internet"_s) {
        OnlineUpdate(m_ctx).run(company, pcName);
    } else if (actionText == u"Recuperar configuración por Internet"_s) {
        backup.restore(company, pcName);
    } else if (actionText == u"Guardar configuración por Internet"_s) {
        backup.save(company, pcName);
    } else if (actionText == u"Crear accesos directos"_s) {
        if (m_ctx.createShortcuts)
            m_ctx.createShortcuts();
    }
    // Any other text does nothing: the separator line, an empty choice, and
    // the two history entries ("Guardar/Recuperar histórico de casos por
    // Internet"), which stay in the list with nothing behind them.
    m_ctx.setTimerScanEnabled(timerWasOn);
}

} // namespace orvex
