// orvex-centre: a reference server for every request the agent makes.
#include "centre/CentreServer.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>

#include <csignal>
#include <cstdio>

using namespace Qt::Literals::StringLiterals;

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"orvex-centre"_s);
    QCommandLineParser cli;
    cli.setApplicationDescription(u"Reference centre for the Orvex agent: keep-alives, delays, "
                                  u"configurations, updates and the archiver."_s);
    cli.addHelpOption();
    const QCommandLineOption data(u"data"_s, u"Folder that keeps what the centre receives."_s,
                                  u"folder"_s, u"centre-data"_s);
    const QCommandLineOption listen(u"listen"_s, u"Address to listen on (loopback by default)."_s,
                                    u"address"_s, u"127.0.0.1"_s);
    const QCommandLineOption keepAlive(u"keepalive-port"_s, u"V2 keep-alives (HTTP)."_s, u"port"_s,
                                       u"9751"_s);
    const QCommandLineOption datagram(u"datagram-port"_s, u"V1 keep-alives (UDP)."_s, u"port"_s,
                                      u"9745"_s);
    const QCommandLineOption delays(u"delays-port"_s, u"Delay uploads."_s, u"port"_s, u"9750"_s);
    const QCommandLineOption home(u"home-port"_s, u"The home server (/ox/..., /pkzip25.exe)."_s,
                                  u"port"_s, u"80"_s);
    const QCommandLineOption archiver(u"archiver"_s, u"Program served as /pkzip25.exe."_s,
                                      u"file"_s);
    const QCommandLineOption fail(u"fail-keepalives"_s, u"Answer keep-alives as failed."_s);
    const QCommandLineOption truncate(
        u"truncate"_s, u"Send this update file short of its length (repeatable)."_s, u"name"_s);
    const orvex::centre::Limits defaults;
    const auto number = [](const QString &name, const QString &what, qint64 value) {
        return QCommandLineOption(name, what + u" (default %1)."_s.arg(value), u"n"_s,
                                  QString::number(value));
    };
    const QCommandLineOption connections =
        number(u"max-connections"_s, u"Connections open at once; more are answered 503"_s,
               defaults.maxConnections);
    const QCommandLineOption budget =
        number(u"memory-budget"_s,
               u"MiB that requests still arriving may hold together; a request "
               u"that would go over is answered 503"_s,
               defaults.memoryBudget >> 20);
    const QCommandLineOption request =
        number(u"max-request"_s, u"MiB of one request; a longer one is answered 413"_s,
               defaults.maxRequest >> 20);
    const QCommandLineOption idle =
        number(u"idle-seconds"_s, u"A client silent this long is closed"_s, defaults.idleMs / 1000);
    const QCommandLineOption deadline = number(
        u"request-seconds"_s, u"A request not whole this long after its connection is closed"_s,
        defaults.requestMs / 1000);
    cli.addOptions({data, listen, keepAlive, datagram, delays, home, archiver, fail, truncate,
                    connections, budget, request, idle, deadline});
    cli.process(app);

    orvex::centre::CentreOptions o;
    o.dataFolder = QDir(cli.value(data)).absolutePath();
    o.listen = QHostAddress(cli.value(listen));
    o.keepAlivePort = quint16(cli.value(keepAlive).toUInt());
    o.datagramPort = quint16(cli.value(datagram).toUInt());
    o.delaysPort = quint16(cli.value(delays).toUInt());
    o.homePort = quint16(cli.value(home).toUInt());
    o.archiver = cli.isSet(archiver) ? cli.value(archiver)
                                     : QCoreApplication::applicationDirPath() + u"/oxzip"_s;
    o.failKeepAlives = cli.isSet(fail);
    const QStringList cut = cli.values(truncate);
    o.truncate = QSet<QString>(cut.begin(), cut.end());
    // Each limit is a whole number from 1 up to `most`.
    bool limitsOk = true;
    const auto limit = [&](const QCommandLineOption &option, qint64 most) {
        bool ok = false;
        const qint64 n = cli.value(option).toLongLong(&ok);
        if (ok && n >= 1 && n <= most)
            return n;
        std::fprintf(stderr, "orvex-centre: --%s takes a number from 1 to %lld\n",
                     qPrintable(option.names().front()), static_cast<long long>(most));
        limitsOk = false;
        return qint64(1);
    };
    o.limits.maxConnections = int(limit(connections, 100000));
    o.limits.memoryBudget = limit(budget, qint64(1) << 20) << 20;
    o.limits.maxRequest = limit(request, qint64(1) << 20) << 20;
    o.limits.idleMs = int(limit(idle, 24 * 3600) * 1000);
    o.limits.requestMs = int(limit(deadline, 24 * 3600) * 1000);
    if (!limitsOk)
        return 2;

    orvex::centre::CentreServer centre(o);
    if (!centre.start())
        return 1;
    const auto p = centre.ports();
    std::printf("orvex-centre listening on %s keepalive=%u datagram=%u delays=%u home=%u data=%s\n",
                qPrintable(o.listen.toString()), p.keepAlive, p.datagram, p.delays, p.home,
                qPrintable(o.dataFolder));
    std::fflush(stdout);
    std::signal(SIGTERM, [](int) { QCoreApplication::quit(); });
    std::signal(SIGINT, [](int) { QCoreApplication::quit(); });
    return QCoreApplication::exec();
}
