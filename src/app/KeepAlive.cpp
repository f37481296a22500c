#include "app/KeepAlive.h"

#include "app/ScanLog.h"
#include "app/ScanStatus.h"
#include "support/Adds.h"
#include "support/Net.h"

using namespace Qt::Literals::StringLiterals;

namespace orvex {
namespace {

constexpr int kKeepAliveTimeOutSeconds = 20;

QString firstLine(const QString &text)
{
    return text.section(u'\n', 0, 0).remove(u'\r').trimmed();
}

} // namespace

QString keepAliveUrl(const DynIpServer &server)
{
    return server.Host + u':' + server.Port + u"/DynIP?CMD=KEEPALIVE&&DOMAINNAME="_s +
           server.Domain + u"&&REMOTEIP=192.168.0.1"_s;
}

bool isKeepAliveAnswer(const AnsiText &reply)
{
    return reply.contains(u"R:"_s) && reply.contains(u"Lumaris"_s);
}

KeepAliveSender::KeepAliveSender(Adds &adds, platform::SocketX &socket, Net &net)
    : m_adds(adds), m_socket(socket), m_net(net)
{}

KeepAliveOutcome KeepAliveSender::send(const DynIpServer &server)
{
    QString failure;
    if (server.Version == u"V2"_s) {
        const AnsiText reply =
            m_adds.NET_HTTPget(m_socket, keepAliveUrl(server), {}, {}, kKeepAliveTimeOutSeconds);
        if (isKeepAliveAnswer(reply))
            return {server_state::Online, {}};
        failure = reply.isEmpty() ? u"sin respuesta"_s : firstLine(reply.toString());
    } else if (server.Version == u"V1"_s) {
        if (m_adds.SocketX_UDP(m_socket, server.Host, server.Port, server.Domain))
            return {server_state::Online, {}};
        failure = u"sin respuesta"_s;
    } else {
        failure = u"versión desconocida: "_s + server.Version;
    }
    if (m_net.DoPing(server.Host))
        return {server_state::ServiceDown, failure};
    return {server_state::Unreachable, m_net.PingError};
}

} // namespace orvex
