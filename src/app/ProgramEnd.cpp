#include "app/ProgramEnd.h"

#include <QDir>

#include <cstdio>
#include <cstdlib>

namespace orvex {

int removeTemporaryFiles(const QString &programFolder)
{
    QDir folder(QDir(programFolder).filePath(QStringLiteral("Instalables")));
    int removed = 0;
    for (const QString &name :
         folder.entryList({QStringLiteral(".orvex-*")}, QDir::Files | QDir::Hidden | QDir::System))
        removed += folder.remove(name) ? 1 : 0;
    return removed;
}

void endProgramNow(const QString &programFolder)
{
    removeTemporaryFiles(programFolder);
    std::fflush(stdout);
    std::fflush(stderr);
    std::_Exit(0);
}

} // namespace orvex
