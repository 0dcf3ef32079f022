#include "engine/compile/top_level.h"

#include <embree3/rtcore.h>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <atomic>
#include <cstring>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>

namespace Lumora::engine {

namespace {

/// Fewer instances are built anew in the time that the bookkeeping would take.
constexpr std::size_t kSmallScene = 1024;
/// The small tree may hold one in so many of the instances, and as many may be struck out of the base: rays visit both.
constexpr std::size_t kLooseShare = 32;
constexpr std::size_t kGrain = 4096;

void checkEmbree(RTCDeviceTy* device) {
    switch (rtcGetDeviceError(device)) {
        case RTC_ERROR_NONE:
            return;
        case RTC_ERROR_OUT_OF_MEMORY:
            throw std::bad_alloc();
        default:
            throw std::runtime_error("Embree could not build the scene");
    }
}

/// Where an instance stands in the trees of the scene before.
struct Place {
    std::uint32_t id = kNone;
    bool loose = false;
};

/// A mesh and a matrix, for finding an instance whose number changed.
struct InstanceKey {
    const CompiledMesh* mesh;
    Matrix<float> toWorld;
    bool operator==(const InstanceKey& other) const { return mesh == other.mesh && toWorld == other.toWorld; }
};

struct InstanceHash {
    std::size_t operator()(const InstanceKey& key) const {
        std::size_t h = reinterpret_cast<std::size_t>(key.mesh);
        for (const auto& row : key.toWorld.m) {
            for (const float v : row) {
                std::uint32_t bits = 0;
                const float value = v + 0.0f;  // both zeros are equal
                std::memcpy(&bits, &value, sizeof bits);
                h = (h ^ bits) * 0x9e3779b97f4a7c15ull;
                h ^= h >> 29;
            }
        }
        return h;
    }
};

bool sameInstance(const Geometry& a, std::size_t i, const Geometry& b, std::size_t j) {
    const Instance &x = a.instances[i], &y = b.instances[j];
    return a.meshes[x.mesh] == b.meshes[y.mesh] && x.toWorld == y.toWorld;
}

/// The instance of the scene before that each instance is, or kNone: it is new. No two share one.
std::vector<std::uint32_t> matchInstances(const Geometry& previous, const Geometry& now, const InstanceChange& change) {
    const std::size_t before = previous.instances.size(), count = now.instances.size();
    std::vector<std::uint32_t> match(count, kNone);
    if (change.sameList) {
        for (std::size_t i = 0; i < count; ++i) match[i] = static_cast<std::uint32_t>(i);
        for (const std::uint32_t i : change.moved) match[i] = kNone;
        return match;
    }
    // What came or went usually lies together: both ends agree, and only what lies between is searched.
    std::size_t first = 0, last = 0;
    const std::size_t common = std::min(before, count);
    while (first < common && sameInstance(previous, first, now, first)) {
        match[first] = static_cast<std::uint32_t>(first);
        ++first;
    }
    while (last < common - first && sameInstance(previous, before - 1 - last, now, count - 1 - last)) {
        match[count - 1 - last] = static_cast<std::uint32_t>(before - 1 - last);
        ++last;
    }
    std::unordered_set<const CompiledMesh*> alive;
    for (const auto& mesh : now.meshes) alive.insert(mesh.get());
    std::unordered_multimap<InstanceKey, std::uint32_t, InstanceHash> rest;
    for (std::size_t i = first; i < before - last; ++i) {
        const CompiledMesh* mesh = previous.meshes[previous.instances[i].mesh].get();
        if (!alive.count(mesh)) continue;
        rest.emplace(InstanceKey{mesh, previous.instances[i].toWorld}, static_cast<std::uint32_t>(i));
    }
    for (std::size_t i = first; i < count - last && !rest.empty(); ++i) {
        const Instance& instance = now.instances[i];
        const auto it = rest.find({now.meshes[instance.mesh].get(), instance.toWorld});
        if (it == rest.end()) continue;
        match[i] = it->second;
        rest.erase(it);
    }
    return match;
}

/// Where each instance of a scene stands in its trees.
std::vector<Place> placesOf(const Geometry& geometry) {
    std::vector<Place> out(geometry.instances.size());
    const TopLevel& top = *geometry.top;
    if (top.baseInstance.empty()) {
        for (std::size_t i = 0; i < out.size(); ++i) out[i].id = static_cast<std::uint32_t>(i);
    }
    for (std::size_t i = 0; i < top.baseInstance.size(); ++i) {
        if (top.baseInstance[i] != kNone) out[top.baseInstance[i]] = {static_cast<std::uint32_t>(i), false};
    }
    for (std::size_t i = 0; i < top.looseInstance.size(); ++i) {
        out[top.looseInstance[i]] = {static_cast<std::uint32_t>(i), true};
    }
    return out;
}

EmbreeGeometry makeInstance(RTCDeviceTy* device, const Geometry& geometry, std::size_t i) {
    EmbreeGeometry out(rtcNewGeometry(device, RTC_GEOMETRY_TYPE_INSTANCE));
    if (!out) return out;
    rtcSetGeometryInstancedScene(out.get(), geometry.meshes[geometry.instances[i].mesh]->scene.get());
    rtcSetGeometryTransform(out.get(), 0, RTC_FORMAT_FLOAT3X4_ROW_MAJOR, &geometry.instances[i].toWorld.m[0][0]);
    rtcCommitGeometry(out.get());
    return out;
}

/// A tree over some instances: `instances` names them, empty means all of them in order. Instance objects of the scene
/// before are used again where `places` knows one.
std::shared_ptr<RTCSceneTy> buildTree(RTCDeviceTy* device, const Geometry* previous, const Geometry& now,
                                      const std::vector<Place>& places, const std::vector<std::uint32_t>& instances,
                                      std::uint64_t& built) {
    std::shared_ptr<RTCSceneTy> scene(rtcNewScene(device), EmbreeRelease{});
    if (!scene) checkEmbree(device);
    const std::size_t count = instances.empty() ? now.instances.size() : instances.size();
    // One thread: making and attaching take Embree's locks, and two threads at it were slower than one.
    for (std::size_t id = 0; id < count; ++id) {
        const std::size_t i = instances.empty() ? id : instances[id];
        const Place place = i < places.size() ? places[i] : Place{};
        if (place.id != kNone) {
            const TopLevel& top = *previous->top;
            RTCSceneTy* from = place.loose ? top.loose.get() : top.base.get();
            rtcAttachGeometryByID(scene.get(), rtcGetGeometry(from, place.id), static_cast<unsigned>(id));
            continue;
        }
        const EmbreeGeometry instance = makeInstance(device, now, i);
        if (!instance) checkEmbree(device);
        rtcAttachGeometryByID(scene.get(), instance.get(), static_cast<unsigned>(id));
        ++built;
    }
    rtcCommitScene(scene.get());
    checkEmbree(device);
    return scene;
}

}  // namespace

InstanceChange compareInstances(const Geometry* previous, const Geometry& now) {
    InstanceChange change;
    const std::size_t count = now.instances.size();
    if (!previous || previous->instances.size() != count) return change;
    const bool sameMeshes = previous->meshes == now.meshes;
    std::atomic<bool> same{true};
    std::vector<std::vector<std::uint32_t>> moved((count + kGrain - 1) / kGrain);
    tbb::parallel_for(std::size_t{0}, moved.size(), [&](std::size_t block) {
        const std::size_t end = std::min(count, (block + 1) * kGrain);
        for (std::size_t i = block * kGrain; i < end; ++i) {
            const Instance &a = previous->instances[i], &b = now.instances[i];
            if (sameMeshes ? a.mesh != b.mesh : previous->meshes[a.mesh] != now.meshes[b.mesh]) {
                same = false;
                return;
            }
            if (a.toWorld != b.toWorld) moved[block].push_back(static_cast<std::uint32_t>(i));
        }
    });
    change.sameList = same;
    if (!same) return change;
    for (const auto& block : moved) change.moved.insert(change.moved.end(), block.begin(), block.end());
    return change;
}

std::shared_ptr<const TopLevel> buildTopLevel(RTCDeviceTy* device, const Geometry* previous, const Geometry& now,
                                              const InstanceChange& change, std::uint64_t& built) {
    if (change.sameList && change.moved.empty()) return previous->top;
    auto top = std::make_shared<TopLevel>();
    if (!previous) {
        top->base = buildTree(device, nullptr, now, {}, {}, built);
        return top;
    }
    const std::vector<std::uint32_t> match = matchInstances(*previous, now, change);
    const std::vector<Place> before = placesOf(*previous);
    std::vector<Place> places(match.size());
    std::vector<std::uint32_t> loose;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < match.size(); ++i) {
        if (match[i] != kNone) places[i] = before[match[i]];
        if (places[i].id == kNone || places[i].loose) {
            loose.push_back(static_cast<std::uint32_t>(i));
        } else {
            ++kept;
        }
    }
    const std::vector<std::uint32_t>& oldBase = previous->top->baseInstance;
    const std::size_t baseSize = oldBase.empty() ? previous->instances.size() : oldBase.size();
    const std::size_t most = baseSize / kLooseShare;
    if (baseSize < kSmallScene || loose.size() > most || baseSize - kept > most) {
        top->base = buildTree(device, previous, now, places, {}, built);
        return top;
    }
    top->base = previous->top->base;
    top->baseInstance.assign(baseSize, kNone);
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (places[i].id != kNone && !places[i].loose) top->baseInstance[places[i].id] = static_cast<std::uint32_t>(i);
    }
    if (!loose.empty()) {
        top->loose = buildTree(device, previous, now, places, loose, built);
        top->looseInstance = std::move(loose);
    }
    return top;
}

}  // namespace Lumora::engine
