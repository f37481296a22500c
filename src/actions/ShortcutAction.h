#pragma once
// "Crear accesos directos": the agent and the family's modules in the
// family's program group and, when the user asks, in the start-up group.
#include "actions/ActionContext.h"

#include <QString>

namespace orvex {

class SpecialFolders;

class ShortcutAction
{
public:
    // `agentProgram` is the agent's own program file: it stands for the
    // "Orvex.exe" row whatever it is called where the agent runs.
    ShortcutAction(const ActionContext &context, SpecialFolders &folders, QString agentProgram);

    void run();

private:
    struct Row
    {
        const char16_t *file;
        const char16_t *caption;
    };
    void createGroup(const QString &group, std::initializer_list<Row> rows);
    QString targetOf(const QString &file) const;

    ActionContext m_ctx;
    SpecialFolders &m_folders;
    QString m_agentProgram;
};

} // namespace orvex
