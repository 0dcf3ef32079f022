// Ctrl-C and the polite signals to end.
#pragma once

namespace app {

/// From now on the first SIGINT, SIGTERM or SIGHUP only sets a flag; the second ends the program at once with 130.
void catchInterrupts();
bool interrupted();

}  // namespace app
