#include "engine/render/renderer.h"

#include <algorithm>
#include <condition_variable>
#include <stdexcept>
#include <thread>
#include <unordered_set>

#if defined(__SSE3__)
#include <pmmintrin.h>
#endif

#include "engine/compile/scene_compiler.h"
#include "engine/film/denoise_service.h"
#include "engine/film/develop.h"
#include "engine/film/feather.h"
#include "engine/render/info_channel.h"
#include "engine/render/info_picture.h"
#include "engine/render/pass_jobs.h"

namespace Lumora::engine {

namespace {

using Clock = std::chrono::steady_clock;

/// Time that a fresh job gets for its coarse picture before the next edit may replace it: without it a stream of edits
/// would never show anything.
constexpr auto kCoarseGrace = std::chrono::milliseconds(100);
constexpr double kShortestInterval = 1.0 / 30.0;
/// Least time between two pictures, in times that it takes to make one.
constexpr double kIntervalInPictures = 4.0;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Denormal numbers cost a hundred times their worth.
void flushDenormals() {
#if defined(__SSE3__)
    _MM_SET_FLUSH_ZERO_MODE(_MM_FLUSH_ZERO_ON);
    _MM_SET_DENORMALS_ZERO_MODE(_MM_DENORMALS_ZERO_ON);
#endif
}

/// `later` on top of `first`.
void merge(SceneDelta& first, SceneDelta&& later) {
    std::unordered_set<ItemUid> gone;
    for (const NodeRecordPtr& r : later.changed) gone.insert(r->uid);
    std::erase_if(first.removed, [&](ItemUid uid) { return gone.count(uid) != 0; });
    gone.insert(later.removed.begin(), later.removed.end());
    std::erase_if(first.changed, [&](const NodeRecordPtr& r) { return gone.count(r->uid) != 0; });
    first.changed.insert(first.changed.end(), later.changed.begin(), later.changed.end());
    first.removed.insert(first.removed.end(), later.removed.begin(), later.removed.end());
    later.changed = std::move(first.changed);
    later.removed = std::move(first.removed);
    first = std::move(later);
}

}  // namespace

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
    Clock::time_point samplingSince_{};

    unsigned threads_ = 1;
    std::vector<std::thread> pool_;
    std::thread build_, display_;

    std::uint64_t denoisedJob_ = 0;    ///< which the time is of
    Clock::time_point nextDenoise_{};  ///< of a picture that is not finished
    DenoiseService denoiser_;          ///< last: its thread calls back
};

Renderer::Impl::Impl(RendererCallbacks callbacks)
    : callbacks_(std::move(callbacks)),
      compiler_(callbacks_.log),
      threads_(std::max(1u, std::thread::hardware_concurrency())),
      denoiser_([this] {
          const std::lock_guard guard(lock_);
          refresh_ = true;
          displaySignal_.notify_all();
      }) {
    build_ = std::thread([this] { buildLoop(); });
    display_ = std::thread([this] { displayLoop(); });
    const std::lock_guard guard(lock_);
    growPool();
}

Renderer::Impl::~Impl() {
    {
        const std::lock_guard guard(lock_);
        quit_ = true;
        if (job_) job_->cancel();
        for (const PassJob& p : passJobs_) p.job->cancel();
    }
    buildSignal_.notify_all();
    workSignal_.notify_all();
    displaySignal_.notify_all();
    stateSignal_.notify_all();
    build_.join();
    display_.join();
    for (std::thread& t : pool_) t.join();
}

void Renderer::Impl::growPool() {
    while (pool_.size() < threads_) {
        const auto index = static_cast<unsigned>(pool_.size());
        pool_.emplace_back([this, index] { workLoop(index); });
    }
}

void Renderer::Impl::submit(SceneDelta delta) {
    const std::lock_guard guard(lock_);
    if (pending_) {
        merge(*pending_, std::move(delta));
    } else {
        pending_ = std::move(delta);
    }
    buildSignal_.notify_all();
}

