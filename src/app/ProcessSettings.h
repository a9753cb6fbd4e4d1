#pragma once

#include <QString>

namespace harrowmint {

/// Undoes what the process's parent may have left behind: ignored signals, missing standard streams, no display. From
/// then on the toolkit's messages go to the log as well.
/// Call first, before other threads and before the application object.
void settleProcess();

/// Writes one line to standard error, which is the agent's log. Never waits for whoever reads it: a line that does not
/// fit now is dropped. Any thread.
void logLine(const QString& text);

} // namespace harrowmint
