// The polygon objects that an instance of a base shows.
#pragma once

#include <vector>

#include "plugin/core/scene_object_info.h"

namespace lumora {

/// A polygon object below a base, with its placements relative to the base. More than one placement where an instance
/// below the base shows the same object again.
struct InstanceChild {
    SceneObjectInfo info;
    std::vector<Matrix> placements;
};

/// The object that an instance object shows, or null.
BaseObject* instanceBase(const BaseObject& instance, const BaseDocument* doc);

/// Everything rendered below the base, through caches and instances. The base's own placement does not count, nor that
/// it hides itself; what is hidden below it is left out, and so is what shows itself. `children` is emptied first.
void collectInstanceChildren(BaseDocument* doc, BaseObject* base, std::vector<InstanceChild>& children);

}  // namespace lumora
