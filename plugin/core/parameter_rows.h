// Rows of description tables, spelled short.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora::row {

constexpr Parameter toggle(Int32 id, const char* label, bool on) {
    return {.id = id,
            .kind = ParameterKind::Bool,
            .label = label,
            .value = on ? 1.0 : 0.0,
            .minimum = 0,
            .maximum = 1,
            .choices = {}};
}
constexpr Parameter integer(Int32 id, const char* label, Int32 value, Float minimum = -1e9, Float maximum = 1e9) {
    return {.id = id,
            .kind = ParameterKind::Int,
            .label = label,
            .value = static_cast<Float>(value),
            .minimum = minimum,
            .maximum = maximum,
            .step = 1,
            .choices = {}};
}
constexpr Parameter choice(Int32 id, const char* label, Int32 value, std::span<const ParameterChoice> choices) {
    return {.id = id,
            .kind = ParameterKind::Choice,
            .label = label,
            .value = static_cast<Float>(value),
            .choices = choices};
}
constexpr Parameter real(Int32 id, const char* label, Float value, Float minimum = -1e30, Float maximum = 1e30) {
    return {.id = id,
            .kind = ParameterKind::Float,
            .label = label,
            .value = value,
            .minimum = minimum,
            .maximum = maximum,
            .choices = {}};
}
constexpr Parameter vector(Int32 id, const char* label, Vector value) {
    return {.id = id, .kind = ParameterKind::Vector, .label = label, .vector = value, .choices = {}};
}
constexpr Parameter colour(Int32 id, const char* label, Vector value) {
    return {.id = id, .kind = ParameterKind::Colour, .label = label, .vector = value, .minimum = 0, .choices = {}};
}
/// `type` 0: any element.
constexpr Parameter link(Int32 id, const char* label, Int32 type) {
    return {.id = id, .kind = ParameterKind::Link, .label = label, .choices = {}, .linkType = type};
}
constexpr Parameter shader(Int32 id, const char* label) {
    return link(id, label, Xbase);
}
constexpr Parameter text(Int32 id, const char* label, const char* value = "") {
    return {.id = id, .kind = ParameterKind::Text, .label = label, .choices = {}, .text = value};
}
constexpr Parameter button(Int32 id, const char* label) {
    return {.id = id, .kind = ParameterKind::Button, .label = label, .choices = {}, .animatable = false};
}

}  // namespace lumora::row
