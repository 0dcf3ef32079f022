// What happens when the program crashes: a back trace, the crash handlers of plug-ins, then the system's own reaction.
#pragma once

namespace host {

/// Catches SIGSEGV, SIGBUS, SIGFPE, SIGILL and SIGABRT. Not under the sanitizers, which do it better.
void installCrashSignals();
void removeCrashSignals();

}  // namespace host
