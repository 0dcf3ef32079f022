// Work in a child process of our own: files from strangers are decoded where a crash, a hang or a huge allocation costs
// an error message and not the program.
//
// A job is a function with a name. A program that can run jobs calls runChildJob first thing in main:
//
//   if (const int code = host::runChildJob(argc, argv); code >= 0) return code;
//
// Whoever wants a job done starts the program again with runInChild(name, arguments, limits). Programs that make no
// such call (benchmarks, other people's tests) borrow the `lumora` program that lies beside the host library.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/sdk/types.h"

namespace host {

struct ChildLimits {
    Int64 memoryBytes = Int64(4) << 30;  ///< address space; 0: none. Not enforced under the address sanitizer.
    Float cpuSeconds = 120;              ///< 0: none
    Float wallSeconds = 120;             ///< 0: none
    Int64 fileBytes = 0;                 ///< largest file that it may write; 0: none
};

enum class ChildEnd : UChar {
    Exited,      ///< by itself, see exitCode
    Crashed,     ///< by a signal
    TimedOut,    ///< wall or processor time
    Stopped,     ///< the caller's break test asked for it
    NotStarted,  ///< the program was not found or the system refused
};

struct ChildResult {
    ChildEnd end = ChildEnd::NotStarted;
    int exitCode = -1;
    int signal = 0;
    std::string output;  ///< last 64 KiB of what it wrote to stdout and stderr
    /// One sentence that says how it ended ("ran out of memory", "took longer than 60 s"); empty after exit code 0.
    std::string error;
    Bool ok() const { return end == ChildEnd::Exited && exitCode == 0; }
};

/// Exit code of a job that could not get memory; the result then says so.
inline constexpr int kChildOutOfMemory = 71;

/// Arguments are what was passed to runInChild. The return value is the exit code, 0 to 125. An exception of the
/// standard library ends the job with its text on stderr.
using ChildJob = int (*)(const std::vector<std::string>& arguments);

/// Makes a job known under a name; from a static initialiser or from main, before runChildJob.
bool registerChildJob(const char* name, ChildJob job);

/// Runs the job when this process was started for one and returns its exit code; -1 otherwise. Marks the running
/// program as one that can be started again for jobs.
int runChildJob(int argc, char** argv);

/// Starts a job and waits for its end. `outputFd` >= 0 becomes the job's descriptor 3 (kChildOutputFd). `stop` is asked
/// about ten times a second. Any thread; the child never outlives the call.
ChildResult runInChild(const std::string& job, const std::vector<std::string>& arguments, const ChildLimits& limits,
                       int outputFd = -1, const std::function<bool()>& stop = {});

inline constexpr int kChildOutputFd = 3;

/// Any program, the same way. `command[0]` is its path.
ChildResult runProgram(const std::vector<std::string>& command, const ChildLimits& limits, int outputFd = -1,
                       const std::function<bool()>& stop = {});

}  // namespace host