void Renderer::Impl::fail(const std::string& text) {
    {
        const std::lock_guard guard(lock_);
        dropJobs();
        building_ = false;
        failed_ = true;
        failure_ = text;
    }
    stateSignal_.notify_all();
    if (callbacks_.log) callbacks_.log(text);
    if (callbacks_.onFailure) callbacks_.onFailure();
}

void Renderer::Impl::buildLoop() {
    flushDenormals();
    std::unique_lock lock(lock_);
    while (true) {
        buildSignal_.wait(lock, [this] { return quit_ || pending_; });
        if (quit_) return;
        const std::shared_ptr<Job> running = job_;
        if (running && mayWork(0) && !running->coarseDone()) {
            stateSignal_.wait_until(lock, running->start + kCoarseGrace,
                                    [&] { return quit_ || running->coarseDone() || !mayWork(0); });
            if (quit_) return;
        }
        std::string failure;
        try {
            buildNext(lock);
        } catch (const std::bad_alloc&) {
            failure = "There is not enough memory for the scene.";
        } catch (const std::exception& e) {
            failure = std::string(e.what()) + ".";
        }
        if (!failure.empty()) {
            if (lock.owns_lock()) lock.unlock();
            fail(failure);
            lock.lock();
        }
    }
}

void Renderer::Impl::buildNext(std::unique_lock<std::mutex>& lock) {
    SceneDelta delta = std::move(*pending_);
    pending_.reset();
    building_ = true;
    lock.unlock();
    BuildResult result = compiler_.apply(delta);
    lock.lock();
    building_ = false;
    buildSeconds_ = result.seconds;
    sceneLevel_ = delta.changeLevel;
    // A render target that was not there before ends a stop.
    if (delta.renderTarget != 0 && delta.renderTarget != target_) stopped_ = false;
    target_ = delta.renderTarget;
    scene_ = result.scene;
    subSample_ = static_cast<std::uint32_t>(std::clamp(delta.subSampleMode, 1, 4));
    if (!scene_) {
        dropJobs();
    } else if (result.restart || !job_) {
        replaceJob(lock);
    } else {
        job_->changeLevel = delta.changeLevel;
        job_->setMaxSamples(scene_->kernel.maxSamples);
        matchPasses(true);
        for (const PassJob& p : passJobs_) p.job->changeLevel = delta.changeLevel;
        if (!allFinished()) idle_ = false;
        refresh_ = true;
    }
    lock.unlock();
    workSignal_.notify_all();
    displaySignal_.notify_all();
    if (callbacks_.onUpdated) callbacks_.onUpdated(delta.changeLevel);
    lock.lock();
}

void Renderer::Impl::dropJobs() {
    if (job_) job_->cancel();
    for (const PassJob& p : passJobs_) p.job->cancel();
    job_.reset();
    passJobs_.clear();
    denoiser_.clear();
    idle_ = true;
}

Film Renderer::Impl::region() const {
    Film region = scene_->film;
    if (regionOn_) {
        region.regionX = regionStart_.x;
        region.regionY = regionStart_.y;
        region.regionWidth = std::max(regionSize_.x, 1u);
        region.regionHeight = std::max(regionSize_.y, 1u);
    }
    return region;
}

/// A new job for the newest scene, and for its passes. The film of the old one is used again once nobody reads it.
void Renderer::Impl::replaceJob(std::unique_lock<std::mutex>& lock) {
    const std::shared_ptr<Job> old = std::move(job_);
    if (old) old->cancel();
    for (const PassJob& p : passJobs_) p.job->cancel();
    denoiser_.clear();
    idle_ = true;
    stateSignal_.wait(lock, [this] { return working_ == 0 || quit_; });
    if (quit_ || !scene_) return;
    std::shared_ptr<FilmBuffer> film = old ? old->filmHandle() : nullptr;
    if (!film || old.use_count() > 1 || film.use_count() > 2) film = std::make_shared<FilmBuffer>();
    job_ = std::make_shared<Job>(scene_, region(), std::move(film), sceneLevel_, subSample_);
    matchPasses(false);
    idle_ = false;
    turn_ = 0;
    sampling_ = false;
    sampledSeconds_ = 0.0;
    workSignal_.notify_all();
    displaySignal_.notify_all();
}

