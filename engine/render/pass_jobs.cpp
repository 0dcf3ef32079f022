#include "engine/render/pass_jobs.h"

#include <algorithm>

#include "engine/render/info_channel.h"

namespace Lumora::engine {

namespace {

/// The kernel that shows a channel as the scene's passes are set.
Kernel infoKernel(const RenderScene& scene, InfoChannel channel) {
    Kernel kernel = scene.kernel;
    kernel.kind = KernelKind::Info;
    kernel.path = false;
    kernel.adaptive = {};
    kernel.info = scene.infoPasses.settings;
    kernel.info.channel = channel;
    kernel.maxSamples = scene.infoPasses.maxSamples;
    return kernel;
}

}  // namespace

std::vector<PassJob> matchPassJobs(const RenderScene& scene, const Film& region, std::uint64_t changeLevel,
                                   std::vector<PassJob> old, bool keep) {
    std::vector<PassJob> jobs;
    for (const InfoChannel channel : scene.infoPasses.channels) {
        const Kernel kernel = infoKernel(scene, channel);
        const auto at = std::find_if(old.begin(), old.end(), [&](const PassJob& p) { return p.channel == channel; });
        if (keep && at != old.end() && at->job->scene().kernel.info == kernel.info) {
            at->job->setMaxSamples(kernel.maxSamples);
            jobs.push_back(std::move(*at));
            old.erase(at);
            continue;
        }
        auto own = std::make_shared<RenderScene>(scene);
        own->kernel = kernel;
        own->infoPasses = {};
        jobs.push_back({channel, infoChannelRow(channel).pass,
                        std::make_shared<Job>(own, region, std::make_shared<FilmBuffer>(), changeLevel)});
    }
    for (const PassJob& p : old) p.job->cancel();
    return jobs;
}

}  // namespace Lumora::engine
