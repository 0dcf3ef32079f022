#include "app/interrupt.h"

#include <unistd.h>
#include <csignal>
#include <initializer_list>

#include "app/failure.h"

namespace app {
namespace {

volatile std::sig_atomic_t caught = 0;

extern "C" void onInterrupt(int) {
    // Only what is safe in a signal handler: no output, no clean-up.
    if (caught) _exit(kExitInterrupted);
    caught = 1;
}

}  // namespace

void catchInterrupts() {
    struct sigaction action = {};
    action.sa_handler = onInterrupt;
    // Blocking calls go on: who waits looks at the flag in between.
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        // nohup and shells that start a program in the background have a signal ignored: that stays so.
        struct sigaction before = {};
        if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN) continue;
        sigaction(signal, &action, nullptr);
    }
}

bool interrupted() {
    return caught != 0;
}

}  // namespace app
