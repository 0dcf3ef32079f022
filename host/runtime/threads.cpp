#include "host/runtime/threads.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <tbb/global_control.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>

#include "host/sdk/log.h"

namespace host {

namespace {

std::atomic<std::thread::id> mainThread{std::this_thread::get_id()};
std::atomic<Int32> threadCount{0};
std::optional<tbb::global_control> tbbLimit;

const auto clockStart = std::chrono::steady_clock::now();

Int32 processors() {
    return std::max(1, static_cast<Int32>(std::thread::hardware_concurrency()));
}

// Linux schedules threads by nice values of their own. Raising above normal needs rights and is left to the system.
void applyPriority(ThreadPriority priority) {
    const int nice = priority == ThreadPriority::Below ? 5 : priority == ThreadPriority::Lowest ? 15 : 0;
    if (nice > 0) setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), nice);
}

}  // namespace

struct C4DThread::Impl {
    std::mutex lock;  // of start and end
    std::jthread thread;
    std::atomic<bool> running{false}, stop{false};
    std::atomic<std::thread::id> id{};
};

C4DThread::C4DThread() : impl_(std::make_unique<Impl>()) {}

C4DThread::~C4DThread() {
    if (!impl_->running) return;
    // Main belongs to a class that is gone already; all that is left is to wait until it leaves.
    GeConsoleOut("A thread was freed while it ran.");
    impl_->stop = true;
}

Bool C4DThread::Start(ThreadPriority priority) {
    const std::scoped_lock guard(impl_->lock);
    if (impl_->running) return false;
    if (impl_->thread.joinable()) impl_->thread.join();
    impl_->stop = false;
    impl_->running = true;
    try {
        impl_->thread = std::jthread([this, priority, name = std::string(GetThreadName() ? GetThreadName() : "")] {
            impl_->id = std::this_thread::get_id();
            pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
            applyPriority(priority);
            try {
                Main();
            } catch (const std::exception& e) {
                GeConsoleOut("The thread \"" + String(name) + "\" ended with an error: " + e.what());
            }
            impl_->running = false;
        });
    } catch (const std::system_error&) {
        impl_->running = false;
        return false;
    }
    return true;
}

void C4DThread::End(Bool wait) {
    impl_->stop = true;
    if (wait) Wait();
}

Bool C4DThread::IsRunning() const {
    return impl_->running;
}

void C4DThread::Wait() {
    if (impl_->id.load() == std::this_thread::get_id()) return;  // a thread cannot wait for itself
    const std::scoped_lock guard(impl_->lock);
    if (impl_->thread.joinable()) impl_->thread.join();
}

Bool C4DThread::TestBreak() {
    return impl_->stop || TestDBreak();
}

void adoptMainThread() {
    mainThread = std::this_thread::get_id();
}

void setThreadCount(Int32 count) {
    tbbLimit.reset();
    threadCount = std::max(0, count);
    if (count > 0) tbbLimit.emplace(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(count));
}

Bool GeIsMainThread() {
    return mainThread.load() == std::this_thread::get_id();
}

void GeSleep(Int32 milliseconds) {
    if (milliseconds > 0) std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

Float GeGetMilliSeconds() {
    return std::chrono::duration<Float, std::milli>(std::chrono::steady_clock::now() - clockStart).count();
}

Int32 GeGetTimer() {
    return static_cast<Int32>(static_cast<UInt32>(static_cast<Int64>(GeGetMilliSeconds())));
}

Int32 GeGetCurrentThreadCount() {
    const Int32 chosen = threadCount;
    return chosen > 0 ? chosen : processors();
}

}  // namespace host
