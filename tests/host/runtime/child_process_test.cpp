#include "host/runtime/child_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "tests/host/scratch.h"

namespace host {
namespace {

using Arguments = std::vector<std::string>;

int eatMemory(const Arguments&) {
    std::vector<std::vector<char>> kept;
    for (;;) kept.emplace_back(std::size_t(256) << 20);
}
int hang(const Arguments&) {
    for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
}
int spin(const Arguments&) {
    for (volatile unsigned x = 0;;) x = x + 1;
}
int crash(const Arguments&) {
    std::abort();
}
int throwText(const Arguments&) {
    throw std::runtime_error("the third stone is loose");
}
int answer(const Arguments& arguments) {
    const std::string text = arguments.at(0) + "|" + arguments.at(1);
    return write(kChildOutputFd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 7 : 1;
}
int flood(const Arguments&) {
    for (int i = 0; i < 1'000'000; ++i) std::puts("0123456789");
    std::puts("last line");
    return 0;
}

const bool registered = registerChildJob("test-memory", eatMemory) && registerChildJob("test-hang", hang) &&
                        registerChildJob("test-spin", spin) && registerChildJob("test-crash", crash) &&
                        registerChildJob("test-throw", throwText) && registerChildJob("test-answer", answer) &&
                        registerChildJob("test-flood", flood);

TEST(ChildProcess, EndsOfAllKindsAreToldApart) {
    ASSERT_TRUE(registered);
    ChildLimits quick;
    quick.wallSeconds = 1;
    ChildLimits little;
    little.cpuSeconds = 1;
    little.wallSeconds = 60;
    struct Case {
        const char* job;
        ChildLimits limits;
        ChildEnd end;
        int exitCode;
        const char* says;
    };
    for (const Case& c : {Case{"test-hang", quick, ChildEnd::TimedOut, -1, "longer than 1 s"},
                          Case{"test-spin", little, ChildEnd::TimedOut, -1, "processor time"},
                          Case{"test-throw", {}, ChildEnd::Exited, 1, "code 1"},
                          Case{"no-such-job", {}, ChildEnd::Exited, 2, "code 2"}}) {
        const ChildResult result = runInChild(c.job, {}, c.limits);
        EXPECT_EQ(result.end, c.end) << c.job;
        EXPECT_EQ(result.exitCode, c.exitCode) << c.job;
        EXPECT_NE(result.error.find(c.says), std::string::npos) << c.job << ": " << result.error;
    }
    const ChildResult crashed = runInChild("test-crash", {}, {});
    EXPECT_FALSE(crashed.ok());
    EXPECT_FALSE(crashed.error.empty());
    EXPECT_NE(runInChild("test-throw", {}, {}).output.find("the third stone is loose"), std::string::npos);
    EXPECT_EQ(runProgram({"/nonexistent/program"}, {}).end, ChildEnd::NotStarted);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was left behind";
}

TEST(ChildProcess, MemoryLimitHolds) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address sanitizer needs all of the address space";
#endif
    ChildLimits limits;
    limits.memoryBytes = Int64(1) << 30;
    const ChildResult result = runInChild("test-memory", {}, limits);
    EXPECT_EQ(result.exitCode, kChildOutOfMemory);
    EXPECT_NE(result.error.find("1024 MiB"), std::string::npos) << result.error;
}

TEST(ChildProcess, ArgumentsArriveAndTheResultComesBack) {
    const test::ScratchFolder folder;
    const int fd = open((folder / "result").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const ChildResult result = runInChild("test-answer", {"a b", "--x=\"1\""}, {}, fd);
    EXPECT_EQ(result.exitCode, 7);
    char text[64] = {};
    EXPECT_GT(pread(fd, text, sizeof text - 1, 0), 0);
    EXPECT_STREQ(text, "a b|--x=\"1\"");
    close(fd);
}

TEST(ChildProcess, ALotOfOutputNeitherBlocksNorPilesUp) {
    const ChildResult result = runInChild("test-flood", {}, {});
    EXPECT_TRUE(result.ok()) << result.error;
    EXPECT_LE(result.output.size(), 64U * 1024);
    EXPECT_NE(result.output.find("last line"), std::string::npos);
}

TEST(ChildProcess, TheCallerCanStopIt) {
    int asked = 0;
    const ChildResult result = runInChild("test-hang", {}, {}, -1, [&] { return ++asked > 2; });
    EXPECT_EQ(result.end, ChildEnd::Stopped);
}

}  // namespace
}  // namespace host
