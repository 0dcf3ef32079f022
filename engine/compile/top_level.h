// Embree's trees over the instances of a scene, made from those of the scene before.
#pragma once

#include "engine/render/scene.h"

namespace Lumora::engine {

/// What a compilation made different in the list of instances.
struct InstanceChange {
    bool sameList = false;             ///< as many as before, each of the same mesh
    std::vector<std::uint32_t> moved;  ///< with the same list: those whose transforms differ, in order
};

/// Compares with the scene before; `previous` may be null. In parallel.
InstanceChange compareInstances(const Geometry* previous, const Geometry& now);

/// The top level of `now`; `change` is what compareInstances() found. What moved, came or went is put into the small
/// tree as long as it is little; then everything is built anew, in parallel. The previous top level stays as it is, so
/// it may be traced meanwhile. Adds the number of instance objects made to `built`. Throws std::bad_alloc, and
/// std::runtime_error when Embree fails.
std::shared_ptr<const TopLevel> buildTopLevel(RTCDeviceTy* device, const Geometry* previous, const Geometry& now,
                                              const InstanceChange& change, std::uint64_t& built);

}  // namespace Lumora::engine
