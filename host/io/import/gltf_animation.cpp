#include "host/io/import/gltf_animation.h"

#include <algorithm>
#include <cmath>

namespace host::importer {
namespace {

Sampler::Kind kindOf(const Json& sampler) {
    const std::string name = textOr(sampler, "interpolation", "LINEAR");
    return name == "STEP" ? Sampler::Kind::Step : name == "CUBICSPLINE" ? Sampler::Kind::Cubic : Sampler::Kind::Linear;
}

/// Times that do not ascend or are no numbers make a sampler useless.
bool ascending(const std::vector<Float32>& times) {
    for (std::size_t i = 0; i < times.size(); ++i)
        if (!std::isfinite(times[i]) || (i > 0 && times[i] < times[i - 1])) return false;
    return !times.empty();
}

}  // namespace

GltfAnimation readGltfAnimation(GltfFile& file, Context& context) {
    GltfAnimation result;
    const std::size_t count = file.count("animations");
    if (count == 0) return result;
    const Json& animation = file.at("animations", 0);
    if (count > 1)
        context.warn("the file has " + std::to_string(count) + " animations; the first one" +
                     (textOr(animation, "name", "").empty() ? "" : ", \"" + textOr(animation, "name", "") + "\",") +
                     " is used");
    const Json *channels = member(animation, "channels"), *samplers = member(animation, "samplers");
    if (!channels || !samplers || !channels->is_array() || !samplers->is_array()) return result;
    for (const Json& channel : *channels) {
        const Json* target = member(channel, "target");
        const Int64 node = target ? intOr(*target, "node", -1) : -1;
        const Int64 index = intOr(channel, "sampler", -1);
        const std::string path = target ? textOr(*target, "path", "") : "";
        if (path == "pointer") context.warn("animations of KHR_animation_pointer are left out");
        if (node < 0 || path == "pointer") continue;
        file.at("nodes", node);
        if (index < 0 || static_cast<std::size_t>(index) >= samplers->size())
            throw ImportError("an animation refers to a sampler that does not exist");
        const Json& json = (*samplers)[static_cast<std::size_t>(index)];
        const std::vector<Float32> times = file.floats(intOr(json, "input", -1), 1);
        if (!ascending(times)) {
            context.warn("an animation with times that do not ascend was left out");
            continue;
        }
        const Int64 output = intOr(json, "output", -1);
        const Sampler::Kind kind = kindOf(json);
        const std::size_t stride = kind == Sampler::Kind::Cubic ? 3 : 1;
        if (path == "weights") {
            const std::vector<Float32> values = file.floats(output, 1);
            const std::size_t targets = values.size() / (times.size() * stride);
            auto& weights = result.weights[node];
            const std::size_t start = kind == Sampler::Kind::Cubic ? targets : 0;
            for (std::size_t i = 0; i < targets; ++i) weights.push_back(values[start + i]);
            context.warn("animated morph weights stand still at their first values");
            continue;
        }
        Sampler sampler;
        sampler.kind = kind;
        sampler.times.assign(times.begin(), times.end());
        const std::size_t components = path == "rotation" ? 4 : 3;
        const std::vector<Float32> values = file.floats(output, components);
        if (values.size() < times.size() * stride * components)
            throw ImportError("an animation has fewer values than times");
        sampler.values.resize(times.size() * stride);
        for (std::size_t i = 0; i < sampler.values.size(); ++i)
            for (std::size_t k = 0; k < components; ++k) sampler.values[i][k] = values[i * components + k];
        NodeAnimation& moved = result.nodes[node];
        if (path == "translation")
            moved.translation = std::move(sampler);
        else if (path == "rotation")
            moved.rotation = std::move(sampler);
        else if (path == "scale")
            moved.scale = std::move(sampler);
        else
            continue;
        result.lastKey = std::max(result.lastKey, static_cast<Float>(times.back()));
    }
    std::erase_if(result.nodes, [](const auto& entry) { return entry.second.empty(); });
    return result;
}

}  // namespace host::importer
