// NET_HTTPget against curl on the same replies from the same loopback server.
//
// The server runs in a child process (this program with --serve) so that
// neither client shares its event loop with it. Each round fetches the reply
// once with NET_HTTPget and once with curl, alternating, for a 1 MB and a
// 100 MB reply.
//
// NET_HTTPget always ends with a half-second pause before it returns. Its time
// here is taken up to the moment the clean-up clears the progress caption:
// by then the reply is received, scanned and decoded, and only the socket
// close and that pause remain. The total, minus 500 ms, is printed beside it
// as a cross-check. The last progress caption is set right after the last
// bytes were taken, so the time up to it is the receiving alone; the rest,
// up to the clearing, is turning the bytes into the result text.
//
// curl is timed from process start to exit (what a caller would wait), and
// its own time_total is printed too.
#include "platform/SocketX.h"
#include "support/AddsHttp.h"
#include "support/ProgressCaption.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace orvex;
using namespace Qt::Literals::StringLiterals;

namespace {

QByteArray makeReply(qsizetype bodySize)
{
    // Plain text with some ANSI letters, ending in the agent's end line.
    const QByteArray line("Prestador 0042; zona Norte; demora 15 min; A\xF1o 2024; ok\r\n");
    const QByteArray end(".END.\r\n");
    QByteArray body;
    body.reserve(bodySize);
    while (body.size() + line.size() + end.size() <= bodySize)
        body += line;
    body += QByteArray(bodySize - body.size() - end.size(), 'x');
    body += end;
    return "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\nContent-Length: " +
           QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

int serve()
{
    static const QByteArray small = makeReply(1 << 20);
    static const QByteArray large = makeReply(100 << 20);
    QTcpServer server;
    if (!server.listen(QHostAddress::LocalHost, 0))
        return 1;
    QObject::connect(&server, &QTcpServer::newConnection, [&] {
        while (QTcpSocket *s = server.nextPendingConnection()) {
            QObject::connect(s, &QTcpSocket::disconnected, s, &QObject::deleteLater);
            QObject::connect(s, &QTcpSocket::readyRead, s, [s] {
                QByteArray seen = s->property("seen").toByteArray();
                seen.append(s->readAll());
                s->setProperty("seen", seen);
                if (!seen.contains("\r\n\r\n") || s->property("sent").toBool())
                    return;
                s->setProperty("sent", true);
                s->write(seen.startsWith("GET /large") ? large : small);
                s->disconnectFromHost(); // after the reply has gone out
            });
        }
    });
    std::printf("%d\n", server.serverPort());
    std::fflush(stdout);
    return QCoreApplication::exec(); // until the parent ends it
}

struct CaptionClock final : ProgressCaption
{
    QElapsedTimer clock;
    qint64 lastProgressNs = -1;
    qint64 clearedAtNs = -1;
    void setCaption(const QString &caption) override
    {
        (caption.isEmpty() ? clearedAtNs : lastProgressNs) = clock.nsecsElapsed();
    }
};

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc > 1 && QByteArrayView(argv[1]) == "--serve")
        return serve();
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;

    QProcess server;
    server.start(QCoreApplication::applicationFilePath(), {u"--serve"_s});
    if (!server.waitForReadyRead(10000))
        return 1;
    const QString port = QString::fromLatin1(server.readLine().trimmed());

    AddsHttp http;
    platform::SocketX socket;
    for (const auto &[name, bytes] : {std::pair{"1 MB", 1 << 20}, std::pair{"100 MB", 100 << 20}}) {
        const QString url =
            u"http://127.0.0.1:"_s + port + (bytes > (1 << 20) ? u"/large"_s : u"/small"_s);
        const qsizetype expected = makeReply(bytes).size();
        std::vector<double> ratios, ownRatios, receiveRatios;
        for (int round = 1; round <= rounds; ++round) {
            CaptionClock caption;
            caption.clock.start();
            const AnsiText reply = http.NET_HTTPget(socket, url, {}, {}, 120, {}, &caption);
            const double totalMs = caption.clock.nsecsElapsed() / 1e6;
            // What a caller pays on top when it wants the whole reply as a
            // QString (most only search it for their markers).
            QElapsedTimer widen;
            widen.start();
            const qsizetype widened = reply.toString().size();
            const double widenMs = widen.nsecsElapsed() / 1e6;
            const double getMs = caption.clearedAtNs / 1e6;
            const double receiveMs = caption.lastProgressNs / 1e6;
            if (reply.size() != expected || widened != expected) {
                std::printf("%s: NET_HTTPget returned %lld characters, expected %lld\n", name,
                            qlonglong(reply.size()), qlonglong(expected));
                return 1;
            }

            QProcess curl;
            QElapsedTimer wall;
            wall.start();
            curl.start(u"curl"_s,
                       {u"-s"_s, u"-o"_s, u"/dev/null"_s, u"-w"_s, u"%{time_total}"_s, url});
            curl.waitForFinished(120000);
            const double curlMs = wall.nsecsElapsed() / 1e6;
            const double curlOwnMs = curl.readAllStandardOutput().toDouble() * 1000;
            if (curl.exitCode() != 0) {
                std::printf("curl failed (exit %d)\n", curl.exitCode());
                return 1;
            }
            ratios.push_back(getMs / curlMs);
            ownRatios.push_back(getMs / curlOwnMs);
            receiveRatios.push_back(receiveMs / curlMs);
            std::printf("%-6s round %d: NET_HTTPget %7.1f ms (receive %7.1f; total-500 %7.1f; "
                        "as QString +%6.1f)   curl %7.1f ms (own %7.1f)   ratio %.2f\n",
                        name, round, getMs, receiveMs, totalMs - 500, widenMs, curlMs, curlOwnMs,
                        ratios.back());
            std::fflush(stdout);
        }
        std::printf("%-6s median ratio NET_HTTPget/curl %.2f (to curl's own time %.2f); "
                    "receiving alone/curl %.2f\n",
                    name, median(ratios), median(ownRatios), median(receiveRatios));
    }
    server.kill();
    server.waitForFinished(5000);
    return 0;
}
