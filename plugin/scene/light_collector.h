// The document's light objects.
#pragma once

#include <span>
#include <vector>

#include "plugin/core/scene_object_info.h"
#include "plugin/materials/engine_write.h"

namespace lumora {

class LightCollector {
public:
    void clear() { lights_.clear(); }
    void add(const SceneObjectInfo& info) { lights_.push_back(info); }
    std::span<const SceneObjectInfo> lights() const { return lights_; }
    /// The light group of the main group's first pin: null while no light has an emitter of its own. Names the lights
    /// that stay dark in one line of the log.
    ApiNode* build(ApiNode* mainGroup, float scale);

private:
    std::vector<SceneObjectInfo> lights_;
};

}  // namespace lumora
