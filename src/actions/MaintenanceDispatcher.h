#pragma once
// Runs the maintenance action whose text is chosen in the main form's list.
#include "actions/ActionContext.h"

#include <QString>
#include <QStringList>

#include <memory>

namespace orvex {

class Downloads;

class MaintenanceDispatcher
{
public:
    MaintenanceDispatcher(const ActionContext &context, Downloads &downloads);

    // The scan timer stays off while the action runs and returns to what it
    // was. Texts are compared exactly; any other text does nothing. Pressed
    // while a request holds the socket (a scan tick's), the action runs as
    // soon as that request is over, after any others waiting; the timer is
    // off and cmdAccion disabled until then.
    void dispatch(const QString &actionText);

private:
    void run(const QString &actionText, bool timerWasOn);

    ActionContext m_ctx;
    Downloads &m_downloads;
    // Actions pressed while the socket was busy, in order, and the scan
    // timer's state from before the first of them.
    QStringList m_waiting;
    bool m_timerBeforeWaiting = false;
    // Lets the waiting actions see whether the dispatcher still exists.
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

} // namespace orvex
