#pragma once
// Publishes the delay board's file to every "V2" server of the centre once
// its text has changed.
#include "app/DynIpServer.h"

#include <QDateTime>
#include <QString>

#include <vector>

namespace orvex {

class Adds;
class ProgressCaption;
namespace platform {
class SocketX;
}

// The centre takes delays on this port, whatever port a server's entry names.
constexpr quint16 kDelayUploadPort = 9750;

// The upload carries the doubled slash where "/ox/" meets the script's path,
// and the domain in lower case; the centre expects both.
QString delayUploadUrl(const DynIpServer &server, const QString &text,
                       quint16 port = kDelayUploadPort);

class DelayUpload
{
public:
    DelayUpload(Adds &adds, platform::SocketX &socket, QString delaysFile,
                quint16 port = kDelayUploadPort);

    // Sends the file's text to every "V2" server when it exists and differs
    // from the text handled last; `progress` shows the transfers. True when
    // there was something to send.
    bool tick(const std::vector<DynIpServer> &servers, ProgressCaption *progress);

    QString lastHandled() const { return m_lastHandled; }

private:
    // Whether the file may differ from what was read last: it is read and
    // compared only then, not every second.
    bool fileMayHaveChanged();

    Adds &m_adds;
    platform::SocketX &m_socket;
    QString m_delaysFile;
    QString m_lastHandled;
    qint64 m_readSize = -1;
    QDateTime m_readModified;
    quint16 m_port;
};

} // namespace orvex
