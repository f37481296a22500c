// One file of an online update, 1.5 GB long, fetched through NET_HTTPget as
// the update fetches every file: the reply passes 128 MiB and goes to a spool
// in "Instalables", and the new file is copied from there. Printed: the time,
// the process's peak resident memory (target: below 200 MB), and whether the
// file arrived whole.
//
// The server is this program in a child process (--serve), making the bytes
// as it sends them.
//
//   bench_update_large [megabytes]     (default 1536)
#include "actions/ActionContext.h"
#include "actions/OnlineUpdate.h"
#include "platform/MessageBoxes.h"
#include "platform/SocketX.h"
#include "support/Adds.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <cstdio>
#include <fstream>
#include <string>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

constexpr qint64 kBlock = qint64(1) << 20;

// Block `i` of the file: every block differs, so a lost or repeated one shows.
QByteArray block(qint64 i)
{
    QByteArray b(kBlock, char('a' + i % 26));
    const QByteArray stamp = "bloque " + QByteArray::number(i) + "\n";
    b.replace(0, stamp.size(), stamp);
    return b;
}

int serve(qint64 size)
{
    QTcpServer server;
    if (!server.listen(QHostAddress::LocalHost, 0))
        return 1;
    QObject::connect(&server, &QTcpServer::newConnection, [&] {
        QTcpSocket *s = server.nextPendingConnection();
        auto sent = std::make_shared<qint64>(-1);
        const auto more = [s, sent, size] {
            // A few blocks ahead of the socket, never the whole file.
            while (*sent >= 0 && *sent < size && s->bytesToWrite() < 4 * kBlock) {
                const QByteArray b = block(*sent / kBlock).left(size - *sent);
                s->write(b);
                *sent += b.size();
            }
            if (*sent == size && s->bytesToWrite() == 0)
                s->disconnectFromHost();
        };
        QObject::connect(s, &QTcpSocket::readyRead, s, [s, sent, size, more] {
            if (*sent >= 0 || !s->peek(s->bytesAvailable()).contains("\r\n\r\n"))
                return;
            s->write("HTTP/1.0 200 OK\r\nContent-Length: " + QByteArray::number(size) + "\r\n\r\n");
            *sent = 0;
            more();
        });
        QObject::connect(s, &QTcpSocket::bytesWritten, s, more);
    });
    std::printf("%d\n", server.serverPort());
    std::fflush(stdout);
    return QCoreApplication::exec();
}

long statusKiB(const char *key)
{
    std::ifstream in("/proc/self/status");
    for (std::string line; std::getline(in, line);)
        if (line.rfind(key, 0) == 0)
            return std::stol(line.substr(std::string(key).size()));
    return -1;
}

class Unattended final : public platform::MessageBoxes
{
public:
    platform::Answer show(const platform::MessageBoxRequest &) override
    {
        return platform::Answer::Ok;
    }
    std::optional<QString> inputBox(const platform::InputBoxRequest &) override { return {}; }
};

// Whether `path` holds the `size` bytes the server made, read a block at a time.
bool arrivedWhole(const QString &path, qint64 size)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() != size)
        return false;
    for (qint64 i = 0; i * kBlock < size; ++i) {
        if (file.read(kBlock) != block(i).left(size - i * kBlock))
            return false;
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc > 2 && QByteArrayView(argv[1]) == "--serve")
        return serve(QByteArray(argv[2]).toLongLong());
    const qint64 size = (argc > 1 ? QByteArray(argv[1]).toLongLong() : 1536) << 20;

    QProcess server;
    server.start(QCoreApplication::applicationFilePath(), {u"--serve"_s, QString::number(size)});
    if (!server.waitForReadyRead(10000))
        return 1;
    const QByteArray port = server.readLine().trimmed();

    QTemporaryDir program;
    QDir(program.path()).mkdir(u"Instalables"_s);
    Unattended boxes;
    Adds adds(AddsServices{.messageBoxes = &boxes});
    adds.setReplySpool(program.path() + u"/Instalables"_s);
    platform::SocketX socket;
    ActionContext c;
    c.adds = &adds;
    c.boxes = &boxes;
    c.socket = &socket;
    c.programFolder = program.path();
    c.homeHost = u"127.0.0.1:"_s + QString::fromLatin1(port);
    c.enableCmdAccion = [](bool) {};

    const long start = statusKiB("VmRSS:");
    QElapsedTimer t;
    t.start();
    const bool updated =
        OnlineUpdate(c).UpdateIfIsPossible(u"Empresa"_s, u"PC"_s, u"Ox"_s, u"grande.bin"_s);
    const double seconds = double(t.elapsed()) / 1000.0;
    const long peak = statusKiB("VmHWM:");
    const bool whole = arrivedWhole(program.path() + u"/grande.bin"_s, size);
    const QStringList left =
        QDir(program.path() + u"/Instalables"_s).entryList(QDir::Files | QDir::Hidden);
    std::printf("update of a %.2f GB file: %s, %.1f s (%.0f MB/s); resident %.0f MB at the start, "
                "peak %.0f MB; %lld files left in Instalables\n",
                double(size) / (1 << 30), updated && whole ? "whole" : "NOT WHOLE", seconds,
                double(size) / (1 << 20) / seconds, start / 1024.0, peak / 1024.0,
                static_cast<long long>(left.size()));
    server.kill();
    server.waitForFinished(5000);
    return updated && whole ? 0 : 1;
}
