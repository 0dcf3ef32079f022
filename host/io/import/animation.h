// Animation of nodes: samplers of translation, rotation and scale as foreign files have them, and the matrix tracks
// that the host gets.
//
// A node's three samplers become one track of its local matrix, with keys wherever one of them has a key. The host
// interpolates such keys by position, rotation and scale on their own, so linear samplers come out exactly; curves are
// sampled at every frame of the document, steps get a second key right before each jump.
#pragma once

#include <array>
#include <vector>

#include "host/io/import/context.h"
#include "host/sdk/object.h"

namespace host::importer {

struct Quaternion {
    Float x = 0, y = 0, z = 0, w = 1;
};

/// Position, rotation and scale of a node, in the file's space.
struct Transform {
    Vector translation;
    Quaternion rotation;
    Vector scale{1, 1, 1};
    Matrix matrix() const;  ///< a rotation of length 0 is none
};

struct Sampler {
    enum class Kind { Step, Linear, Cubic } kind = Kind::Linear;
    std::vector<Float> times;  ///< seconds, ascending
    /// For each time a value; for Cubic three: in-tangent, value, out-tangent (per second).
    std::vector<std::array<Float, 4>> values;

    bool empty() const { return times.empty(); }
    /// The value held outside the times. `rotation`: interpolated on the sphere and of unit length.
    std::array<Float, 4> at(Float time, bool rotation) const;
};

struct NodeAnimation {
    Sampler translation, rotation, scale;
    bool empty() const { return translation.empty() && rotation.empty() && scale.empty(); }
    Transform at(Float time, Transform rest) const;
};

/// The rotation part of a matrix split off: for nodes that are given by a matrix and yet animated.
Transform decompose(const Matrix& m);

/// Gives the object the track, and the matrix of time 0.
void addTrack(BaseObject& object, const NodeAnimation& animation, const Transform& rest, Context& context);

/// Sets the document's time range to 0 .. the last key of any track, at least one frame.
void setTimeRange(Context& context, Float lastKey);

}  // namespace host::importer
