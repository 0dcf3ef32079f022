#include "tests/app/program.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

extern char** environ;

namespace test {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr auto kPatience = std::chrono::seconds(240);

struct Pipe {
    int ends[2] = {-1, -1};
    Pipe() {
        if (pipe2(ends, O_CLOEXEC) != 0) std::abort();
    }
    ~Pipe() {
        closeEnd(0);
        closeEnd(1);
    }
    void closeEnd(int end) {
        if (ends[end] >= 0) close(ends[end]);
        ends[end] = -1;
    }
};

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

/// False at the end of the stream.
bool readSome(int descriptor, std::string& text) {
    std::array<char, 4096> buffer;
    const ssize_t got = read(descriptor, buffer.data(), buffer.size());
    if (got > 0) text.append(buffer.data(), static_cast<std::size_t>(got));
    return got > 0 || (got < 0 && errno == EINTR);
}

}  // namespace

Outcome run(std::vector<std::string> arguments, const RunOptions& options) {
    const ScratchFolder preferences;
    arguments.insert(arguments.begin(), LUMORA_EXECUTABLE);
    std::vector<std::string> environment;
    for (char** entry = environ; *entry; ++entry) environment.emplace_back(*entry);
    environment.push_back("LUMORA_PREFERENCES=" + preferences.path().string());
    environment.insert(environment.end(), options.environment.begin(), options.environment.end());

    Pipe out, err;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out.ends[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err.ends[1], 2);
    if (!options.directory.empty()) posix_spawn_file_actions_addchdir_np(&actions, options.directory.c_str());

    Outcome outcome;
    pid_t child = 0;
    const std::vector<char*> argv = pointers(arguments), envp = pointers(environment);
    const int failed = posix_spawn(&child, LUMORA_EXECUTABLE, &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (failed) return outcome;
    out.closeEnd(1);
    err.closeEnd(1);

    const Clock::time_point end = Clock::now() + kPatience;
    bool signalled = false;
    while (out.ends[0] >= 0 || err.ends[0] >= 0) {
        if (Clock::now() > end) kill(child, SIGKILL);
        pollfd streams[2] = {{out.ends[0], POLLIN, 0}, {err.ends[0], POLLIN, 0}};
        poll(streams, 2, 200);
        if (streams[0].revents && !readSome(out.ends[0], outcome.out)) out.closeEnd(0);
        if (streams[1].revents && !readSome(err.ends[0], outcome.err)) err.closeEnd(0);
        if (const int number = options.signalOn && !signalled ? options.signalOn(outcome.err) : 0; number > 0) {
            kill(child, number);
            signalled = true;
        }
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status)) outcome.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) outcome.signal = WTERMSIG(status);
    return outcome;
}

ScratchFolder::ScratchFolder() {
    std::string name = (fs::temp_directory_path() / "lumora-test-XXXXXX").string();
    if (!mkdtemp(name.data())) std::abort();
    path_ = name;
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string ScratchFolder::write(const std::string& name, const std::string& content) const {
    std::ofstream(path_ / name, std::ios::binary) << content;
    return *this / name;
}

std::string readFile(const fs::path& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

}  // namespace test
