// The denoiser beside the render: one film at a time, on a thread of its own, so that neither sampling nor the display
// waits for it.
//
//   Idle --start--> Busy --done--> Idle, with a result
//   Busy --start of another job, or of the final picture of this one--> Busy with that; the old work is cancelled
//   Busy --cancel--> Idle
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "engine/film/denoise.h"

namespace Lumora::engine {

/// Any thread may call any function; none but waitForFinal() and the destructor waits.
class DenoiseService {
public:
    struct Task {
        std::shared_ptr<const FilmBuffer> film;
        std::uint64_t job = 0;      ///< whose film it is; not 0
        bool final = false;         ///< the film has all its samples
        std::uint64_t samples = 0;  ///< in the film; a final picture of fewer is none any more
        int threads = 1;
    };
    struct Result {
        Picture picture;
        bool final = false;
        std::uint64_t samples = 0;
    };

    /// `onDone` is called on the service's thread when there is a new result.
    explicit DenoiseService(std::function<void()> onDone);
    ~DenoiseService();
    DenoiseService(const DenoiseService&) = delete;
    DenoiseService& operator=(const DenoiseService&) = delete;

    /// Takes the task, unless this job's final picture is there or on its way, or it is not final and another of the
    /// same job is at work.
    void start(Task task);
    /// Ends the work; a result that is there stays.
    void cancel();
    /// Ends the work and forgets the result.
    void clear();

    /// The newest result of a job, or null.
    std::shared_ptr<const Result> latest(std::uint64_t job) const;
    /// The final result of a job that was started so; null when it was cancelled or there was no memory for it.
    std::shared_ptr<const Result> waitForFinal(std::uint64_t job) const;
    /// How far the work on a job's final picture is: 0 to 1.
    float progress(std::uint64_t job) const;
    bool busy() const;

private:
    void loop();
    static bool isFinalWork(const std::optional<Task>& task, std::uint64_t job) {
        return task && task->job == job && task->final;
    }

    std::function<void()> onDone_;
    mutable std::mutex lock_;
    mutable std::condition_variable signal_;
    bool quit_ = false;
    std::optional<Task> next_, current_;
    std::shared_ptr<DenoiseControl> control_;  ///< of the current task
    std::shared_ptr<const Result> result_;
    std::uint64_t resultJob_ = 0;
    std::uint64_t failedJob_ = 0;  ///< there was no memory for its final picture
    std::thread thread_;
};

}  // namespace Lumora::engine
