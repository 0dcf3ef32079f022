// The info passes that are sampled beside a picture, each a job with a film of its own.
#pragma once

#include <vector>

#include "engine/render/job.h"

namespace Lumora::engine {

struct PassJob {
    InfoChannel channel{};
    RenderPassId pass{};
    std::shared_ptr<Job> job;
};

/// The jobs of the passes that the scene asks for. With `keep` the jobs of `old` go on where they show the same; all
/// others are cancelled. Throws std::bad_alloc.
std::vector<PassJob> matchPassJobs(const RenderScene& scene, const Film& region, std::uint64_t changeLevel,
                                   std::vector<PassJob> old, bool keep);

}  // namespace Lumora::engine
