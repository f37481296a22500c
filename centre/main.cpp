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
    cli.addOptions({data, listen, keepAlive, datagram, delays, home, archiver, fail, truncate});
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
