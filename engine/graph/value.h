// Values of pins and attributes: defaults, conversions, comparison.
#pragma once

#include <optional>
#include <string>

#include "engine/graph/record.h"
#include "engine/schema/schema.h"

namespace Lumora::engine {

Value defaultValue(const PinSchema& pin);
Value defaultValue(const AttributeSchema& attribute);

/// The value in the form that a pin or an attribute holds; empty when it cannot be converted, monostate included.
/// Integers, bools and floats convert upwards, a float into an integer only when it is whole; a number fills a vector,
/// a vector that is too short is filled up with zeros, and one that is too long may only lose zeros.
std::optional<Value> convertTo(const PinSchema& pin, const Value& value);
std::optional<Value> convertTo(AttributeType type, const Value& value);

/// Reading is lenient: what has no sensible reading gives zero or the empty string. An animated value gives its first
/// sample.
bool asBool(const Value& value);
int asInt(const Value& value);
Vec2<int> asInt2(const Value& value);
float asFloat(const Value& value);
Vec2<float> asFloat2(const Value& value);
Vec3<float> asFloat3(const Value& value);
const char* asString(const Value& value);

bool isFinite(const Value& value);
bool isArrayType(AttributeType type);
/// Elements of an array value; 0 for anything else.
std::size_t arraySize(const Value& value);
const char* valueTypeName(const Value& value);

}  // namespace Lumora::engine
