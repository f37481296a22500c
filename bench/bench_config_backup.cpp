// Saving and restoring configurations of 1, 10 and 50 MB of INI files
// through the reference centre, with the real archiver. For each size:
//   - the save's time against what it cannot do without: oxzip building the
//     archive, a bare socket sending the same request to the centre and
//     reading its answer, and the client's mandated half-second settle pause
//     (target: at most 1.2 times that);
//   - the save's peak memory above where the process stood, against the
//     archive's size (target: at most 1.2 times);
//   - the restore's time and peak.
//
//   bench_config_backup [rounds]     (orvex-centre and oxzip built beside)
#include "actions/ActionContext.h"
#include "actions/ConfigurationBackup.h"
#include "actions/Downloads.h"
#include "platform/FileTransfer.h"
#include "platform/MessageBoxes.h"
#include "platform/ProcessWindows.h"
#include "platform/SocketX.h"
#include "support/Adds.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <malloc.h>
#include <string>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

// Nobody is there to answer: every question gets its default.
class Unattended final : public platform::MessageBoxes
{
public:
    platform::Answer show(const platform::MessageBoxRequest &r) override
    {
        return r.buttons == platform::BoxButtons::Ok ? platform::Answer::Ok : platform::Answer::No;
    }
    std::optional<QString> inputBox(const platform::InputBoxRequest &) override { return {}; }
};

long statusKiB(const char *key)
{
    std::ifstream in("/proc/self/status");
    for (std::string line; std::getline(in, line);)
        if (line.rfind(key, 0) == 0)
            return std::stol(line.substr(std::string(key).size()));
    return -1;
}

// Starts a new peak at the present resident size.
void resetPeak()
{
    std::ofstream("/proc/self/clear_refs") << "5";
}

constexpr qsizetype kFileSize = 25 * 1024 + 200;

// `files` INI files of about 25 KB: sections of keys with values a real
// configuration could hold (paths, numbers, names), so that they compress
// as such files do.
void writeConfiguration(const QString &folder, int files)
{
    QRandomGenerator random(20261123);
    const char *words[] = {"Sendaro", "Casos",     "Eventos", "Norte", "Sur",      "Grúa",
                           "Móvil",   "Prestador", "Demora",  "Zona",  "Servidor", "Usuario"};
    for (int f = 0; f < files; ++f) {
        QByteArray text;
        for (int s = 0; text.size() < kFileSize; ++s) {
            text += "[Seccion" + QByteArray::number(s) + "]\r\n";
            for (int k = 0; k < 12; ++k) {
                text += QByteArray(words[random.bounded(12)]) + QByteArray::number(k) + '=' +
                        "C:\\" + words[random.bounded(12)] + '\\' +
                        QByteArray::number(random.generate(), 16) + ',' +
                        QByteArray::number(random.bounded(100000)) + "\r\n";
            }
        }
        QFile out(folder + u"/config%1.ini"_s.arg(f, 4, 10, QLatin1Char('0')));
        if (out.open(QIODevice::WriteOnly))
            out.write(text.left(kFileSize));
    }
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

// What the save cannot do without, in ms: the archiver's run, then the same
// request sent on a bare socket and the centre's answer read to its end.
double floorMs(const QString &oxzip, const QString &program, quint16 port)
{
    const QString archive = program + u"/Instalables/floor.zip"_s;
    QFile::remove(archive);
    QElapsedTimer t;
    t.start();
    QProcess zip;
    zip.start(oxzip, {u"-add"_s, u"-directories=relative"_s, archive, program + u"/*.ini"_s,
                      program + u"/*.dbs"_s});
    zip.waitForFinished(-1);
    QFile file(archive);
    file.open(QIODevice::ReadOnly);
    QByteArray request = "GET /ox/uploadconfiguration.cgi?empresa=Gr%FAas+del+Sur&pcname=bench"
                         "&filename=Configuracion.zip&content=";
    // Escaped as fast as it goes: straight into room made beforehand.
    const QByteArray bytes = file.readAll();
    const qsizetype head = request.size();
    request.resize(head + 3 * bytes.size());
    char *to = request.data() + head;
    for (const char b : bytes) {
        const auto c = static_cast<unsigned char>(b);
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) {
            *to++ = b;
        } else if (c == ' ') {
            *to++ = '+';
        } else {
            *to++ = '%';
            *to++ = "0123456789ABCDEF"[c >> 4];
            *to++ = "0123456789ABCDEF"[c & 15];
        }
    }
    request.truncate(to - request.constData());
    request += " HTTP/1.0\r\n\r\n";
    QTcpSocket socket;
    socket.connectToHost(u"127.0.0.1"_s, port);
    socket.waitForConnected(10000);
    socket.write(request);
    request.clear();
    QByteArray reply;
    while (!reply.contains(".END.\r\n") && socket.waitForReadyRead(60000))
        reply += socket.readAll();
    const double ms = double(t.elapsed());
    QFile::remove(archive);
    return reply.contains("R:OK") ? ms : -1;
}

} // namespace

