// ApiRenderEngine: what the render has done and what it holds.
#include <algorithm>

#include "engine/session/devices.h"
#include "engine/session/session.h"

namespace Lumora {

using namespace engine;

namespace {

/// Place of a pass in the statistics, or passCount.
unsigned placeOf(const RenderResultStatistics& s, RenderPassId pass) {
    return static_cast<unsigned>(std::find(s.passes, s.passes + s.passCount, pass) - s.passes);
}

Statistics current() {
    const auto renderer = currentRenderer();
    return renderer ? renderer->statistics(RP_BEAUTY) : Statistics();
}

}  // namespace

float RenderResultStatistics::samplesPerPixel(RenderPassId pass) const {
    const unsigned i = placeOf(*this, pass);
    return i < passCount ? passSamples[i] : 0;
}

float RenderResultStatistics::maxSamplesPerPixel(RenderPassId pass) const {
    const unsigned i = placeOf(*this, pass);
    return i < passCount ? passMaxSamples[i] : 0;
}

double RenderResultStatistics::samplesPerSecond(RenderPassId pass) const {
    const unsigned i = placeOf(*this, pass);
    return i < passCount ? passSamplesPerSecond[i] : 0;
}

float RenderResultStatistics::progress(RenderPassId pass) const {
    const unsigned i = placeOf(*this, pass);
    return i < passCount ? passProgress[i] : 0;
}

void ApiRenderEngine::getRenderResultStatistics(RenderResultStatistics& statistics) {
    statistics = {};
    const auto renderer = currentRenderer();
    if (!renderer) {
        return;
    }
    std::vector<RenderPassId> passes;
    {
        LUMORA_GRAPH_GUARD;
        passes = session().passes;
    }
    if (current().denoising && std::find(passes.begin(), passes.end(), RP_DENOISED) == passes.end())
        passes.push_back(RP_DENOISED);
    for (const RenderPassId pass : passes) {
        const unsigned i = statistics.passCount;
        if (i == RenderResultStatistics::kMaxPasses) {
            break;
        }
        const Statistics s = renderer->statistics(pass);
        statistics.passes[i] = pass;
        statistics.passSamples[i] = s.samplesPerPixel;
        statistics.passMaxSamples[i] = s.maxSamplesPerPixel;
        statistics.passSamplesPerSecond[i] = s.samplesPerSecond;
        statistics.passProgress[i] = s.progress;
        ++statistics.passCount;
    }
    const Statistics s = renderer->statistics(passes.front());
    statistics.triangles = s.triangles;
    statistics.meshes = static_cast<unsigned>(s.meshes);
    statistics.instances = static_cast<unsigned>(s.instances);
    statistics.buildSeconds = static_cast<float>(s.buildSeconds);
    statistics.finished = s.finished;
    if (const std::vector<Image> images = renderer->latest(); !images.empty()) {
        statistics.filmSize = images.front().size;
        statistics.tonemappedSamples = images.front().samplesPerPixel;
    }

    LUMORA_GRAPH_GUARD;
    Session& state = session();
    const std::chrono::duration<float> elapsed = std::chrono::steady_clock::now() - state.renderStart;
    if (!s.finished) {
        state.finishedSeconds = 0;
    } else if (state.finishedSeconds == 0) {
        state.finishedSeconds = elapsed.count();
    }
    statistics.renderSeconds = s.finished ? state.finishedSeconds : elapsed.count();
    statistics.estimatedSeconds = s.progress > 0.001f ? statistics.renderSeconds / s.progress : 0;
}

void ApiRenderEngine::getMemoryUsage(unsigned long long& used, unsigned long long& free, unsigned long long& total,
                                     unsigned long long& film, unsigned long long& geometry, unsigned long long& nodes,
                                     unsigned long long& textures, unsigned long long& compositor,
                                     unsigned long long& meshCount, unsigned long long& textureCount) {
    const Statistics s = current();
    const MemoryFigures machine = machineMemory();
    film = s.filmBytes;
    geometry = s.geometryBytes;
    nodes = s.nodeBytes;
    textures = s.imageBytes;
    compositor = 0;
    used = film + geometry + nodes + textures;
    free = machine.free;
    total = machine.total;
    meshCount = s.meshes;
    textureCount = s.textures;
}

void ApiRenderEngine::getTexturesStatistic(unsigned& rgba32, unsigned& rgba64, unsigned& grey8, unsigned& grey16) {
    const Statistics s = current();
    rgba32 = s.colorTextures8;
    rgba64 = s.colorTextures16;
    grey8 = s.greyTextures8;
    grey16 = s.greyTextures16;
}

void ApiRenderEngine::getDeviceMemUsageStatistics(unsigned device, unsigned long long& used, unsigned long long& free,
                                                  unsigned long long& total, unsigned long long& film,
                                                  unsigned long long& geometry, unsigned long long& nodes,
                                                  unsigned long long& textures, unsigned long long& compositor) {
    used = free = total = film = geometry = nodes = textures = compositor = 0;
    if (device == 0) {
        unsigned long long meshes = 0, images = 0;
        getMemoryUsage(used, free, total, film, geometry, nodes, textures, compositor, meshes, images);
    }
}

}  // namespace Lumora