/// Makes the jobs of the info passes those that the scene asks for. `keep`: those that there are hold good.
void Renderer::Impl::matchPasses(bool keep) {
    passJobs_ = matchPassJobs(*scene_, region(), sceneLevel_, std::move(passJobs_), keep);
}

/// The picture comes first until each of its pixels has a sample; then it takes turns with its passes.
std::optional<Renderer::Impl::Work> Renderer::Impl::takeWork() {
    if (passJobs_.empty() || !job_->firstPassOut()) {
        if (auto unit = job_->take()) return Work{job_, *unit};
        if (passJobs_.empty()) return std::nullopt;
    }
    const std::size_t count = passJobs_.size() + 1;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t turn = turn_++ % count;
        const std::shared_ptr<Job>& job = turn == 0 ? job_ : passJobs_[turn - 1].job;
        if (auto unit = job->take()) return Work{job, *unit};
    }
    return std::nullopt;
}

bool Renderer::Impl::allFinished() const {
    return job_->finished() &&
           std::all_of(passJobs_.begin(), passJobs_.end(), [](const PassJob& p) { return p.job->finished(); });
}

std::uint64_t Renderer::Impl::samplesTaken() const {
    std::uint64_t sum = job_->samplesTaken();
    for (const PassJob& p : passJobs_) sum += p.job->samplesTaken();
    return sum;
}

void Renderer::Impl::workLoop(unsigned index) {
    flushDenormals();
    std::unique_lock lock(lock_);
    while (true) {
        workSignal_.wait(lock, [&] { return quit_ || mayWork(index); });
        if (quit_) return;
        std::optional<Work> work = takeWork();
        if (!work) {
            idle_ = true;
            displaySignal_.notify_all();
            continue;
        }
        ++working_;
        if (!sampling_) {
            sampling_ = true;
            samplingSince_ = Clock::now();
        }
        lock.unlock();
        bool failedNow = false;
        try {
            work->job->work(work->unit);
        } catch (const std::exception&) {
            failedNow = true;
        }
        if (failedNow) fail("There is not enough memory for sampling.");
        lock.lock();
        --working_;
        if (working_ == 0 && sampling_ && (idle_ || !mayWork(0))) {
            sampling_ = false;
            sampledSeconds_ += secondsSince(samplingSince_);
        }
        stateSignal_.notify_all();
        if (work->unit.block && work->job->coarseDone()) displaySignal_.notify_all();
        work.reset();  // not held while waiting, so that the film can be used again
        if (idle_ && working_ == 0) displaySignal_.notify_all();
    }
}

Image Renderer::Impl::develop(const Job& job, const RenderScene& scene, RenderPassId pass, TonemapType type,
                              const Image* previous) const {
    const Kernel& kernel = scene.kernel;
    const AlphaUse alpha = !kernel.alphaChannel     ? AlphaUse::None
                           : kernel.keepEnvironment ? AlphaUse::Mask
                                                    : AlphaUse::Coverage;
    const float samples = job.samplesPerPixel();
    const std::uint64_t level = job.changeLevel;
    const auto denoised = pass == RP_DENOISED ? denoiser_.latest(job.id) : nullptr;
    Image image = pass == RP_NOISE ? noisePicture(job.film(), job.scene().kernel.adaptive, type, previous)
                  : job.scene().kernel.kind == KernelKind::Info
                      ? infoPicture(job.film(), job.scene().kernel.info, kernel.alphaChannel, type, previous)
                      : developPicture(job.film(), {scene.imager, scene.post, scene.film, alpha}, pass, type, previous,
                                       denoised ? &denoised->picture : nullptr);
    image.pass = pass;
    image.changeLevel = level;
    image.samplesPerPixel = samples;
    return image;
}

