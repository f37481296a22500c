#pragma once
// Runs the maintenance action whose text is chosen in the main form's list.
#include "actions/ActionContext.h"

#include <QString>

#include <memory>

namespace orvex {

class Downloads;

class MaintenanceDispatcher
{
public:
    MaintenanceDispatcher(const ActionContext &context, Downloads &downloads);

    // The scan timer stays off while the action runs and returns to what it
    // was. Texts are compared exactly; any other text does nothing. Pressed
    // while a scan tick's request holds the socket, the action runs as soon
    // as that request is over (cmdAccion stays disabled until then).
    void dispatch(const QString &actionText);

private:
    void run(const QString &actionText, bool timerWasOn);

    ActionContext m_ctx;
    Downloads &m_downloads;
    // Lets a deferred action see whether the dispatcher still exists.
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

} // namespace orvex
