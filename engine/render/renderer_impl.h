// The inside of the renderer: its threads, and what they share under one lock.
//
//   build thread  takes the newest delta, compiles it, puts a new job in place of the old one
//   work threads  take units of the job, and of the jobs of its passes, and sample them
//   display thread  develops pictures of what was sampled so far, and looks after the denoiser
//
// Each room is a file: renderer_build.cpp, renderer_work.cpp, renderer_pictures.cpp, renderer_statistics.cpp; the
// switches that callers turn are in renderer.cpp.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

#include "engine/compile/scene_compiler.h"
#include "engine/film/denoise_service.h"
#include "engine/render/pass_jobs.h"
#include "engine/render/renderer.h"

namespace Lumora::engine {

using RenderClock = std::chrono::steady_clock;

inline double secondsSince(RenderClock::time_point start) {
    return std::chrono::duration<double>(RenderClock::now() - start).count();
}

class Renderer::Impl {
public:
    explicit Impl(RendererCallbacks callbacks);
    ~Impl();

    void submit(SceneDelta delta);
    void setPaused(bool paused);
    bool paused() const;
    void restart();
    void stop();
    void setRegion(bool on, Vec2<unsigned> start, Vec2<unsigned> size, unsigned feather);
    void setThreadCount(unsigned threads);
    void setOutput(TonemapType type, std::vector<RenderPassId> passes);
    std::uint64_t imageChangeLevel() const;
    std::vector<Image> latest() const;
    std::vector<Image> tonemap(const std::vector<RenderPassId>& passes, TonemapType type);
    Statistics statistics(RenderPassId pass) const;
    bool failed() const;
    std::string failureText() const;
    void resetFailure();

private:
    /// What a picture is made of, for use without the lock.
    struct Showing {
        std::shared_ptr<Job> job;
        std::vector<PassJob> passes;
        RenderScenePtr scene;
    };
    struct Work {
        std::shared_ptr<Job> job;
        Job::Unit unit;
    };

    void buildLoop();
    void workLoop(unsigned index);
    void displayLoop();
    void buildNext(std::unique_lock<std::mutex>& lock);
    void fail(const std::string& text);
    void replaceJob(std::unique_lock<std::mutex>& lock);
    void dropJobs();
    void matchPasses(bool keep);
    std::optional<Work> takeWork();
    bool allFinished() const;
    std::uint64_t samplesTaken() const;
    Film region() const;
    void growPool();
    DenoiseService::Task denoiseTask(const std::shared_ptr<Job>& job, bool final) const;
    void tendDenoiser(const std::shared_ptr<Job>& job);
    bool publish(std::unique_lock<std::mutex>& lock, const std::shared_ptr<Job>& job);
    bool mayWork(unsigned index) const {
        return job_ && !idle_ && !paused_ && !stopped_ && !failed_ && !building_ && index < threads_;
    }
    Image develop(const Job& job, const RenderScene& scene, RenderPassId pass, TonemapType type,
                  const Image* previous) const;
    std::vector<Image> developAll(const Showing& showing, const std::vector<RenderPassId>& passes, TonemapType type,
                                  const std::vector<Image>& previous) const;

    RendererCallbacks callbacks_;
    mutable std::mutex lock_;
    std::condition_variable buildSignal_, workSignal_, displaySignal_, stateSignal_;
    bool quit_ = false, paused_ = false, stopped_ = false, failed_ = false;
    bool building_ = false;  ///< workers leave the processors to the build
    bool idle_ = true;       ///< the job has nothing left to hand out
    bool refresh_ = false;   ///< make a picture even though nothing was sampled
    std::string failure_;
    std::optional<SceneDelta> pending_;

    SceneCompiler compiler_;
    RenderScenePtr scene_;  ///< the newest; its imager is the one in force
    std::shared_ptr<Job> job_;
    std::vector<PassJob> passJobs_;
    std::size_t turn_ = 0;  ///< whose unit is next, of the picture and its passes
    std::uint32_t subSample_ = 1;
    unsigned working_ = 0;
    double buildSeconds_ = 0.0;

    bool regionOn_ = false;
    Vec2<unsigned> regionStart_, regionSize_;
    unsigned feather_ = 0;           ///< pixels over which the region fades into what lies around it
    std::vector<Image> regionBase_;  ///< what was shown when the region was set
    TonemapType outputType_ = TONEMAP_LDR;
    std::vector<RenderPassId> outputPasses_{RP_BEAUTY};
    std::vector<Image> images_;
    std::uint64_t imageLevel_ = 0, sceneLevel_ = 0;
    ItemUid target_ = 0;

    // The sampling clock of this job: stands while nothing is sampled.
    bool sampling_ = false;
    double sampledSeconds_ = 0.0;
    RenderClock::time_point samplingSince_{};

    unsigned threads_ = 1;
    std::vector<std::thread> pool_;
    std::thread build_, display_;

    std::uint64_t denoisedJob_ = 0;          ///< which the time is of
    RenderClock::time_point nextDenoise_{};  ///< of a picture that is not finished
    DenoiseService denoiser_;                ///< last: its thread calls back
};

}  // namespace Lumora::engine
