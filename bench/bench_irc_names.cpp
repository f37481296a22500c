// CPU the chat client spends on a crowded channel: a scripted server on
// loopback welcomes it, then N users join the channel (default 60,000), each
// is renamed once and leaves again. The process's CPU time from the first
// JOIN to the last line read is printed; it should grow with N, not N².
//   bench_irc_names [N]
#include "platform/IrcClient.h"

#include <QCoreApplication>
#include <QTcpServer>
#include <QTcpSocket>

#include <cstdio>
#include <ctime>

using namespace orvex;
using namespace Qt::Literals::StringLiterals;

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int n = argc > 1 ? QByteArray(argv[1]).toInt() : 60000;
    QTcpServer server;
    if (!server.listen(QHostAddress::LocalHost, 0))
        return 1;
    QByteArray joins, renames, parts;
    for (int i = 0; i < n; ++i) {
        const QByteArray nick = "user" + QByteArray::number(i);
        joins += ':' + nick + "!u@h JOIN #ox2k4\r\n";
        renames += ':' + nick + "!u@h NICK " + nick + "x\r\n";
        parts += ':' + nick + "x!u@h PART #ox2k4\r\n";
    }
    std::clock_t cpu0 = 0;
    QTcpSocket *link = nullptr;
    QObject::connect(&server, &QTcpServer::newConnection, [&] {
        link = server.nextPendingConnection();
        link->write(":irc.t 001 prov1 :Hola\r\n");
        cpu0 = std::clock();
        link->write(joins + ":irc.t 999 prov1 :joined\r\n");
    });
    platform::IrcClient client;
    client.setServerHost(u"127.0.0.1"_s);
    client.setPort(server.serverPort());
    client.setChannel(u"#ox2k4"_s);
    client.setNickName(u"prov1"_s);
    client.Connect();
    qsizetype joined = -1;
    for (bool done = false; !done;) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        for (const QString &item : client.takeReceived()) {
            if (item.contains(u"\tjoined\t"_s)) {
                joined = client.Nicknames().size();
                link->write(renames + parts + ":irc.t 999 prov1 :done\r\n");
            }
            done = done || item.contains(u"\tdone\t"_s);
        }
    }
    const double ms = double(std::clock() - cpu0) * 1000.0 / CLOCKS_PER_SEC;
    std::printf("%d users joined (%lld names seen), renamed and left: %.0f ms of CPU\n", n,
                static_cast<long long>(joined), ms);
    return joined == n && client.Nicknames().isEmpty() ? 0 : 1;
}
