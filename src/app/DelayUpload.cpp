#include "app/DelayUpload.h"

#include "app/ScanLog.h"
#include "support/Adds.h"

#include <QFileInfo>

using namespace Qt::Literals::StringLiterals;

namespace orvex {
namespace {
constexpr int kUploadTimeOutSeconds = 30;
}

QString delayUploadUrl(const DynIpServer &server, const QString &text, quint16 port)
{
    return u"http://"_s + server.Host + u':' + QString::number(port) +
           u"/ox//demoras.cgi?Prestador="_s + server.Domain.toLower() + u"&Content="_s +
           AddsUtilities::URL_Encode(text);
}

DelayUpload::DelayUpload(Adds &adds, platform::SocketX &socket, QString delaysFile, quint16 port)
    : m_adds(adds), m_socket(socket), m_delaysFile(std::move(delaysFile)), m_port(port)
{}

bool DelayUpload::tick(const std::vector<DynIpServer> &servers, ProgressCaption *progress)
{
    if (!m_adds.File_Exists(m_delaysFile) || !fileMayHaveChanged())
        return false;
    const QString text = m_adds.File_ReadBinary(m_delaysFile);
    if (text == m_lastHandled)
        return false;
    for (const DynIpServer &server : servers) {
        if (server.Version != u"V2"_s)
            continue;
        const AnsiText reply = m_adds.NET_HTTPget(m_socket, delayUploadUrl(server, text, m_port),
                                                  {}, {}, kUploadTimeOutSeconds, {}, progress);
        qCInfo(lcScan) << "delays sent to" << server.Name << reply.toString().section(u'\n', 0, 0);
    }
    m_lastHandled = text;
    return true;
}

bool DelayUpload::fileMayHaveChanged()
{
    const QFileInfo info(m_delaysFile);
    const qint64 size = info.size();
    const QDateTime modified = info.lastModified();
    // A file written again within the file system's time resolution may
    // keep its time and size: a recent one is always read.
    const bool recent = modified.secsTo(m_adds.clock().now()) < 3;
    if (size == m_readSize && modified == m_readModified && !recent)
        return false;
    m_readSize = size;
    m_readModified = modified;
    return true;
}

} // namespace orvex
