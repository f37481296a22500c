// The longest pause of the window's event loop while the scan tick waits on
// servers that do not answer. Run it in a network namespace of its own (see
// scan_pause.sh): the support server's fixed port 9751 is then free, and an
// address on a dummy interface swallows what is sent to it.
//
// One tick: a server that accepts and never answers (the keep-alive waits
// for its 20-second deadline, then pings 127.0.0.1), and a server whose
// address answers nothing (the connection attempt runs out, then its ping
// goes unanswered). A 5 ms timer stands for the window's repaints; the
// longest gap between its ticks is the figure (target below 50 ms). Beside
// it, the same unanswered ping done with the blocking echo call.
#include "app/AppServices.h"
#include "app/ScanCycle.h"
#include "app/wnPrincipal.h"
#include "platform/Pinger.h"
#include "support/Net.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>

using namespace orvex;
using namespace Qt::Literals::StringLiterals;

namespace {

// Records the longest gap between the ticks of a 5 ms timer.
class GapMeter
{
public:
    GapMeter()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            m_longest = std::max(m_longest, m_since.nsecsElapsed() / 1000000);
            m_since.restart();
        });
    }
    void start()
    {
        m_longest = 0;
        m_since.start();
        m_timer.start(5);
    }
    qint64 stop()
    {
        m_timer.stop();
        return std::max(m_longest, m_since.nsecsElapsed() / 1000000);
    }

private:
    QTimer m_timer;
    QElapsedTimer m_since;
    qint64 m_longest = 0;
};

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    const QString deadHost = argc > 1 ? QString::fromLocal8Bit(argv[1]) : u"10.9.9.2"_s;

    QTcpServer support; // the support server answers: only the two others wait
    if (!support.listen(QHostAddress::LocalHost, 9751)) {
        std::fprintf(stderr, "port 9751 is taken: run this in a namespace of its own\n");
        return 1;
    }
    QObject::connect(&support, &QTcpServer::newConnection, [&] {
        while (QTcpSocket *s = support.nextPendingConnection()) {
            QObject::connect(s, &QTcpSocket::readyRead, s, [s] {
                s->write("HTTP/1.0 200 OK\r\n\r\nR:OK Lumaris\r\n.END.\r\n");
                s->disconnectFromHost();
            });
        }
    });
    QTcpServer silent;
    silent.listen(QHostAddress::LocalHost, 0);
    QList<QTcpSocket *> held;
    QObject::connect(&silent, &QTcpServer::newConnection, [&] {
        while (QTcpSocket *s = silent.nextPendingConnection())
            held << s;
    });

    QTemporaryDir folder;
    QFile ini(folder.filePath(u"Orvex.ini"_s));
    ini.open(QIODevice::WriteOnly);
    ini.write("[Centro]\r\nHost=127.0.0.1\r\n\r\n[DynIP]\r\n"
              "DynIP Server 1=Mudo/bench/127.0.0.1:" +
              QByteArray::number(silent.serverPort()) +
              "/V2/60\r\n"
              "DynIP Server 2=Caido/bench/" +
              deadHost.toLatin1() + ":9751/V2/60\r\n");
    ini.close();

    AppServices services;
    wnPrincipal form(services.formContext(nullptr, folder.path(), {}, {}, [] {}));

    GapMeter meter;
    QElapsedTimer wall;
    meter.start();
    wall.start();
    form.Form_Load(); // runs the first tick
    const qint64 tickMs = wall.elapsed();
    const qint64 tickGap = meter.stop();
    form.Form_Unload(); // no more ticks while the pings below are measured

    // The same unanswered ping, blocking and through the event loop.
    const auto pinger = platform::createPinger();
    const quint32 dead = Net::IP2Long(deadHost);
    meter.start();
    const platform::EchoResult blocked = pinger->echo(dead, Net::PingTimeoutMs);
    const qint64 blockingGap = meter.stop();
    const auto net = createSystemNet();
    meter.start();
    const bool answered = net->DoPing(deadHost);
    const qint64 loopGap = meter.stop();

    std::printf("tick with a silent and an unreachable server: %lld ms, longest event-loop "
                "pause %lld ms (target < 50 ms)\n",
                qlonglong(tickMs), qlonglong(tickGap));
    std::printf("unanswered ping %s: blocking echo pauses the loop %lld ms (status %u), "
                "DoPing %lld ms (%s)\n",
                qPrintable(deadHost), qlonglong(blockingGap), unsigned(blocked.status),
                qlonglong(loopGap), answered ? "answered?" : qPrintable(net->PingError));
    const auto &servers = form.servers().servers();
    const bool judged = servers.size() == 3 && servers[1].State == 2 && servers[2].State == 1;
    if (!judged)
        std::printf("unexpected states: the servers were not judged as expected\n");
    return tickGap < 50 && judged ? 0 : 2;
}
