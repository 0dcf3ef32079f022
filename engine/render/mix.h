// Mixes of mixes: values of their parts blended, each part evaluated once however many ways lead to it.
#pragma once

#include <algorithm>
#include <array>
#include <memory>

#include "engine/render/scene.h"

namespace Lumora::engine {

/// Values of all steps of a deep mix: the parts before what they are parts of, the mix itself last.
template <typename T>
class MixValues {
public:
    explicit MixValues(std::size_t count) {
        if (count <= few_.size()) return;
        many_ = std::make_unique<T[]>(count);
        data_ = many_.get();
    }
    T& operator[](std::size_t i) { return data_[i]; }

private:
    std::array<T, 32> few_{};
    std::unique_ptr<T[]> many_;
    T* data_ = few_.data();
};

template <typename T, typename Leaf>
void mixSteps(const Shading& shading, const MixSteps& steps, const TextureContext& at, const Leaf& leaf,
              MixValues<T>& values) {
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const MixStep& step = steps[i];
        if (step.leaf()) {
            values[i] = leaf(step.material);
        } else {
            const float t = clamp01(shading.textures.scalar(step.amount, at));
            values[i] = lerp(values[step.first], values[step.second], t);
        }
    }
}

/// What `leaf(MaterialId)` gives for the parts of a material that are no mixes, blended as the mixes say.
template <typename T, typename Leaf>
T mixed(const Shading& shading, MaterialId id, const TextureContext& at, const Leaf& leaf) {
    const Material& m = shading.materials[id];
    if (m.kind != MaterialKind::Mix) return leaf(id);
    if (m.steps != kNoSteps) {
        const MixSteps& steps = *shading.mixSteps[m.steps];
        MixValues<T> values(steps.size());
        mixSteps(shading, steps, at, leaf, values);
        return values[steps.size() - 1];
    }
    const float t = clamp01(shading.textures.scalar(m.amount, at));
    return lerp(mixed<T>(shading, m.first, at, leaf), mixed<T>(shading, m.second, at, leaf), t);
}

}  // namespace Lumora::engine
