// CPU used by NET_HTTPget while it waits for a server that accepts the
// connection and then says nothing: the call runs into its 10-second deadline.
// The process's CPU time (user + system, all threads) over the call is
// divided by the wall time; the target is below 1 %.
#include "platform/SocketX.h"
#include "support/AddsHttp.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>

#include <cstdio>
#include <ctime>

using namespace orvex;
using namespace Qt::Literals::StringLiterals;

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTcpServer silent;
    if (!silent.listen(QHostAddress::LocalHost, 0))
        return 1;
    QList<QTcpSocket *> held; // accepted and never answered
    QObject::connect(&silent, &QTcpServer::newConnection, [&] {
        while (QTcpSocket *s = silent.nextPendingConnection())
            held << s;
    });

    AddsHttp http;
    platform::SocketX socket;
    const QString url = u"http://127.0.0.1:%1/DynIP?CMD=KEEPALIVE"_s.arg(silent.serverPort());
    qint16 seconds = 10;

    QElapsedTimer wall;
    wall.start();
    const std::clock_t cpu0 = std::clock();
    const QString reply = http.NET_HTTPget(socket, url, {}, {}, seconds);
    const double cpuMs = double(std::clock() - cpu0) * 1000.0 / CLOCKS_PER_SEC;
    const double wallMs = double(wall.nsecsElapsed()) / 1e6;

    std::printf("silent server: waited %.0f ms, CPU %.1f ms = %.3f %% (target < 1 %%), reply "
                "%lld characters, %s\n",
                wallMs, cpuMs, 100.0 * cpuMs / wallMs, qlonglong(reply.size()),
                held.size() == 1 ? "1 connection" : "unexpected connection count");
    return cpuMs / wallMs < 0.01 ? 0 : 2;
}
