#include <algorithm>

#include "engine/render/renderer_impl.h"

namespace Lumora::engine {

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

}  // namespace Lumora::engine
