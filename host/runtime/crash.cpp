#include "host/runtime/crash.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>

#include "host/sdk/plugin.h"

namespace host {

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

constexpr std::array kSignals{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

std::array<struct sigaction, kSignals.size()> before;
bool installed = false;
std::atomic<bool> crashing{false};

// Static: the heap may be what is broken.
char report[16384];
alignas(16) char handlerStack[64 * 1024];

void writeAll(const char* text) {
    std::size_t left = std::strlen(text);
    while (left > 0) {
        const ssize_t wrote = write(STDERR_FILENO, text, left);
        if (wrote <= 0) return;
        text += wrote;
        left -= static_cast<std::size_t>(wrote);
    }
}

void describeCrash(int signal) {
    std::size_t used =
        static_cast<std::size_t>(std::snprintf(report, sizeof report, "Signal %d (%s)\n", signal, strsignal(signal)));
    std::array<void*, 48> frames;
    const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
    for (int i = 0; i < count && used + 1 < sizeof report; ++i) {
        Dl_info where{};
        const void* frame = frames[static_cast<std::size_t>(i)];
        const bool known = dladdr(frame, &where) != 0 && where.dli_fname != nullptr;
        const auto offset = reinterpret_cast<std::size_t>(frame) - reinterpret_cast<std::size_t>(where.dli_fbase);
        const int wrote = std::snprintf(report + used, sizeof report - used, "  %p %s+0x%zx %s\n", frame,
                                        known ? where.dli_fname : "?", known ? offset : 0,
                                        known && where.dli_sname ? where.dli_sname : "");
        if (wrote <= 0) return;
        used = std::min(used + static_cast<std::size_t>(wrote), sizeof report - 1);
    }
}

void onCrash(int signal) {
    // A second crash, in a handler or on another thread, ends at once.
    if (!crashing.exchange(true)) {
        describeCrash(signal);
        writeAll("lumora crashed. ");
        writeAll(report);
        if (const CrashHandler handler = GetCrashHandler()) handler(report);
    }
    ::signal(signal, SIG_DFL);
    raise(signal);
}

std::atomic<CrashHandler> handlerInForce{nullptr};

}  // namespace

CrashHandler GetCrashHandler() {
    return handlerInForce;
}

void SetCrashHandler(CrashHandler handler) {
    handlerInForce = handler;
}

void installCrashSignals() {
    if (installed || kSanitized) return;
    std::array<void*, 2> frames;
    backtrace(frames.data(), 2);  // its first call loads a library: not in a handler
    stack_t stack{};
    stack.ss_sp = handlerStack;
    stack.ss_size = sizeof handlerStack;
    sigaltstack(&stack, nullptr);
    struct sigaction action {};
    action.sa_handler = onCrash;
    action.sa_flags = SA_ONSTACK | SA_NODEFER;
    for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &action, &before[i]);
    installed = true;
}

void removeCrashSignals() {
    handlerInForce = nullptr;
    if (!installed) return;
    for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &before[i], nullptr);
    stack_t off{};
    off.ss_flags = SS_DISABLE;
    sigaltstack(&off, nullptr);
    installed = false;
}

}  // namespace host