/// The pictures of the passes, in that order; a pass that is not rendered has none. `previous` show through where
/// nothing was sampled yet.
std::vector<Image> Renderer::Impl::developAll(const Showing& showing, const std::vector<RenderPassId>& passes,
                                              TonemapType type, const std::vector<Image>& previous) const {
    std::vector<Image> images;
    for (const RenderPassId pass : passes) {
        const auto old = std::find_if(previous.begin(), previous.end(), [&](const Image& i) { return i.pass == pass; });
        const auto info = std::find_if(showing.passes.begin(), showing.passes.end(),
                                       [&](const PassJob& p) { return p.pass == pass; });
        const bool beside = info != showing.passes.end();
        const bool noise = pass == RP_NOISE && showing.job->film().hasGuides();
        if (!beside && !noise && !isDeveloped(pass)) continue;
        const Image* under = old == previous.end() ? nullptr : &*old;
        images.push_back(develop(beside ? *info->job : *showing.job, *showing.scene, pass, type, under));
    }
    return images;
}

DenoiseService::Task Renderer::Impl::denoiseTask(const std::shared_ptr<Job>& job, bool final) const {
    // Beside the sampling it shall not be felt.
    const unsigned threads = final ? threads_ : std::max(threads_ / 4, 1u);
    return {job->filmHandle(), job->id, final, job->samplesTaken(), static_cast<int>(threads)};
}

/// Starts the denoiser when it is time to.
void Renderer::Impl::tendDenoiser(const std::shared_ptr<Job>& job) {
    const Denoiser& settings = scene_->imager.denoiser;
    if (!settings.on || stopped_ || !job->film().hasGuides() || job->scene().kernel.kind == KernelKind::Info) return;
    const auto interval = std::chrono::seconds(settings.interval);
    if (denoisedJob_ != job->id) {
        denoisedJob_ = job->id;
        nextDenoise_ = Clock::now() + interval;
    }
    if (job->finished()) {
        denoiser_.start(denoiseTask(job, true));
    } else if (!settings.onCompletion && Clock::now() >= nextDenoise_ && !denoiser_.busy() &&
               job->samplesPerPixel() >= static_cast<float>(settings.minSamples)) {
        denoiser_.start(denoiseTask(job, false));
        nextDenoise_ = Clock::now() + interval;
    }
}

bool Renderer::Impl::publish(std::unique_lock<std::mutex>& lock, const std::shared_ptr<Job>& job) {
    Showing showing{job, passJobs_, scene_};
    const TonemapType type = outputType_;
    const std::vector<RenderPassId> passes = outputPasses_;
    std::vector<Image> previous = regionOn_ ? regionBase_ : images_;
    const unsigned feather = regionOn_ ? feather_ : 0;
    lock.unlock();
    std::vector<Image> images;
    bool made = true;
    try {
        images = developAll(showing, passes, type, previous);
        for (Image& image : images) {
            const auto base =
                std::find_if(previous.begin(), previous.end(), [&](const Image& i) { return i.pass == image.pass; });
            if (feather && base != previous.end()) fadeEdge(image, *base, job->film().region(), feather);
        }
    } catch (const std::bad_alloc&) {
        made = false;
    }
    previous.clear();
    showing = {};
    lock.lock();
    // While the picture was made an edit may have come; its job will show itself.
    if (!made || job != job_) return false;
    images_ = std::move(images);
    imageLevel_ = images_.empty() ? job->changeLevel.load() : images_[0].changeLevel;
    lock.unlock();
    stateSignal_.notify_all();
    if (callbacks_.onImage) callbacks_.onImage();
    lock.lock();
    return true;
}

void Renderer::Impl::displayLoop() {
    std::unique_lock lock(lock_);
    std::uint64_t shown = 0, shownSamples = 0;  // the job and the samples of the last picture
    bool shownFinal = false;
    Clock::time_point next = Clock::now();
    while (!quit_) {
        std::shared_ptr<Job> job = job_;
        if (!job) {
            displaySignal_.wait(lock);
            continue;
        }
        tendDenoiser(job);
        const bool final = allFinished();
        const bool fresh = shown != job->id;
        const bool ready =
            job->coarseDone() && (final || scene_->imager.minDisplaySamples <= 1 ||
                                  job->samplesPerPixel() >= static_cast<float>(scene_->imager.minDisplaySamples));
        const bool news = fresh || (final && !shownFinal) || samplesTaken() != shownSamples;
        const bool due = fresh || refresh_ || (final && !shownFinal) || (news && Clock::now() >= next);
        if (!ready || !due) {
            job.reset();  // not held while waiting, so that its film can be used again
            if (ready && news) {
                displaySignal_.wait_until(lock, next);
            } else {
                displaySignal_.wait_for(lock, std::chrono::milliseconds(50));
            }
            continue;
        }
        refresh_ = false;
        const std::uint64_t samples = samplesTaken();
        const Clock::time_point start = Clock::now();
        if (publish(lock, job)) {
            shown = job->id;
            shownFinal = final;
            shownSamples = samples;
        }
        const double longest = scene_ ? scene_->imager.maxTonemapInterval : 10;
        // A picture that takes long to make, with glare for instance, does not come so often.
        const double interval = std::max(std::clamp(0.1 * secondsSince(job->start), kShortestInterval, longest),
                                         kIntervalInPictures * secondsSince(start));
        next = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(interval));
    }
}

