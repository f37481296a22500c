// The delay board with a 50 MB delays file: how long it takes to load and
// how much memory it takes at its peak, beside a plain reader (readAll and a
// split into lines) of the same file. Each is measured in a process of its
// own, so that one's peak does not hide the other's.
//   bench_delays_load            runs both on ordinary rows (about three
//                                million zones) and on random bytes
//   bench_delays_load --board F  one load of the board on F
//   bench_delays_load --split F  the plain reader on F
#include "delays/wnDemoras.h"
#include "platform/WindowPin.h"
#include "support/Adds.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <cstdio>

using namespace orvex;

namespace {

// Resident and peak resident memory of this process, in KiB.
qint64 statusKiB(const char *field)
{
    QFile f(QStringLiteral("/proc/self/status"));
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : f.readAll().split('\n'))
        if (line.startsWith(field))
            return line.mid(qstrlen(field)).trimmed().split(' ').value(0).toLongLong();
    return -1;
}

int measure(const QString &mode, const QString &file)
{
    const qint64 before = statusKiB("VmRSS:");
    QElapsedTimer t;
    t.start();
    qint64 rows = 0;
    if (mode == QStringLiteral("--board")) {
        Adds adds{AddsServices{}};
        const auto pin = platform::createWindowPin();
        wnDemorasContext c;
        c.adds = &adds;
        c.programFolder = QFileInfo(file).absolutePath();
        c.pin = pin.get();
        c.savedDelay = [](const QString &) { return QString(); };
        wnDemoras board(c);
        rows = board.ListaRows().rowCount();
    } else {
        QFile f(file);
        f.open(QIODevice::ReadOnly);
        rows = f.readAll().split('\n').size();
    }
    const double ms = double(t.nsecsElapsed()) / 1e6;
    std::printf("%lld %.1f %lld\n", qlonglong(rows), ms, qlonglong(statusKiB("VmHWM:") - before));
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    if (argc == 3)
        return measure(QString::fromLocal8Bit(argv[1]), QString::fromLocal8Bit(argv[2]));

    QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("OxDemoras.txt"));
    constexpr qsizetype kSize = 50 * 1024 * 1024;
    QByteArray rows;
    rows.reserve(kSize + 64);
    for (int i = 0; rows.size() < kSize; ++i)
        rows += "Zona " + QByteArray::number(i) + "\t01:15\t\r\n";
    QByteArray noise(kSize, '\0');
    for (char &c : noise)
        c = char(QRandomGenerator::global()->bounded(256));

    bool ok = true;
    for (const auto &[name, bytes] :
         {std::pair{"rows", &rows}, std::pair{"random bytes", &noise}}) {
        QFile f(file);
        f.open(QIODevice::WriteOnly | QIODevice::Truncate);
        f.write(*bytes);
        f.close();
        const double fileMiB = double(bytes->size()) / (1024 * 1024);
        double figures[2][3] = {};
        for (int i = 0; i < 2; ++i) {
            QProcess p;
            p.start(QCoreApplication::applicationFilePath(),
                    {i == 0 ? QStringLiteral("--board") : QStringLiteral("--split"), file});
            p.waitForFinished(-1);
            const QList<QByteArray> out = p.readAllStandardOutput().trimmed().split(' ');
            for (int k = 0; k < 3 && k < out.size(); ++k)
                figures[i][k] = out[k].toDouble();
        }
        const double peakMiB = figures[0][2] / 1024;
        std::printf("50 MB of %s: board %.0f zones in %.0f ms, peak +%.0f MiB (%.2fx the file); "
                    "readAll + split %.0f ms, peak +%.0f MiB; time ratio %.2f (target: peak <= "
                    "3x the file)\n",
                    name, figures[0][0], figures[0][1], peakMiB, peakMiB / fileMiB, figures[1][1],
                    figures[1][2] / 1024, figures[0][1] / figures[1][1]);
        ok = ok && peakMiB <= 3 * fileMiB;
    }
    return ok ? 0 : 2;
}
