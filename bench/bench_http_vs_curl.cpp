// NET_HTTPget against three other readers of the same replies from the same
// loopback server:
//   curl -o /dev/null      what the transfer costs when nothing is kept;
//   curl -o /dev/shm/...   curl keeping the reply, in memory;
//   bare Qt reader         a QTcpSocket reading each readyRead's bytes onto the
//                          end of one QByteArray until the server closes,
//                          holding the whole reply.
// Replies of 1 MB and 100 MB, each announced once as "Content-Length:" and
// once as "Content-length: " (only the second one lets NET_HTTPget reserve
// the reply's room at once).
//
// The server runs in a child process (this program with --serve) so that no
// client shares its event loop with it. A warm-up round is run first and not
// counted; after it, each round runs all four clients, and which one goes
// first moves on by one every round, so none is always the one that finds
// the caches cold. curl's time is its own time_total: its process start and
// exit are not part of the transfer.
//
// NET_HTTPget always ends with a half-second pause before it returns. Its time
// here is taken up to the moment the clean-up clears the progress caption:
// by then the reply is received and scanned, and only the socket close and
// that pause remain. It keeps replies above 128 MiB in a spool file, as the
// agent does, here in a temporary folder on disk (the agent's "Instalables").
//
// Printed: the median time of each client, and the median and the worst of
// the per-round ratios NET_HTTPget / other client.
#include "platform/SocketX.h"
#include "support/AddsHttp.h"
#include "support/ProgressCaption.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

using namespace orvex;
using namespace Qt::Literals::StringLiterals;

namespace {

QByteArray makeBody(qsizetype bodySize)
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
    return body;
}

// The header spelling the request's path asks for: ".../agent" gets the one
// NET_HTTPget recognises.
QByteArray makeHead(qsizetype bodySize, bool agentSpelling)
{
    return "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n"_ba +
           (agentSpelling ? "Content-length: "_ba : "Content-Length: "_ba) +
           QByteArray::number(bodySize) + "\r\n\r\n";
}

constexpr qsizetype kSmall = 1 << 20;
constexpr qsizetype kLarge = 100 << 20;

