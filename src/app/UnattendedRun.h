#pragma once
// What the environment asks of a run nobody watches (the demo, the scripts
// that drive the agent, support staff): a log file, pictures of the windows,
// and commands dropped into a file. Each does nothing unless its variable is set.
class QWidget;

namespace orvex {

class wnPrincipal;

void logToFileWhenAsked();
void takePicturesWhenAsked(QWidget &main);
void runActionsWhenAsked(wnPrincipal &main);

} // namespace orvex