void Renderer::Impl::setPaused(bool paused) {
    const std::lock_guard guard(lock_);
    if (!paused) stopped_ = false;
    if (paused_ == paused) {
        workSignal_.notify_all();
        return;
    }
    paused_ = paused;
    workSignal_.notify_all();
    stateSignal_.notify_all();
}

bool Renderer::Impl::paused() const {
    const std::lock_guard guard(lock_);
    return paused_;
}

void Renderer::Impl::restart() {
    std::string failure;
    {
        std::unique_lock lock(lock_);
        stopped_ = false;
        if (!scene_ || building_) return;
        try {
            replaceJob(lock);
        } catch (const std::bad_alloc&) {
            failure = "There is not enough memory for the picture.";
        }
    }
    if (!failure.empty()) fail(failure);
}

void Renderer::Impl::stop() {
    std::unique_lock lock(lock_);
    stopped_ = true;
    denoiser_.cancel();
    stateSignal_.notify_all();
    stateSignal_.wait(lock, [this] { return working_ == 0 || quit_; });
}

void Renderer::Impl::setRegion(bool on, Vec2<unsigned> start, Vec2<unsigned> size, unsigned feather) {
    {
        const std::lock_guard guard(lock_);
        feather_ = feather;
        refresh_ = true;
        if (regionOn_ == on && (!on || (regionStart_ == start && regionSize_ == size))) return;
        regionBase_ = on ? images_ : std::vector<Image>();
        regionOn_ = on;
        regionStart_ = start;
        regionSize_ = size;
        if (!job_) return;
    }
    restart();
}

void Renderer::Impl::setThreadCount(unsigned threads) {
    const std::lock_guard guard(lock_);
    threads_ = threads ? std::min(threads, 1024u) : std::max(1u, std::thread::hardware_concurrency());
    growPool();
    workSignal_.notify_all();
}

void Renderer::Impl::setOutput(TonemapType type, std::vector<RenderPassId> passes) {
    const std::lock_guard guard(lock_);
    outputType_ = type;
    outputPasses_ = std::move(passes);
    refresh_ = true;
    displaySignal_.notify_all();
}

std::uint64_t Renderer::Impl::imageChangeLevel() const {
    const std::lock_guard guard(lock_);
    return imageLevel_;
}

std::vector<Image> Renderer::Impl::latest() const {
    const std::lock_guard guard(lock_);
    return images_;
}

std::vector<Image> Renderer::Impl::tonemap(const std::vector<RenderPassId>& passes, TonemapType type) {
    Showing showing;
    {
        const std::lock_guard guard(lock_);
        showing = {job_, passJobs_, scene_};
    }
    if (!showing.job || !showing.scene) return {};
    if (std::find(passes.begin(), passes.end(), RP_DENOISED) != passes.end()) {
        {
            const std::lock_guard guard(lock_);
            if (showing.job == job_) tendDenoiser(job_);
        }
        denoiser_.waitForFinal(showing.job->id);
    }
    try {
        return developAll(showing, passes, type, {});
    } catch (const std::bad_alloc&) {
        return {};
    }
}

