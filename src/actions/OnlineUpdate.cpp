#include "actions/OnlineUpdate.h"

#include "actions/Downloads.h"
#include "platform/MessageBoxes.h"
#include "support/Adds.h"

#include <QCoreApplication>
#include <QDir>
#include <QLoggingCategory>
#include <QSaveFile>

#include <algorithm>
#include <optional>

using namespace Qt::Literals::StringLiterals;

Q_DECLARE_LOGGING_CATEGORY(lcActions)

namespace orvex {
namespace {

constexpr int kListTimeOutSeconds = 0; // the client's 10 seconds
constexpr int kFileTimeOutSeconds = 60;
// Any answer this short means the file is up to date.
constexpr qsizetype kNothingToDo = 5;

// Where the reply's body starts: after the first empty line, or nowhere.
std::optional<qsizetype> bodyStart(const AnsiText &reply)
{
    const qsizetype end = reply.indexOf("\r\n\r\n");
    if (end < 0)
        return std::nullopt;
    return end + 4;
}

// The value of header `name`, its name compared without regard to case.
std::optional<QByteArray> headerValue(const QByteArray &headers, const QByteArray &name)
{
    for (const QByteArray &line : headers.split('\n')) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0 && line.left(colon).trimmed().compare(name, Qt::CaseInsensitive) == 0)
            return line.mid(colon + 1).trimmed();
    }
    return std::nullopt;
}

} // namespace

OnlineUpdate::OnlineUpdate(const ActionContext &context) : m_ctx(context) {}

bool OnlineUpdate::isSafeRelativeName(const QString &fileName)
{
    const QString name = QString(fileName).replace(u'\\', u'/');
    if (name.isEmpty() || name.startsWith(u'/') || name.contains(u':'))
        return false;
    // The system reads a name only up to a NUL ("Orvex.exe\0.txt" would be
    // "Orvex.exe"), and no file of a module carries a control character.
    if (std::any_of(name.begin(), name.end(),
                    [](QChar c) { return c.unicode() < 0x20 || c == u'\x7F'; }))
        return false;
    const QStringList parts = name.split(u'/');
    return std::none_of(parts.begin(), parts.end(),
                        [](const QString &p) { return p == u".."_s || p.isEmpty(); });
}

void OnlineUpdate::run(const QString &company, const QString &pcName)
{
    Adds &adds = *m_ctx.adds;
    const QString title = QCoreApplication::applicationName();
    m_ctx.setTimerScanEnabled(false);
    m_ctx.boxes->notify(platform::BoxIcon::Information, title,
                        u"Por favor cierre todos los módulos de Sendaro que tenga en uso "
                        u"incluyendo los que esten abiertos en otros ordenadores si tiene una "
                        u"versión para red, excepto este (Orvex).\r\nAl finalizar el proceso de "
                        u"actualización se le informará para que retome su operación normal."_s);
    m_ctx.setLabelAvance(u"..."_s);
    QString key = m_ctx.boxes
                      ->inputBox({u"Ingrese el nombre clave del módulo que desea "
                                  u"actualizar/instalar\r\n(en blanco para el módulo general):"_s,
                                  title, QString()})
                      .value_or(QString());
    if (key.isEmpty())
        key = u"Ox"_s;

    const QString url = u"http://"_s + m_ctx.homeHost + u"/ox/updatelistfiles.cgi?empresa="_s +
                        AddsUtilities::URL_Encode(company) + u"&pcname="_s +
                        AddsUtilities::URL_Encode(pcName) + u"&group="_s +
                        AddsUtilities::URL_Encode(key);
    const AnsiText reply =
        adds.NET_HTTPget(*m_ctx.socket, url, {}, {}, kListTimeOutSeconds, {}, m_ctx.labelStatus);
    const std::optional<qsizetype> listStart = bodyStart(reply);
    QString list =
        listStart ? ansi::decode(reply.mid(*listStart, reply.size())).remove(u'\r') : QString();
    // One name a line; the first empty line ends the list.
    bool allDone = true;
    for (QString piece = AddsUtilities::Var_GetPart(list, u"\n"_s, true); !piece.isEmpty();
         piece = AddsUtilities::Var_GetPart(list, u"\n"_s, true)) {
        m_ctx.setLabelAvance(u"Chequeando "_s + piece);
        allDone = UpdateIfIsPossible(company, pcName, key, piece) && allDone;
    }
    qCInfo(lcActions) << "update of" << key << (allDone ? "complete" : "left files behind");
    m_ctx.setLabelAvance(u"Actualización finalizada!"_s);
    m_ctx.boxes->notify(platform::BoxIcon::Information, title,
                        u"El proceso de actualización/instalación ha finalizado.\r\nYa puede "
                        u"volver a abrir las aplicaciones de Sendaro que tenia en uso, gracias."_s);
    m_ctx.setTimerScanEnabled(true);
}

bool OnlineUpdate::UpdateIfIsPossible(const QString &Company, const QString &PcName,
                                      const QString &Group, const QString &FileName)
{
    Adds &adds = *m_ctx.adds;
    m_ctx.enableCmdAccion(false);
    const auto enable = qScopeGuard([this] { m_ctx.enableCmdAccion(true); });
    if (!isSafeRelativeName(FileName)) {
        qCWarning(lcActions) << "update refused for" << FileName << ": not inside the program";
        return false;
    }
    const QString local = m_ctx.programFolder + u'/' + QString(FileName).replace(u'\\', u'/');
    const QString version = adds.File_GetVersion(local).toString();
    const QString url =
        u"http://"_s + m_ctx.homeHost + u"/ox/updategetfile.cgi?empresa="_s +
        AddsUtilities::URL_Encode(Company) + u"&group="_s + AddsUtilities::URL_Encode(Group) +
        u"&pcname="_s + AddsUtilities::URL_Encode(PcName) + u"&filename="_s +
        AddsUtilities::URL_Encode(FileName) + u"&version="_s + AddsUtilities::URL_Encode(version);
    const AnsiText reply =
        adds.NET_HTTPget(*m_ctx.socket, url, {}, {}, kFileTimeOutSeconds, {}, m_ctx.labelStatus);
    // The body may be a spooled file of gigabytes: it is measured and copied
    // where it lies, never read in whole.
    const std::optional<qsizetype> start = bodyStart(reply);
    const qsizetype bodySize = start ? reply.size() - *start : 0;
    if (bodySize <= kNothingToDo)
        return true;
    const auto length = headerValue(reply.mid(0, *start), "content-length");
    if (length && length->toLongLong() != bodySize) {
        qCInfo(lcActions) << FileName << "arrived cut short: the old file stays";
        return false;
    }
    // The new file is written beside the old one and then takes its place.
    QDir().mkpath(QFileInfo(local).absolutePath());
    QSaveFile next(local + u".orvex-new"_s);
    if (!next.open(QIODevice::WriteOnly) || !reply.writeTo(next, *start) || !next.commit()) {
        qCWarning(lcActions) << "cannot write" << local << next.errorString();
        return false;
    }
    const bool replaced = replaceFile(local + u".orvex-new"_s, local);
    qCInfo(lcActions) << FileName << (replaced ? "updated from" : "not replaced, was") << version;
    return replaced;
}

} // namespace orvex
