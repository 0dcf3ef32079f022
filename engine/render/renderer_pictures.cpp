// From what was sampled to pictures: the display thread, pictures on demand, and the denoiser's turns.
#include <algorithm>

#include "engine/film/develop.h"
#include "engine/film/feather.h"
#include "engine/render/info_channel.h"
#include "engine/render/info_picture.h"
#include "engine/render/renderer_impl.h"

namespace Lumora::engine {

namespace {

constexpr double kShortestInterval = 1.0 / 30.0;
/// Least time between two pictures, in times that it takes to make one.
constexpr double kIntervalInPictures = 4.0;

}  // namespace

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
        nextDenoise_ = RenderClock::now() + interval;
    }
    if (job->finished()) {
        denoiser_.start(denoiseTask(job, true));
    } else if (!settings.onCompletion && RenderClock::now() >= nextDenoise_ && !denoiser_.busy() &&
               job->samplesPerPixel() >= static_cast<float>(settings.minSamples)) {
        denoiser_.start(denoiseTask(job, false));
        nextDenoise_ = RenderClock::now() + interval;
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
    RenderClock::time_point next = RenderClock::now();
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
        const bool due = fresh || refresh_ || (final && !shownFinal) || (news && RenderClock::now() >= next);
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
        const RenderClock::time_point start = RenderClock::now();
        if (publish(lock, job)) {
            shown = job->id;
            shownFinal = final;
            shownSamples = samples;
        }
        const double longest = scene_ ? scene_->imager.maxTonemapInterval : 10;
        // A picture that takes long to make, with glare for instance, does not come so often.
        const double interval = std::max(std::clamp(0.1 * secondsSince(job->start), kShortestInterval, longest),
                                         kIntervalInPictures * secondsSince(start));
        next = RenderClock::now() +
               std::chrono::duration_cast<RenderClock::duration>(std::chrono::duration<double>(interval));
    }
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

}  // namespace Lumora::engine
