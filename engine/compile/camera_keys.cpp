#include "engine/compile/camera_keys.h"

#include <algorithm>

namespace Lumora::engine {

namespace {

/// One vector over time: the samples of an animated value node, or a single value.
class Track {
public:
    Track(const NodeTable& nodes, const NodeRecord& node, PinId pin, Float3 still) : still_(still) {
        const NodeRecord* source = nodes.input(node, pin);
        if (!source) return;
        for (const AttributeRecord& a : source->attributes) {
            const auto* values = std::get_if<SharedArray<Float3>>(&a.value);
            if (a.id != A_VALUE || !a.sampling || !values || !*values) continue;
            if ((*values)->size() != a.sampling->times.size() || (*values)->size() < 2) continue;
            sampling_ = a.sampling;
            values_ = *values;
        }
    }
    bool moves() const { return sampling_ != nullptr; }
    const std::vector<float>& times() const { return sampling_->times; }
    /// Held outside the samples.
    Float3 at(float time) const {
        if (!sampling_) return still_;
        const std::vector<float>& times = sampling_->times;
        const auto next = std::upper_bound(times.begin(), times.end(), time);
        if (next == times.begin()) return values_->front();
        if (next == times.end()) return values_->back();
        const auto i = static_cast<std::size_t>(next - times.begin());
        return lerp((*values_)[i - 1], (*values_)[i], (time - times[i - 1]) / (times[i] - times[i - 1]));
    }

private:
    Float3 still_;
    std::shared_ptr<const TimeSampling> sampling_;
    SharedArray<Float3> values_;
};

struct Shutter {
    float open, close;  ///< seconds
};

Shutter shutterOf(const NodeTable& nodes, const NodeRecord& target, float time, float fps) {
    enum Alignment { kBefore = 1, kSymmetric = 2, kAfter = 3 };
    const NodeRecord* animation = nodes.input(target, P_ANIMATION);
    if (!animation || !(fps > 0.0f)) return {time, time};
    const float length = std::max(nodes.number(*animation, P_SHUTTER_TIME, 0.0f), 0.0f) / fps;
    switch (nodes.integer(*animation, P_SHUTTER_ALIGNMENT, kSymmetric)) {
        case kSymmetric:
            return {time - 0.5f * length, time + 0.5f * length};
        case kAfter:
            return {time, time + length};
        default:
            return {time - length, time};
    }
}

}  // namespace

void readCameraKeys(const NodeTable& nodes, const NodeRecord& target, const NodeRecord& node, float time, float fps,
                    Camera& camera) {
    const Track tracks[] = {{nodes, node, P_POSITION, camera.position},
                            {nodes, node, P_TARGET, camera.target},
                            {nodes, node, P_UP, camera.up}};
    const auto key = [&](float at) { return CameraKey{at, tracks[0].at(at), tracks[1].at(at), tracks[2].at(at)}; };
    if (std::none_of(std::begin(tracks), std::end(tracks), [](const Track& t) { return t.moves(); })) return;
    const Shutter shutter = shutterOf(nodes, target, time, fps);
    const CameraKey middle = key(0.5f * (shutter.open + shutter.close));
    camera.position = middle.position;
    camera.target = middle.target;
    camera.up = middle.up;
    const float length = shutter.close - shutter.open;
    if (!(length > 0.0f)) return;
    std::vector<float> times = {shutter.open, shutter.close};
    for (const Track& track : tracks) {
        if (!track.moves()) continue;
        for (const float t : track.times())
            if (t > shutter.open && t < shutter.close) times.push_back(t);
    }
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    for (const float t : times) {
        camera.keys.push_back(key(t));
        camera.keys.back().time = (t - shutter.open) / length;
    }
}

}  // namespace Lumora::engine
