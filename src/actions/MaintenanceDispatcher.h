#pragma once
// Runs the maintenance action whose text is chosen in the main form's list.
#include "actions/ActionContext.h"

#include <QString>

namespace orvex {

class Downloads;

class MaintenanceDispatcher
{
public:
    MaintenanceDispatcher(const ActionContext &context, Downloads &downloads);

    // The scan timer stays off while the action runs and returns to what it
    // was. Texts are compared exactly; any other text does nothing.
    void dispatch(const QString &actionText);

private:
    ActionContext m_ctx;
    Downloads &m_downloads;
};

} // namespace orvex
