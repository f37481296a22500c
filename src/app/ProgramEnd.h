#pragma once
// How the running program ends: at once, whatever it is waiting for.
#include <QString>

namespace orvex {

// Ends the process now, whatever it waits for (a download, the archiver, a
// slow server), as an unconditional end does: nothing is asked or saved, no
// waiting step goes on. The temporary files it made go first; the files it
// writes are replaced whole, so none is left half written.
[[noreturn]] void endProgramNow(const QString &programFolder);

// Removes the temporary files the agent makes while it waits (downloads on
// their way, spooled replies): ".orvex-*" in the "Instalables" folder. At
// start-up they can only be what a killed run left.
int removeTemporaryFiles(const QString &programFolder);

} // namespace orvex
