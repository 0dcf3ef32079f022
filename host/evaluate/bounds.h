// Bounding boxes.
#pragma once

#include <span>

#include "host/sdk/object.h"

namespace host {

struct Bounds {
    Vector low{1e300, 1e300, 1e300}, high{-1e300, -1e300, -1e300};

    Bool isEmpty() const { return low.x > high.x; }
    void add(const Vector& p);
    void add(const Bounds& b);
    /// Of the box's eight corners under a transform.
    Bounds transformed(const Matrix& m) const;
    Vector centre() const { return isEmpty() ? Vector() : (low + high) * 0.5; }
    Vector radius() const { return isEmpty() ? Vector() : (high - low) * 0.5; }
};

/// Points that are not finite make the box infinite along their axes, so that readers can refuse the object.
Bounds pointBounds(std::span<const Vector> points);

/// In the object's own space: its points, or what its cache holds; what its data class says when neither exists.
Bounds objectBounds(const BaseObject& object);

/// With everything below the object and in the caches, in world space; hidden ones count.
Bounds branchBounds(const BaseObject& object, const Matrix& global);

}  // namespace host
