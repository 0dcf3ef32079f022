// How a command ends: its exit code, and the one sentence that says why it failed.
#pragma once

#include <stdexcept>
#include <string>

namespace app {

enum ExitCode : int {
    kExitOk = 0,
    kExitFailure = 1,        ///< a file, the machine or the engine stood in the way
    kExitUsage = 2,          ///< the command line asks for something that does not exist
    kExitInterrupted = 130,  ///< Ctrl-C or a signal to end
};

/// Ends a command. main prints the sentence on stderr and exits with the code.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode code, const std::string& sentence) : std::runtime_error(sentence), code_(code) {}
    ExitCode code() const { return code_; }

private:
    ExitCode code_;
};

}  // namespace app
