#pragma once
// One keep-alive to one dynamic-IP server and what it says about the server.
#include "app/DynIpServer.h"
#include "support/AnsiText.h"

#include <QString>

namespace orvex {

class Adds;
class Net;
namespace platform {
class SocketX;
}

// "V2": the HTTP request line's target, with the doubled "&&" and the fixed
// remote address the centre's protocol expects; the domain goes as it is.
QString keepAliveUrl(const DynIpServer &server);

// The centre answers a keep-alive it accepted with "R:" and its maker's name.
bool isKeepAliveAnswer(const AnsiText &reply);

struct KeepAliveOutcome
{
    qint32 state = 0;
    // Why it failed, in one line, for the server's tool tip; empty on success.
    QString failure;
};

class KeepAliveSender
{
public:
    // Not owned; they must outlive the sender.
    KeepAliveSender(Adds &adds, platform::SocketX &socket, Net &net);

    // Sends by the server's version ("V2" over HTTP, "V1" as one datagram
    // holding the domain, anything else fails) and, after a failure, pings
    // the host to tell a dead service (2) from an unreachable host (1).
    KeepAliveOutcome send(const DynIpServer &server);

private:
    Adds &m_adds;
    platform::SocketX &m_socket;
    Net &m_net;
};

} // namespace orvex
