// The settings the agent reads at start-up (the centre's host, then the ten
// server entries, "Orvex.ini" selected before each) from a normal file and
// from one of 100,000 lines whose sections the agent reads come last.
//
//   bench_ini_startup [rounds]
#include "support/AddsSettings.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

QByteArray agentSections()
{
    QByteArray text = "[Centro]\r\nHost=127.0.0.1\r\n\r\n[DynIP]\r\n";
    for (int n = 1; n <= 10; ++n)
        text += "DynIP Server " + QByteArray::number(n) + "=Servidor " + QByteArray::number(n) +
                "/prov" + QByteArray::number(n) + "/127.0.0.1:9751/V2/60\r\n";
    return text;
}

QByteArray padding(int lines)
{
    QByteArray text;
    for (int i = 0; i * 100 < lines; ++i) { // 100 lines a section
        text += "[Modulo" + QByteArray::number(i) + "]\r\n";
        for (int k = 0; k < 98; ++k)
            text += "Clave" + QByteArray::number(k) + "=C:\\Sendaro\\Datos\\" +
                    QByteArray::number(i * 100 + k) + "\r\n";
        text += "\r\n";
    }
    return text;
}

// One start-up: a store of its own, as a new process has.
double startUpMs(const QString &path)
{
    auto owned = std::make_unique<AddsSettings>();
    AddsSettings &settings = *owned;
    QElapsedTimer t;
    t.start();
    settings.INI_SetFileName(path);
    QString seen = settings.INI_GetString(u"Centro"_s, u"Host"_s, u"-"_s);
    settings.INI_SetFileName(path);
    for (int n = 1; n <= 10; ++n)
        seen += settings.INI_GetString(u"DynIP"_s, u"DynIP Server %1"_s.arg(n), {});
    const double ms = double(t.nsecsElapsed()) / 1e6;
    return seen.size() > 100 ? ms : -1;
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, atoi(argv[1])) : 21;
    QTemporaryDir dir;
    const QString normal = dir.filePath(u"normal.ini"_s), big = dir.filePath(u"big.ini"_s);
    for (const auto &[path, text] :
         {std::pair{normal, agentSections()}, {big, padding(100000) + agentSections()}}) {
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly) || f.write(text) != text.size())
            return 1;
    }
    std::vector<double> small, large;
    startUpMs(normal); // warm-up
    startUpMs(big);
    for (int r = 0; r < rounds; ++r) { // alternated, so drift hits both alike
        small.push_back(startUpMs(normal));
        large.push_back(startUpMs(big));
    }
    std::printf("start-up settings, medians of %d rounds: normal file %.3f ms, 100,000 lines "
                "%.2f ms, ratio %.0f\n",
                rounds, median(small), median(large), median(large) / median(small));
    return 0;
}
