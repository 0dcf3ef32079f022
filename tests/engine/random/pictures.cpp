#include "tests/engine/random/pictures.h"

#include <algorithm>
#include <cmath>

#include "engine/render/pass_jobs.h"

namespace Lumora::engine::test {

namespace {

void sample(Job& job, Sums& out) {
    while (const auto unit = job.take()) job.work(*unit);
    const FilmBuffer& film = job.film();
    for (std::uint32_t i = 0; i < film.tileCount(); ++i) {
        TileSums sums(film.tile(i), film.hasGuides());
        film.copySums(i, sums);
        out.pixels.insert(out.pixels.end(), sums.pixels.begin(), sums.pixels.end());
        out.guides.insert(out.guides.end(), sums.guides.begin(), sums.guides.end());
    }
}

}  // namespace

Sums pictureOf(const RenderScenePtr& made) {
    Sums sums;
    if (!made) return sums;
    // Whatever the settings became: a small picture of few samples.
    auto scene = std::make_shared<RenderScene>(*made);
    scene->film.width = std::min(scene->film.width, 14u);
    scene->film.height = std::min(scene->film.height, 14u);
    scene->kernel.maxSamples = std::min(scene->kernel.maxSamples, 2u);
    scene->infoPasses.maxSamples = 1;
    Job job(scene, scene->film, std::make_shared<FilmBuffer>(), 1);
    sample(job, sums);
    for (const PassJob& pass : matchPassJobs(*scene, scene->film, 1, {}, false)) sample(*pass.job, sums);
    return sums;
}

bool dull(const Sums& sums) {
    std::size_t edges = 0;
    const auto count = static_cast<std::size_t>(std::max<std::ptrdiff_t>(std::ssize(sums.pixels) - 1, 0));
    for (std::size_t i = 0; i < count; ++i) edges += !(sums.pixels[i].color == sums.pixels[i + 1].color);
    return edges < sums.pixels.size() / 4;
}

bool allFinite(const Sums& sums) {
    return std::all_of(sums.pixels.begin(), sums.pixels.end(),
                       [](const FilmSum& s) { return isFinite(s.color) && std::isfinite(s.alpha); });
}

}  // namespace Lumora::engine::test
