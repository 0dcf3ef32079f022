// Descriptions: the parameters of a node type as a table that code walks. Defaults, dialogs, files and checks all read
// the same rows.
#pragma once

#include <span>
#include <vector>

#include "host/sdk/ge_data.h"

namespace host {

/// Address of a parameter: the id, and for a component of a vector (1000 x, 1001 y, 1002 z) the second level.
struct DescID {
    Int32 id = 0;
    Int32 component = 0;
    constexpr DescID() = default;
    constexpr DescID(Int32 i) : id(i) {}
    constexpr DescID(Int32 i, Int32 sub) : id(i), component(sub) {}
    friend constexpr bool operator==(const DescID&, const DescID&) = default;
};

inline constexpr Int32 kVectorX = 1000, kVectorY = 1001, kVectorZ = 1002;

enum class ParameterKind : UChar {
    Group,
    Separator,
    Bool,
    Int,
    Choice,
    Float,
    Percent,
    Degree,
    Length,
    Time,
    Vector,
    Colour,
    Text,
    File,
    Link,
    Gradient,
    Spline,
    List,
    Button,
    Custom
};

struct ParameterChoice {
    Int32 value;
    const char* label;
};

/// One parameter. Angles are stored in radians, percentages as fractions, lengths in scene units.
struct Parameter {
    Int32 id = 0;
    ParameterKind kind = ParameterKind::Int;
    const char* label = "";
    Float value = 0;  ///< default of numbers and switches
    Vector vector;    ///< default of vectors and colours
    Float minimum = -1e30, maximum = 1e30, step = 0;
    std::span<const ParameterChoice> choices;
    const char* text = "";  ///< default of texts and file names
    Int32 linkType = 0;     ///< accepted type of a link; 0: any
    Int32 customType = 0;
    Bool animatable = true;
    Bool noDefault = false;  ///< not written when a node is made; reading falls back in the code
};

/// The rows of one type. Plug-ins keep them in static storage for the life of the plug-in.
struct Description {
    std::span<const Parameter> rows;
    const Description* base = nullptr;  ///< rows of the family that come first

    HOST_API const Parameter* Find(Int32 id) const;
    /// Writes the defaults of all rows that the container does not hold yet.
    HOST_API void ApplyDefaults(BaseContainer& container) const;
};

HOST_API GeData DefaultOf(const Parameter& parameter);

}  // namespace host
