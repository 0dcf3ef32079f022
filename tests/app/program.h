// Runs the lumora executable and tells what it said and how it ended.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace test {

struct Outcome {
    int exitCode = -1;  ///< -1: ended by a signal, or not at all in time
    int signal = 0;
    std::string out, err;
};

struct RunOptions {
    std::vector<std::string> environment;  ///< "NAME=value", beside the test's own
    std::filesystem::path directory;       ///< to start in; empty: the test's own
    /// Looks at what stands on stderr so far after each piece; a number above 0 is sent as a signal, once.
    std::function<int(const std::string&)> signalOn;
};

/// With a preferences folder of the test's own, and nothing on stdin.
Outcome run(std::vector<std::string> arguments, const RunOptions& options = {});

/// A folder of the running test, empty at first and removed at its end.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    const std::filesystem::path& path() const { return path_; }
    std::string operator/(const std::string& name) const { return (path_ / name).string(); }
    /// Writes a file and returns its path.
    std::string write(const std::string& name, const std::string& content) const;

private:
    std::filesystem::path path_;
};

std::string readFile(const std::filesystem::path& file);

}  // namespace test
