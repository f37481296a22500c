#pragma once
// Saves the installation's configuration (every INI and DBS file of the
// program folder, in one archive) to the home server and gets it back.
#include "actions/ActionContext.h"

#include <QString>

namespace orvex {

class Downloads;

class ConfigurationBackup
{
public:
    ConfigurationBackup(const ActionContext &context, Downloads &downloads);

    // Builds the archive with the archiver (fetched once into "Instalables"),
    // sends it inside one request and tells how it went.
    void save(const QString &company, const QString &pcName);
    // Fetches the last archive saved and unpacks it over the program folder.
    void restore(const QString &company, const QString &pcName);

private:
    QString path(const QString &name) const;

    ActionContext m_ctx;
    Downloads &m_downloads;
};

} // namespace orvex