int main(int argc, char **argv)
{
    // Large blocks always from the system and back to it when freed: else
    // the allocator keeps what one round freed, the next round reuses it,
    // and its peak would not show above where it started.
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
    mallopt(M_TRIM_THRESHOLD, 128 * 1024);
    QCoreApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, atoi(argv[1])) : 3;
    const QString bin = QCoreApplication::applicationDirPath() + u"/../src/app/"_s;
    QTemporaryDir data;
    QProcess centre;
    centre.start(bin + u"orvex-centre"_s,
                 {u"--data"_s, data.path(), u"--listen"_s, u"127.0.0.1"_s, u"--home-port"_s, u"0"_s,
                  u"--keepalive-port"_s, u"0"_s, u"--datagram-port"_s, u"0"_s, u"--delays-port"_s,
                  u"0"_s, u"--archiver"_s, bin + u"oxzip"_s});
    centre.waitForReadyRead(20000);
    const auto port =
        QRegularExpression(u"home=(\\d+)"_s).match(QString::fromLatin1(centre.readLine()));
    if (!port.hasMatch()) {
        std::fprintf(stderr, "orvex-centre did not start (built beside?)\n");
        return 1;
    }

    std::printf("%d rounds after a warm-up, medians; peaks above where each round started\n",
                rounds);
    for (const int megabytes : {1, 10, 50}) {
        QTemporaryDir program;
        QDir(program.path()).mkdir(u"Instalables"_s);
        writeConfiguration(program.path(), int(qint64(megabytes) * 1000 * 1000 / kFileSize));
        Unattended boxes;
        auto processes = platform::createProcessWindows();
        auto transfer = platform::createFileTransfer();
        Adds adds(AddsServices{.processWindows = processes.get(), .messageBoxes = &boxes});
        platform::SocketX socket;
        ActionContext c;
        c.adds = &adds;
        c.boxes = &boxes;
        c.socket = &socket;
        c.transfer = transfer.get();
        c.programFolder = program.path();
        c.homeHost = u"127.0.0.1:"_s + port.captured(1);
        QString avance;
        c.setLabelAvance = [&](const QString &t) { avance = t; };
        c.enableCmdAccion = [](bool) {};
        Downloads downloads(c);
        ConfigurationBackup backup(c, downloads);

        std::vector<double> saveMs, savePeak, restoreMs, restorePeak, floors;
        for (int r = 0; r <= rounds; ++r) { // round 0 warms up (and fetches the archiver)
            for (const bool save : {true, false}) {
                const long before = statusKiB("VmRSS:");
                resetPeak();
                QElapsedTimer t;
                t.start();
                if (save)
                    backup.save(u"Grúas del Sur"_s, u"bench"_s);
                else
                    backup.restore(u"Grúas del Sur"_s, u"bench"_s);
                const double ms = double(t.elapsed());
                const double peakMiB = double(statusKiB("VmHWM:") - before) / 1024.0;
                if (avance != (save ? u"Backup correcto!."_s : u"Instalacion finalizada!."_s)) {
                    std::fprintf(stderr, "%d MB, round %d: %s ended with \"%s\"\n", megabytes, r,
                                 save ? "save" : "restore", qPrintable(avance));
                    return 1;
                }
                if (r > 0) {
                    (save ? saveMs : restoreMs).push_back(ms);
                    (save ? savePeak : restorePeak).push_back(peakMiB);
                }
            }
            if (r > 0)
                floors.push_back(
                    floorMs(bin + u"oxzip"_s, program.path(), port.captured(1).toUShort()));
        }
        const double archiveMiB =
            double(QFileInfo(program.path() + u"/Instalables/Configuracion.zip"_s).size()) /
            (1024.0 * 1024.0);
        const double floor = median(floors) + 500;
        std::printf("%2d MB of INI files, archive %.2f MiB:\n", megabytes, archiveMiB);
        std::printf("  save     %6.0f ms = %.2f x (oxzip + bare socket %.0f ms + 500 ms pause); "
                    "peak +%.1f MiB = %.2f x archive\n",
                    median(saveMs), median(saveMs) / floor, median(floors), median(savePeak),
                    median(savePeak) / archiveMiB);
        std::printf("  restore  %6.0f ms; peak +%.1f MiB\n", median(restoreMs),
                    median(restorePeak));
        std::fflush(stdout);
    }
    centre.terminate();
    centre.waitForFinished();
    return 0;
}
