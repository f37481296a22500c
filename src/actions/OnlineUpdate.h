#pragma once
// Brings a module's files up to date from the home server, one file at a
// time: the server lists the files, and for each the agent says the version it
// has and gets either a short "nothing to do" or the new file.
#include "actions/ActionContext.h"

#include <QString>

namespace orvex {

class OnlineUpdate
{
public:
    explicit OnlineUpdate(const ActionContext &context);

    // The whole action, with its two information boxes and the question for
    // the module's key ("Ox" when left blank).
    void run(const QString &company, const QString &pcName);

    // One file: true when it was up to date or has been replaced, false when
    // the new file arrived incomplete or its name is refused.
    bool UpdateIfIsPossible(const QString &Company, const QString &PcName, const QString &Group,
                            const QString &FileName);

    // A name the server may give: relative, no drive, no "..", so that an
    // update never writes outside the program folder.
    static bool isSafeRelativeName(const QString &fileName);

private:
    ActionContext m_ctx;
};

} // namespace orvex