Statistics Renderer::Impl::statistics(RenderPassId pass) const {
    const SceneCompiler::Counters counters = compiler_.counters();
    Statistics s;
    s.geometryBytes = counters.geometryBytes;
    s.imageBytes = counters.imageBytes;
    s.nodeBytes = counters.nodeCount * sizeof(NodeRecord);
    s.triangles = counters.triangles;
    s.meshes = counters.meshes;
    s.instances = counters.instances;
    s.textures = counters.textures;
    s.colorTextures8 = counters.textureKinds.color8;
    s.colorTextures16 = counters.textureKinds.color16;
    s.greyTextures8 = counters.textureKinds.grey8;
    s.greyTextures16 = counters.textureKinds.grey16;
    s.meshesBuilt = counters.meshesBuilt;
    s.instancesBuilt = counters.instancesBuilt;
    const std::lock_guard guard(lock_);
    s.buildSeconds = buildSeconds_;
    if (!job_) return s;
    s.filmBytes = job_->film().bytes();
    for (const PassJob& p : passJobs_) s.filmBytes += p.job->film().bytes();
    // What is no pass of its own comes with the picture.
    const auto beside =
        std::find_if(passJobs_.begin(), passJobs_.end(), [&](const PassJob& p) { return p.pass == pass; });
    const Job& job = beside == passJobs_.end() ? *job_ : *beside->job;
    s.samplesPerPixel = job.samplesPerPixel();
    s.maxSamplesPerPixel = static_cast<float>(job.maxSamples());
    s.finished = job.finished();
    s.progress = s.finished ? 1.0f : std::min(s.samplesPerPixel / s.maxSamplesPerPixel, 1.0f);
    s.denoising = scene_ && scene_->imager.denoiser.on && job_->film().hasGuides();
    if (pass == RP_DENOISED && s.denoising) {
        s.progress = s.finished ? denoiser_.progress(job_->id) : 0.0f;
        s.finished = s.progress >= 1.0f;
    }
    const double seconds = sampledSeconds_ + (sampling_ ? secondsSince(samplingSince_) : 0.0);
    if (seconds > 0.0) s.samplesPerSecond = static_cast<double>(job.samplesTaken()) / seconds;
    return s;
}

bool Renderer::Impl::failed() const {
    const std::lock_guard guard(lock_);
    return failed_;
}

std::string Renderer::Impl::failureText() const {
    const std::lock_guard guard(lock_);
    return failure_;
}

void Renderer::Impl::resetFailure() {
    const std::lock_guard guard(lock_);
    failed_ = false;
    failure_.clear();
    workSignal_.notify_all();
}

Renderer::Renderer(RendererCallbacks callbacks) : impl_(std::make_unique<Impl>(std::move(callbacks))) {}
Renderer::~Renderer() = default;
void Renderer::submit(SceneDelta delta) {
    impl_->submit(std::move(delta));
}
void Renderer::pause() {
    impl_->setPaused(true);
}
void Renderer::resume() {
    impl_->setPaused(false);
}
void Renderer::restart() {
    impl_->restart();
}
void Renderer::stop() {
    impl_->stop();
}
bool Renderer::paused() const {
    return impl_->paused();
}
void Renderer::setRegion(bool on, Vec2<unsigned> start, Vec2<unsigned> size, unsigned featherWidth) {
    impl_->setRegion(on, start, size, featherWidth);
}
void Renderer::setThreadCount(unsigned threads) {
    impl_->setThreadCount(threads);
}
void Renderer::setOutput(TonemapType type, std::vector<RenderPassId> passes) {
    impl_->setOutput(type, std::move(passes));
}
std::uint64_t Renderer::imageChangeLevel() const {
    return impl_->imageChangeLevel();
}
std::vector<Image> Renderer::latest() const {
    return impl_->latest();
}
std::vector<Image> Renderer::tonemap(const std::vector<RenderPassId>& passes, TonemapType type) {
    return impl_->tonemap(passes, type);
}
Statistics Renderer::statistics(RenderPassId pass) const {
    return impl_->statistics(pass);
}
bool Renderer::failed() const {
    return impl_->failed();
}
std::string Renderer::failureText() const {
    return impl_->failureText();
}
void Renderer::resetFailure() {
    impl_->resetFailure();
}

}  // namespace Lumora::engine
