#include "app/ProgramEnd.h"

#include "support/EventWait.h"

#include <QCoreApplication>
#include <QDir>
#include <QLoggingCategory>
#include <QTimer>

#include <cstdio>
#include <cstdlib>

Q_DECLARE_LOGGING_CATEGORY(lcStart)

namespace orvex {

namespace {
constexpr int kGraceMs = 1000;
}

int removeTemporaryFiles(const QString &programFolder)
{
    QDir folder(QDir(programFolder).filePath(QStringLiteral("Instalables")));
    int removed = 0;
    for (const QString &name :
         folder.entryList({QStringLiteral(".orvex-*")}, QDir::Files | QDir::Hidden | QDir::System))
        removed += folder.remove(name) ? 1 : 0;
    return removed;
}

void endProgram(const QString &programFolder)
{
    endAllWaits();
    QCoreApplication::exit(0);
    QTimer::singleShot(kGraceMs, [programFolder] {
        qCWarning(lcStart) << "still busy a second after the end: ending now";
        removeTemporaryFiles(programFolder);
        std::fflush(stdout);
        std::fflush(stderr);
        std::_Exit(0);
    });
}

} // namespace orvex
