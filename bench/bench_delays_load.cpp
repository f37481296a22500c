// How long the delay board takes to load a 50 MB delays file (target below
// 1 s), with the form being built and shown the rows: once a file of ordinary
// rows (about three million zones), once 50 MB of random bytes.
#include "delays/wnDemoras.h"
#include "support/Adds.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <cstdio>

using namespace orvex;

namespace {

double loadMs(const QString &folder, int &rows)
{
    Adds adds{AddsServices{}};
    wnDemorasContext c;
    c.adds = &adds;
    c.programFolder = folder;
    c.savedDelay = [](const QString &) { return QString(); };
    QElapsedTimer t;
    t.start();
    wnDemoras board(c);
    const double ms = double(t.nsecsElapsed()) / 1e6;
    rows = board.ListaRows().rowCount();
    return ms;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
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
        int count = 0;
        const double ms = loadMs(folder.path(), count);
        std::printf("50 MB of %s: %d zones loaded in %.0f ms (target < 1000 ms)\n", name, count,
                    ms);
        ok = ok && ms < 1000;
    }
    return ok ? 0 : 2;
}
