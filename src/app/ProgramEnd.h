#pragma once
// How the running program ends: at once, whatever it is waiting for.
#include <QString>

namespace orvex {

// Every wait returns and the event loop ends, so that what waited unwinds
// and cleans up after itself; should anything still hold the program a
// second later, it ends there, its temporary files removed.
void endProgram(const QString &programFolder);

// Removes the temporary files the agent makes while it waits (downloads on
// their way, spooled replies): ".orvex-*" in the "Instalables" folder. At
// start-up they can only be what a killed run left.
int removeTemporaryFiles(const QString &programFolder);

} // namespace orvex
