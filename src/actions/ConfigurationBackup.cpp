#include "actions/ConfigurationBackup.h"

#include "actions/Downloads.h"
#include "platform/MessageBoxes.h"
#include "support/Adds.h"
#include "support/FormQuery.h"
#include "support/ReplyScanner.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>

using namespace Qt::Literals::StringLiterals;

Q_DECLARE_LOGGING_CATEGORY(lcActions)

namespace orvex {
namespace {

const QString kArchiver = u"pkzip25.exe"_s;

// The statuses with which a server refuses a request for its length or for
// the bytes in its request line (RFC 2616 section 10.4.1 and 10.4.14-15,
// RFC 6585 section 5).
bool refusesTheRequestLine(int status)
{
    return status == 400 || status == 413 || status == 414 || status == 431;
}

// A path as a parameter of the archiver's command line.
QString quoted(const QString &path)
{
    return u'"' + QDir::toNativeSeparators(path) + u'"';
}

} // namespace

ConfigurationBackup::ConfigurationBackup(const ActionContext &context, Downloads &downloads)
    : m_ctx(context), m_downloads(downloads)
{}

QString ConfigurationBackup::path(const QString &name) const
{
    return m_ctx.programFolder + u'/' + name;
}

void ConfigurationBackup::save(const QString &company, const QString &pcName)
{
    Adds &adds = *m_ctx.adds;
    m_ctx.setLabelAvance(u"..."_s);
    const QString archive = path(u"Instalables/Configuracion.zip"_s);
    if (adds.File_Exists(archive))
        QFile::remove(archive);
    m_downloads.DownloadAndRun(kArchiver,
                               u"-add -directories=relative "_s + quoted(archive) + u' ' +
                                   quoted(path(u"*.ini"_s)) + u' ' + quoted(path(u"*.dbs"_s)),
                               u"/"_s, false, false, false);

    // The archive's bytes travel escaped inside the query of one request,
    // escaped as they are read from the file: nothing holds the whole
    // request.
    const QString url = u"http://"_s + m_ctx.homeHost + u"/ox/uploadconfiguration.cgi"_s;
    FormQuery fields;
    fields
        .append(QByteArray("empresa=" + AddsUtilities::URL_Encode(company).toLatin1() +
                           "&pcname=" + AddsUtilities::URL_Encode(pcName).toLatin1() +
                           "&filename=Configuracion.zip&content="))
        .appendEncodedFile(archive);
    AnsiText reply =
        adds.NET_HTTPform(*m_ctx.socket, HttpMethod::Get, url, fields, 0, m_ctx.labelStatus);
    if (const int status = httpStatus(reply.mid(0, 64)); refusesTheRequestLine(status)) {
        // A stock web server limits the request line (Apache 414 above about
        // 8 KB, lighttpd 431) and refuses escaped control bytes in it
        // (lighttpd 400): the same fields once more, as a form's body.
        qCInfo(lcActions) << "backup refused as a GET with status" << status << ": POST";
        reply =
            adds.NET_HTTPform(*m_ctx.socket, HttpMethod::Post, url, fields, 0, m_ctx.labelStatus);
    }
    if (reply.contains(u"R:OK"_s)) {
        m_ctx.setLabelAvance(u"Backup correcto!."_s);
        return;
    }
    qCWarning(lcActions) << "backup not taken:" << reply.mid(0, 200);
    m_ctx.boxes->notify(platform::BoxIcon::Critical, QCoreApplication::applicationName(),
                        u"No pudo subirse el backup al server en Internet. Reintente la "
                        u"operación."_s);
    m_ctx.setLabelAvance(u"Backup fallido."_s);
}

void ConfigurationBackup::restore(const QString &company, const QString &pcName)
{
    m_ctx.setLabelAvance(u"..."_s);
    const QString request = u"downloadconfiguration.cgi?empresa="_s +
                            AddsUtilities::URL_Encode(company) + u"&pcname="_s +
                            AddsUtilities::URL_Encode(pcName);
    const QString archive = path(u"Instalables/temp.zip"_s);
    m_downloads.DownloadAndRun(request, {}, u"/ox/"_s, true, true, true, archive);
    m_downloads.DownloadAndRun(kArchiver,
                               u"-extract -overwrite=all "_s + quoted(archive) + u' ' +
                                   quoted(m_ctx.programFolder),
                               u"/"_s, false, false, false);
    // Whatever happened above: the restore judges nothing.
    m_ctx.setLabelAvance(u"Instalacion finalizada!."_s);
}

} // namespace orvex
