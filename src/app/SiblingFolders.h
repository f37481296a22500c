#pragma once
// Keeps the sibling case module's event folders in its "Movilar.ini": a
// folder without a drive is not where the module's cases live, so it is
// pointed back at the program folder's "Eventos" sub-folders.
#include <QDateTime>
#include <QString>

namespace orvex {

class Adds;
class Clock;

class SiblingFolders
{
public:
    static constexpr int kCheckEveryMinutes = 15;

    // `ownIni` is the agent's settings file, selected again after a repair.
    SiblingFolders(Adds &adds, const Clock &clock, QString programFolder, QString ownIni);

    // Checks when the next check is due (the first call always is).
    void tick();

    // Repairs when the module beside the agent is of major version 1 or 2;
    // true when it looked at the module's settings.
    bool check();

    QDateTime nextCheck() const { return m_nextCheck; }

private:
    Adds &m_adds;
    const Clock &m_clock;
    QString m_programFolder;
    QString m_ownIni;
    QDateTime m_nextCheck;
};

} // namespace orvex
