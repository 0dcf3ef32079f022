#include "host/runtime/child_process.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <map>
#include <new>

namespace host {

namespace {

constexpr const char* kJobOption = "--lumora-child-job";
constexpr std::size_t kOutputKept = 64 * 1024;
constexpr int kExecFailed = 127;

std::map<std::string, ChildJob>& jobs() {
    static std::map<std::string, ChildJob> table;
    return table;
}

std::atomic<bool> programRunsJobs{false};

std::string programForJobs() {
    std::error_code ignored;
    if (programRunsJobs) return std::filesystem::read_symlink("/proc/self/exe", ignored).string();
    Dl_info info{};
    if (!dladdr(reinterpret_cast<const void*>(&runInChild), &info) || !info.dli_fname) return {};
    const auto program = std::filesystem::absolute(info.dli_fname, ignored).parent_path() / "lumora";
    return std::filesystem::exists(program, ignored) ? program.string() : std::string();
}

struct Fd {
    int value = -1;
    Fd() = default;
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    ~Fd() { close(); }
    void close() {
        if (value >= 0) ::close(value);
        value = -1;
    }
};

void limitSelf(int resource, rlim_t soft, rlim_t hard) {
    rlimit limit{};
    if (getrlimit(static_cast<__rlimit_resource>(resource), &limit) != 0) return;
    limit.rlim_max = std::min(limit.rlim_max, hard);
    limit.rlim_cur = std::min(limit.rlim_max, soft);
    setrlimit(static_cast<__rlimit_resource>(resource), &limit);
}

// Everything that the child does between vfork and exec, prepared before: in that window it borrows the parent's
// memory, so it may only make system calls.
struct Launch {
    char* const* argv;
    const ChildLimits* limits;
    int outputPipe, resultFd;
    pid_t parent;
    sigset_t signals;
};

[[noreturn]] void becomeChild(const Launch& launch) {
    setpgid(0, 0);  // a Ctrl-C at the terminal is for the parent, which then ends the child
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != launch.parent) _exit(kExecFailed);
    const ChildLimits& limits = *launch.limits;
#if !defined(__SANITIZE_ADDRESS__)
    if (limits.memoryBytes > 0)
        limitSelf(RLIMIT_AS, static_cast<rlim_t>(limits.memoryBytes), static_cast<rlim_t>(limits.memoryBytes));
#endif
    if (limits.cpuSeconds > 0) {  // SIGXCPU first, SIGKILL a second later should it be ignored
        const auto whole = static_cast<rlim_t>(std::ceil(limits.cpuSeconds));
        limitSelf(RLIMIT_CPU, whole, whole + 1);
    }
    if (limits.fileBytes > 0) {
        limitSelf(RLIMIT_FSIZE, static_cast<rlim_t>(limits.fileBytes), static_cast<rlim_t>(limits.fileBytes));
    }
    limitSelf(RLIMIT_CORE, 0, 0);
    dup2(launch.outputPipe, 1);
    dup2(launch.outputPipe, 2);
    if (launch.resultFd >= 0) {
        if (launch.resultFd == kChildOutputFd) {
            fcntl(kChildOutputFd, F_SETFD, 0);
        } else {
            dup2(launch.resultFd, kChildOutputFd);
        }
    }
    sigprocmask(SIG_SETMASK, &launch.signals, nullptr);
    execv(launch.argv[0], launch.argv);
    _exit(kExecFailed);
}

// vfork, because a fork of a process that holds a large scene copies its page tables and may be refused memory.
pid_t launchChild(Launch& launch) {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &launch.signals);
    const pid_t pid = vfork();
    if (pid == 0) becomeChild(launch);
    pthread_sigmask(SIG_SETMASK, &launch.signals, nullptr);
    return pid;
}

using Clock = std::chrono::steady_clock;

enum class WaitEnd { Ended, TimedOut, Stopped };

// Collects the output until the child has ended, the time is over or the caller wants no more.
WaitEnd superviseChild(pid_t pid, int pipe, const ChildLimits& limits, const std::function<bool()>& stop, int* status,
                       std::string* output) {
    const auto begin = Clock::now();
    bool open = true;
    for (;;) {
        if (waitpid(pid, status, WNOHANG) == pid) return WaitEnd::Ended;
        double wait = stop ? 0.1 : 1.0;
        if (limits.wallSeconds > 0) {
            const double left = limits.wallSeconds - std::chrono::duration<double>(Clock::now() - begin).count();
            if (left <= 0) return WaitEnd::TimedOut;
            wait = std::min(wait, left);
        }
        if (stop && stop()) return WaitEnd::Stopped;
        if (!open) wait = std::min(wait, 0.01);  // both streams are closed: it is about to end
        pollfd entry{open ? pipe : -1, POLLIN, 0};
        if (poll(&entry, 1, static_cast<int>(wait * 1000) + 1) <= 0) continue;
        char buffer[4096];
        const ssize_t got = read(pipe, buffer, sizeof buffer);
        if (got == 0) open = false;
        if (got <= 0) continue;
        output->append(buffer, static_cast<std::size_t>(got));
        if (output->size() > 2 * kOutputKept) output->erase(0, output->size() - kOutputKept);
    }
}