int serve()
{
    const QByteArray small = makeBody(kSmall);
    const QByteArray large = makeBody(kLarge);
    QTcpServer server;
    if (!server.listen(QHostAddress::LocalHost, 0))
        return 1;
    QObject::connect(&server, &QTcpServer::newConnection, [&] {
        while (QTcpSocket *s = server.nextPendingConnection()) {
            QObject::connect(s, &QTcpSocket::disconnected, s, &QObject::deleteLater);
            QObject::connect(s, &QTcpSocket::readyRead, s, [s, &small, &large] {
                QByteArray seen = s->property("seen").toByteArray();
                seen.append(s->readAll());
                s->setProperty("seen", seen);
                if (!seen.contains("\r\n\r\n") || s->property("sent").toBool())
                    return;
                s->setProperty("sent", true);
                const QByteArray &body = seen.startsWith("GET /large") ? large : small;
                const QByteArray firstLine = seen.left(seen.indexOf('\r'));
                s->write(makeHead(body.size(), firstLine.contains("/agent")));
                s->write(body);          // shared, not copied
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
    qint64 clearedAtNs = -1;
    void setCaption(const QString &caption) override
    {
        if (caption.isEmpty())
            clearedAtNs = clock.nsecsElapsed();
    }
};

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

enum Client { Agent, CurlNull, CurlShm, BareQt, kClients };
const std::array<const char *, kClients> kNames{"NET_HTTPget", "curl>null", "curl>shm", "bare Qt"};

// Milliseconds, or a negative value when the reply was not the expected size.
double timeAgent(AddsHttp &http, platform::SocketX &socket, const QString &url, qsizetype expected)
{
    CaptionClock caption;
    caption.clock.start();
    const AnsiText reply = http.NET_HTTPget(socket, url, {}, {}, 120, {}, &caption);
    return reply.size() == expected ? caption.clearedAtNs / 1e6 : -1;
}

double timeCurl(const QString &url, const QString &to, qsizetype expectedBody)
{
    QProcess curl;
    curl.start(u"curl"_s,
               {u"-s"_s, u"-o"_s, to, u"-w"_s, u"%{time_total} %{size_download}"_s, url});
    curl.waitForFinished(120000);
    const QList<QByteArray> out = curl.readAllStandardOutput().split(' ');
    if (curl.exitCode() != 0 || out.size() != 2 || out[1].toLongLong() != expectedBody)
        return -1;
    return out[0].toDouble() * 1000;
}

double timeBareQt(quint16 port, const QByteArray &path, qsizetype expected)
{
    QElapsedTimer clock;
    clock.start();
    QTcpSocket socket;
    QByteArray reply;
    QEventLoop loop;
    QObject::connect(&socket, &QTcpSocket::connected,
                     [&] { socket.write("GET " + path + " HTTP/1.0\r\n\r\n"); });
    // Straight onto the end of the one array: no buffer of its own in between.
    const auto take = [&] {
        const qsizetype old = reply.size();
        reply.resize(old + socket.bytesAvailable());
        reply.resize(old +
                     std::max<qint64>(socket.read(reply.data() + old, reply.size() - old), 0));
    };
    QObject::connect(&socket, &QTcpSocket::readyRead, take);
    QObject::connect(&socket, &QTcpSocket::disconnected, &loop, &QEventLoop::quit);
    QObject::connect(&socket, &QTcpSocket::errorOccurred, &loop, &QEventLoop::quit);
    socket.connectToHost(QHostAddress::LocalHost, port);
    loop.exec();
    take();
    const double ms = clock.nsecsElapsed() / 1e6;
    return reply.size() == expected ? ms : -1;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc > 1 && QByteArrayView(argv[1]) == "--serve")
        return serve();
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 9;

    QProcess server;
    server.start(QCoreApplication::applicationFilePath(), {u"--serve"_s});
    if (!server.waitForReadyRead(10000))
        return 1;
    const quint16 port = server.readLine().trimmed().toUShort();
    const QString shmFile =
        u"/dev/shm/bench_http_vs_curl.%1"_s.arg(QCoreApplication::applicationPid());

    AddsHttp http;
    QTemporaryDir spool;
    http.setReplySpool(spool.path());
    platform::SocketX socket;
    std::printf("%d counted rounds after one warm-up round; times in ms (medians)\n", rounds);
    for (const auto &[sizeName, bodySize] :
         {std::pair{"1 MB", kSmall}, std::pair{"100 MB", kLarge}}) {
        for (const bool agentSpelling : {false, true}) {
            const QByteArray path = (bodySize == kLarge ? "/large"_ba : "/small"_ba) +
                                    (agentSpelling ? "/agent"_ba : "/usual"_ba);
            const QString url = u"http://127.0.0.1:%1"_s.arg(port) + QString::fromLatin1(path);
            const qsizetype expected = makeHead(bodySize, agentSpelling).size() + bodySize;
            std::array<std::vector<double>, kClients> times;
            std::array<std::vector<double>, kClients> ratios; // NET_HTTPget / client
            for (int round = 0; round <= rounds; ++round) {
                std::array<double, kClients> ms{};
                for (int k = 0; k < kClients; ++k) {
                    const int client = (round + k) % kClients;
                    switch (client) {
                    case Agent:
                        ms[client] = timeAgent(http, socket, url, expected);
                        break;
                    case CurlNull:
                        ms[client] = timeCurl(url, u"/dev/null"_s, bodySize);
                        break;
                    case CurlShm:
                        ms[client] = timeCurl(url, shmFile, bodySize);
                        QFile::remove(shmFile);
                        break;
                    case BareQt:
                        ms[client] = timeBareQt(port, path, expected);
                        break;
                    }
                    if (ms[client] < 0) {
                        std::printf("%s %s: %s got a reply of the wrong size\n", sizeName,
                                    path.constData(), kNames[client]);
                        return 1;
                    }
                }
                if (round == 0)
                    continue; // warm-up
                for (int c = 0; c < kClients; ++c) {
                    times[c].push_back(ms[c]);
                    ratios[c].push_back(ms[Agent] / ms[c]);
                }
            }
            std::printf("%-6s %-16s", sizeName,
                        agentSpelling ? "Content-length: " : "Content-Length:");
            for (int c = 0; c < kClients; ++c)
                std::printf("  %s %7.1f", kNames[c], median(times[c]));
            const auto worst = [](const std::vector<double> &v) {
                return *std::max_element(v.begin(), v.end());
            };
            std::printf("\n%-23s NET_HTTPget / curl>null %.2f (worst %.2f)   / curl>shm %.2f "
                        "(worst %.2f)   / bare Qt %.2f (worst %.2f)\n",
                        "", median(ratios[CurlNull]), worst(ratios[CurlNull]),
                        median(ratios[CurlShm]), worst(ratios[CurlShm]), median(ratios[BareQt]),
                        worst(ratios[BareQt]));
            std::fflush(stdout);
        }
    }
    server.kill();
    server.waitForFinished(5000);
    return 0;
}
