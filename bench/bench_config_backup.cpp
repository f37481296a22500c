// Saving and restoring a configuration of 200 INI files (5 MB in all)
// through the reference centre, with the real archiver: the time of each,
// the mandated settle pauses of the HTTP client apart, and the process's
// peak memory above where it stood, against the size of the save's request
// (target: below 3 times that size).
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
#include "support/EventWait.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <malloc.h>
#include <string>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

// The system clock, noting how long its pauses held the caller.
class PauseCountingClock final : public Clock
{
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
    void pause(int ms) const override
    {
        QElapsedTimer t;
        t.start();
        Clock::pause(ms);
        paused += t.elapsed();
    }
    mutable qint64 paused = 0;
};

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

// 200 INI files of about 25 KB: sections of keys with values a real
// configuration could hold (paths, numbers, names), so that they compress
// as such files do.
void writeConfiguration(const QString &folder)
{
    QRandomGenerator random(20261123);
    const char *words[] = {"Sendaro", "Casos",     "Eventos", "Norte", "Sur",      "Grúa",
                           "Móvil",   "Prestador", "Demora",  "Zona",  "Servidor", "Usuario"};
    for (int f = 0; f < 200; ++f) {
        QByteArray text;
        for (int s = 0; text.size() < 25 * 1024 + 200; ++s) {
            text += "[Seccion" + QByteArray::number(s) + "]\r\n";
            for (int k = 0; k < 12; ++k) {
                text += QByteArray(words[random.bounded(12)]) + QByteArray::number(k) + '=' +
                        "C:\\" + words[random.bounded(12)] + '\\' +
                        QByteArray::number(random.generate(), 16) + ',' +
                        QByteArray::number(random.bounded(100000)) + "\r\n";
            }
        }
        QFile out(folder + u"/config%1.ini"_s.arg(f, 3, 10, QLatin1Char('0')));
        if (out.open(QIODevice::WriteOnly))
            out.write(text.left(25 * 1024 + 200)); // 200 x 25.8 KB = 5.0 MiB
    }
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
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
    const int rounds = argc > 1 ? std::max(1, atoi(argv[1])) : 5;
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

    QTemporaryDir program;
    QDir(program.path()).mkdir(u"Instalables"_s);
    writeConfiguration(program.path());
    PauseCountingClock clock;
    Unattended boxes;
    auto processes = platform::createProcessWindows();
    auto transfer = platform::createFileTransfer();
    Adds adds(
        AddsServices{.processWindows = processes.get(), .messageBoxes = &boxes, .clock = &clock});
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

    std::vector<double> saveMs, savePause, savePeak, restoreMs, restorePause, restorePeak;
    qint64 requestBytes = 0, archiveBytes = 0;
    for (int r = 0; r <= rounds; ++r) { // round 0 warms up (and fetches the archiver)
        for (const bool save : {true, false}) {
            clock.paused = 0;
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
            const bool ok =
                save ? avance == u"Backup correcto!."_s : avance == u"Instalacion finalizada!."_s;
            if (!ok) {
                std::fprintf(stderr, "round %d: %s ended with \"%s\"\n", r,
                             save ? "save" : "restore", qPrintable(avance));
                return 1;
            }
            if (r == 0)
                continue;
            (save ? saveMs : restoreMs).push_back(ms);
            (save ? savePause : restorePause).push_back(double(clock.paused));
            (save ? savePeak : restorePeak).push_back(peakMiB);
        }
    }
    QFile archive(program.path() + u"/Instalables/Configuracion.zip"_s);
    if (archive.open(QIODevice::ReadOnly)) {
        const QByteArray bytes = archive.readAll();
        archiveBytes = bytes.size();
        QByteArray escaped;
        AddsUtilities::appendUrlEncoded(escaped, bytes);
        requestBytes = escaped.size() + 200;
    }
    const double requestMiB = double(requestBytes) / (1024.0 * 1024.0);
    std::printf("configuration: 200 INI files, %.1f MiB; archive %.2f MiB; save request %.2f MiB\n",
                200 * (25 * 1024 + 200) / (1024.0 * 1024.0), archiveBytes / (1024.0 * 1024.0),
                requestMiB);
    std::printf("%d rounds after a warm-up, medians:\n", rounds);
    std::printf("  save:    %6.0f ms, of which %4.0f ms mandated pauses; peak +%.1f MiB = %.2f x "
                "request\n",
                median(saveMs), median(savePause), median(savePeak), median(savePeak) / requestMiB);
    std::printf("  restore: %6.0f ms, of which %4.0f ms mandated pauses; peak +%.1f MiB\n",
                median(restoreMs), median(restorePause), median(restorePeak));
    centre.terminate();
    centre.waitForFinished();
    return 0;
}
