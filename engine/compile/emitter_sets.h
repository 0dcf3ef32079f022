// The emitting polygons of meshes, and the bounds of what shines.
#pragma once

#include "engine/render/scene.h"

namespace Lumora::engine {

/// The set of a mesh whose slots glow like that. In parallel; the same on any number of threads.
std::shared_ptr<const EmitterSet> makeSet(const CompiledMesh& mesh, std::vector<SlotGlow> slots);

/// By how much a transform scales all directions alike; 0: it does not.
float evenScale(const Matrix<float>& m);

/// Areas of the slots of a set as an instance shows them. `scale`: its even scale.
void worldAreas(const Instance& instance, const CompiledMesh& mesh, const EmitterSet& set, float scale,
                std::vector<float>& out);

/// Bounds of a set's tree in the world. `power`: of the emitter.
LightBounds worldBounds(const LightBounds& local, const Instance& instance, float scale, float power);

/// Bounds of a shape in the world. `power`: for each square metre.
LightBounds shapeBounds(const LightShape& shape, const LampSlot& slot, float power);

/// Takes the beam of a lamp's distribution into its bounds.
void aim(LightBounds& bounds, const LightLobe& lobe, const Instance& instance);

}  // namespace Lumora::engine