void drainPipe(int pipe, std::string* output) {
    fcntl(pipe, F_SETFL, O_NONBLOCK);
    char buffer[4096];
    for (ssize_t got = 0; (got = read(pipe, buffer, sizeof buffer)) > 0;) {
        output->append(buffer, static_cast<std::size_t>(got));
        if (output->size() > 2 * kOutputKept) output->erase(0, output->size() - kOutputKept);
    }
    if (output->size() > kOutputKept) output->erase(0, output->size() - kOutputKept);
}

std::string seconds(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g s", value);
    return text;
}

void describeEnd(int status, const ChildLimits& limits, ChildResult* result) {
    if (WIFEXITED(status)) {
        result->end = ChildEnd::Exited;
        result->exitCode = WEXITSTATUS(status);
        if (result->exitCode == kExecFailed) {
            result->end = ChildEnd::NotStarted;
            result->error = "the helper process could not be started";
        } else if (result->exitCode == kChildOutOfMemory) {
            result->error = "needs more memory than it may have (" + std::to_string(limits.memoryBytes >> 20) + " MiB)";
        } else if (result->exitCode != 0) {
            result->error = "failed with code " + std::to_string(result->exitCode);
        }
        return;
    }
    result->signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    const bool outOfTime = result->signal == SIGXCPU;
    result->end = outOfTime ? ChildEnd::TimedOut : ChildEnd::Crashed;
    const char* name = strsignal(result->signal);
    result->error = outOfTime ? "took more processor time than " + seconds(limits.cpuSeconds)
                              : "crashed (" + std::string(name ? name : "unknown signal") + ")";
}

}  // namespace

bool registerChildJob(const char* name, ChildJob job) {
    return jobs().emplace(name, job).second;
}

int runChildJob(int argc, char** argv) {
    programRunsJobs = true;
    if (argc < 3 || std::strcmp(argv[1], kJobOption) != 0) return -1;
    const auto found = jobs().find(argv[2]);
    if (found == jobs().end()) {
        std::fprintf(stderr, "no job \"%s\"\n", argv[2]);
        return 2;
    }
    try {
        const int code = found->second(std::vector<std::string>(argv + 3, argv + argc));
        return std::clamp(code, 0, 125);
    } catch (const std::bad_alloc&) {
        return kChildOutOfMemory;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
}

ChildResult runInChild(const std::string& job, const std::vector<std::string>& arguments, const ChildLimits& limits,
                       int outputFd, const std::function<bool()>& stop) {
    std::vector<std::string> command{programForJobs(), kJobOption, job};
    if (command[0].empty()) {
        ChildResult result;
        result.error = "the helper program \"lumora\" was not found beside the host library";
        return result;
    }
    command.insert(command.end(), arguments.begin(), arguments.end());
    return runProgram(command, limits, outputFd, stop);
}

ChildResult runProgram(const std::vector<std::string>& command, const ChildLimits& limits, int outputFd,
                       const std::function<bool()>& stop) {
    ChildResult result;
    Fd readEnd, writeEnd;
    int ends[2];
    if (command.empty() || pipe2(ends, O_CLOEXEC) != 0) {
        result.error = "the system has no pipe left for a helper process";
        return result;
    }
    readEnd.value = ends[0];
    writeEnd.value = ends[1];
    if (writeEnd.value == kChildOutputFd && outputFd >= 0) {  // descriptor 3 is about to be replaced in the child
        writeEnd.value = fcntl(ends[1], F_DUPFD_CLOEXEC, kChildOutputFd + 1);
        ::close(ends[1]);
    }
    std::vector<char*> argv;
    for (const std::string& argument : command) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);

    Launch launch{argv.data(), &limits, writeEnd.value, outputFd, getpid(), {}};
    const pid_t pid = launchChild(launch);
    writeEnd.close();
    if (pid < 0) {
        result.error = std::string("the helper process could not be started: ") + std::strerror(errno);
        return result;
    }
    int status = 0;
    const WaitEnd end = superviseChild(pid, readEnd.value, limits, stop, &status, &result.output);
    if (end == WaitEnd::Ended) {
        describeEnd(status, limits, &result);
    } else {
        kill(-pid, SIGKILL);
        kill(pid, SIGKILL);
        while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
        result.end = end == WaitEnd::TimedOut ? ChildEnd::TimedOut : ChildEnd::Stopped;
        result.signal = SIGKILL;
        result.error = end == WaitEnd::TimedOut ? "took longer than " + seconds(limits.wallSeconds) : "was stopped";
    }
    drainPipe(readEnd.value, &result.output);
    return result;
}

}  // namespace host
