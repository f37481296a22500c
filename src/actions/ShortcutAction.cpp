#include "actions/ShortcutAction.h"

#include "actions/SpecialFolders.h"
#include "platform/MessageBoxes.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

using namespace Qt::Literals::StringLiterals;

namespace orvex {
namespace {

constexpr auto kAgentFile = u"\\Orvex.exe";

} // namespace

ShortcutAction::ShortcutAction(const ActionContext &context, SpecialFolders &folders,
                               QString agentProgram)
    : m_ctx(context), m_folders(folders), m_agentProgram(std::move(agentProgram))
{
    const QString icon = m_ctx.programFolder + u"/resources/orvex.png"_s;
    if (QFileInfo::exists(icon))
        m_folders.setIconFile(QDir::toNativeSeparators(icon));
}

void ShortcutAction::run()
{
    m_ctx.setLabelAvance(u"..."_s);
    const platform::Answer answer = m_ctx.boxes->show(
        {QCoreApplication::applicationName(),
         u"Desea que también se creen accesos directos en el Inicio, para que el sistema se "
         u"ejecute automáticamente al iniciar la PC?"_s,
         platform::BoxIcon::Question, platform::BoxButtons::YesNo, platform::DefaultButton::Second});
    if (answer == platform::Answer::Yes) {
        // Fewer than in the group: only what must run with the PC.
        createGroup(u"Inicio"_s, {{kAgentFile, u"Orvex"},
                                  {u"\\OxExchange.exe", u"OxExchange"},
                                  {u"\\SD_NORTE.exe", u"SD Norte"},
                                  {u"\\SD_SUR.exe", u"SD Sur"},
                                  {u"\\SDCliente.exe", u"SD Cliente"},
                                  {u"\\SendaroGestion.exe", u"SendaroGestion"}});
    }
    createGroup(u"Sendaro"_s, {{kAgentFile, u"Orvex"},
                               {u"\\OxExchange.exe", u"OxExchange"},
                               {u"\\SD_NORTE.exe", u"SD Norte"},
                               {u"\\SD_SUR.exe", u"SD Sur"},
                               {u"\\SDCliente.exe", u"SD Cliente"},
                               {u"\\SendaroOperador.exe", u"SendaroOperador"},
                               {u"\\SendaroGestion.exe", u"SendaroGestion"},
                               {u"\\SendaroReportes.exe", u"SendaroReportes"},
                               {u"\\SendaroConfigurador.exe", u"SendaroConfigurador"},
                               {u"\\SendaroOperador.hlp", u"Ayuda de SendaroOperador"},
                               {u"\\SendaroGestion.hlp", u"Ayuda de SendaroGestion"},
                               {u"\\SendaroReportes.hlp", u"Ayuda de SendaroReportes"}});
    m_ctx.setLabelAvance(u"Creacion de iconos finalizada!."_s);
}

void ShortcutAction::createGroup(const QString &group, std::initializer_list<Row> rows)
{
    for (const Row &row : rows) {
        const QString target = targetOf(QString::fromUtf16(row.file));
        // A module that is not installed gets no shortcut, and no word.
        if (target.isEmpty() || !QFileInfo::exists(target))
            continue;
        // A link that fails is not reported; the next one is still tried.
        m_folders.Win_CreateShortCutSTKit(group, QDir::toNativeSeparators(target), QString(),
                                          QString::fromUtf16(row.caption), true, true, false);
    }
}

QString ShortcutAction::targetOf(const QString &file) const
{
#ifndef Q_OS_WIN
    if (file == QStringView(kAgentFile))
        return m_agentProgram;
#endif
    return m_ctx.programFolder + u'/' + file.mid(1);
}

} // namespace orvex
