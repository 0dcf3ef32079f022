// The command line: what is typed becomes Options, and the command that they name runs.
#pragma once

namespace app {

/// The whole program. Returns the exit code; failures are one sentence on stderr.
int runCommandLine(int argc, char** argv);

}  // namespace app
