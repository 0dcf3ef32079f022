#include "engine/render/emitters.h"

namespace Lumora::engine {

std::uint32_t EmitterSet::find(std::uint32_t polygon) const {
    if (polygons.empty()) return polygon;
    const auto it = std::lower_bound(polygons.begin(), polygons.end(), polygon);
    return it != polygons.end() && *it == polygon ? static_cast<std::uint32_t>(it - polygons.begin()) : ~0u;
}

std::uint32_t EmitterSet::sample(const LightReceiver& at, double& u, float& probability) const {
    const std::uint32_t leaf = tree.sample(at, u, probability);
    if (perLeaf == 1 || !(probability > 0.0f)) return leaf;
    const std::size_t first = std::size_t{leaf} * perLeaf, last = std::min(first + perLeaf, count);
    double sum = 0.0;
    for (std::size_t i = first; i < last; ++i) sum += static_cast<double>(powers[i]);
    if (!(sum > 0.0)) {
        probability = 0.0f;
        return 0;
    }
    double rest = u * sum;
    std::size_t pick = first;
    // The last one with power takes what rounding leaves over.
    for (std::size_t i = first; i < last; ++i) {
        if (!(powers[i] > 0.0f)) continue;
        pick = i;
        if (rest < static_cast<double>(powers[i])) break;
        rest -= static_cast<double>(powers[i]);
    }
    u = std::min(rest / static_cast<double>(powers[pick]), 0x1.fffffffffffffp-1);
    probability *= static_cast<float>(static_cast<double>(powers[pick]) / sum);
    return static_cast<std::uint32_t>(pick);
}

float EmitterSet::probability(const LightReceiver& at, std::uint32_t place) const {
    const std::uint32_t leaf = place / perLeaf;
    const float chance = tree.probability(at, leaf);
    if (perLeaf == 1 || !(chance > 0.0f)) return chance;
    const std::size_t first = std::size_t{leaf} * perLeaf, last = std::min(first + perLeaf, count);
    double sum = 0.0;
    for (std::size_t i = first; i < last; ++i) sum += static_cast<double>(powers[i]);
    return sum > 0.0 ? chance * static_cast<float>(static_cast<double>(powers[place]) / sum) : 0.0f;
}

}  // namespace Lumora::engine
