#include "engine/graph/value.h"

#include <cmath>
#include <limits>
#include <type_traits>

namespace Lumora::engine {

namespace {

/// The numbers of a plain value, and how many there are: 0 for what is no number.
struct Numbers {
    double v[3] = {0, 0, 0};
    int count = 0;
    bool integers = false;
};

Numbers numbers(const Value& value) {
    Numbers n;
    if (const bool* b = std::get_if<bool>(&value)) {
        n = {{*b ? 1.0 : 0.0, 0, 0}, 1, true};
    } else if (const int* i = std::get_if<int>(&value)) {
        n = {{static_cast<double>(*i), 0, 0}, 1, true};
    } else if (const auto* i2 = std::get_if<Vec2<int>>(&value)) {
        n = {{static_cast<double>(i2->x), static_cast<double>(i2->y), 0}, 2, true};
    } else if (const float* f = std::get_if<float>(&value)) {
        n = {{*f, 0, 0}, 1, false};
    } else if (const auto* f2 = std::get_if<Vec2<float>>(&value)) {
        n = {{f2->x, f2->y, 0}, 2, false};
    } else if (const auto* f3 = std::get_if<Vec3<float>>(&value)) {
        n = {{f3->x, f3->y, f3->z}, 3, false};
    } else if (const auto* animated = std::get_if<SharedArray<Vec3<float>>>(&value)) {
        if (*animated && !(*animated)->empty()) {
            const Vec3<float>& first = (*animated)->front();
            n = {{first.x, first.y, first.z}, 3, false};
        }
    }
    return n;
}

int toInt(double x) {
    if (!(x > std::numeric_limits<int>::min())) {
        return std::isnan(x) ? 0 : std::numeric_limits<int>::min();
    }
    return x < std::numeric_limits<int>::max() ? static_cast<int>(x) : std::numeric_limits<int>::max();
}

bool fits(const Numbers& n, int dimension, bool integers) {
    if (n.count == 0) {
        return false;
    }
    for (int i = dimension; i < n.count; ++i) {
        if (n.v[i] != 0) {
            return false;
        }
    }
    if (integers && !n.integers) {
        for (int i = 0; i < dimension; ++i) {
            if (n.v[i] != std::floor(n.v[i]) || std::abs(n.v[i]) > 2147483520.0) {
                return false;
            }
        }
    }
    return true;
}

/// A single number fills a vector; `n` has `count` numbers then.
Numbers widen(Numbers n) {
    if (n.count == 1) {
        n.v[1] = n.v[2] = n.v[0];
    }
    return n;
}

std::optional<Value> numberAs(const Value& value, bool integers, bool boolean, int dimension) {
    const Numbers plain = numbers(value);
    if (!fits(plain, dimension, integers && !boolean)) {
        return std::nullopt;
    }
    const Numbers n = widen(plain);
    if (boolean) {
        return Value(n.v[0] != 0);
    }
    if (integers) {
        return dimension == 1 ? Value(toInt(n.v[0])) : Value(Vec2<int>{toInt(n.v[0]), toInt(n.v[1])});
    }
    const Vec3<float> f{static_cast<float>(n.v[0]), static_cast<float>(n.v[1]), static_cast<float>(n.v[2])};
    switch (dimension) {
        case 1:
            return Value(f.x);
        case 2:
            return Value(Vec2<float>{f.x, f.y});
        default:
            return Value(f);
    }
}

template <typename T>
std::optional<Value> arrayAs(const Value& value) {
    if (std::holds_alternative<SharedArray<T>>(value)) {
        return value;
    }
    return std::nullopt;
}

}  // namespace

Value defaultValue(const PinSchema& pin) {
    if (pin.dimension == 0) {
        return {};
    }
    if (pin.type == PT_STRING) {
        return Value(std::string());
    }
    return convertTo(pin, Value(pin.defaultValue)).value_or(Value());
}

Value defaultValue(const AttributeSchema& attribute) {
    switch (attribute.type) {
        case AT_STRING:
            return Value(std::string());
        case AT_INT_ARRAY:
            return Value(SharedArray<int>());
        case AT_FLOAT_ARRAY:
            return Value(SharedArray<float>());
        case AT_BYTE_ARRAY:
            return Value(SharedArray<unsigned char>());
        case AT_FLOAT2_ARRAY:
            return Value(SharedArray<Vec2<float>>());
        case AT_FLOAT3_ARRAY:
            return Value(SharedArray<Vec3<float>>());
        case AT_MATRIX_ARRAY:
            return Value(SharedArray<Matrix<float>>());
        case AT_STRING_ARRAY:
            return Value(SharedArray<std::string>());
        default:
            return convertTo(attribute.type, Value(attribute.defaultValue)).value_or(Value());
    }
}

std::optional<Value> convertTo(const PinSchema& pin, const Value& value) {
    if (pin.dimension == 0) {
        return std::nullopt;
    }
    switch (pin.type) {
        case PT_BOOL:
            return numberAs(value, true, true, 1);
        case PT_INT:
        case PT_ENUM:
            return numberAs(value, true, false, pin.dimension);
        case PT_FLOAT:
        case PT_TEXTURE:
            return numberAs(value, false, false, pin.dimension);
        case PT_STRING:
            return std::holds_alternative<std::string>(value) ? std::optional<Value>(value) : std::nullopt;
        default:
            return std::nullopt;
    }
}

std::optional<Value> convertTo(AttributeType type, const Value& value) {
    switch (type) {
        case AT_BOOL:
            return numberAs(value, true, true, 1);
        case AT_INT:
            return numberAs(value, true, false, 1);
        case AT_INT2:
            return numberAs(value, true, false, 2);
        case AT_FLOAT:
            return numberAs(value, false, false, 1);
        case AT_FLOAT2:
            return numberAs(value, false, false, 2);
        case AT_FLOAT3:
            return numberAs(value, false, false, 3);
        case AT_STRING:
            return std::holds_alternative<std::string>(value) ? std::optional<Value>(value) : std::nullopt;
        case AT_INT_ARRAY:
            return arrayAs<int>(value);
        case AT_FLOAT_ARRAY:
            return arrayAs<float>(value);
        case AT_BYTE_ARRAY:
            return arrayAs<unsigned char>(value);
        case AT_FLOAT2_ARRAY:
            return arrayAs<Vec2<float>>(value);
        case AT_FLOAT3_ARRAY:
            return arrayAs<Vec3<float>>(value);
        case AT_MATRIX_ARRAY:
            return arrayAs<Matrix<float>>(value);
        case AT_STRING_ARRAY:
            return arrayAs<std::string>(value);
        default:
            return std::nullopt;
    }
}

bool asBool(const Value& value) {
    return numbers(value).v[0] != 0;
}

int asInt(const Value& value) {
    return toInt(numbers(value).v[0]);
}

Vec2<int> asInt2(const Value& value) {
    const Numbers n = widen(numbers(value));
    return {toInt(n.v[0]), toInt(n.v[1])};
}

float asFloat(const Value& value) {
    return static_cast<float>(numbers(value).v[0]);
}

Vec2<float> asFloat2(const Value& value) {
    const Numbers n = widen(numbers(value));
    return {static_cast<float>(n.v[0]), static_cast<float>(n.v[1])};
}

Vec3<float> asFloat3(const Value& value) {
    const Numbers n = widen(numbers(value));
    return {static_cast<float>(n.v[0]), static_cast<float>(n.v[1]), static_cast<float>(n.v[2])};
}

const char* asString(const Value& value) {
    const std::string* text = std::get_if<std::string>(&value);
    return text ? text->c_str() : "";
}

bool isFinite(const Value& value) {
    const Numbers n = numbers(value);
    return std::isfinite(n.v[0]) && std::isfinite(n.v[1]) && std::isfinite(n.v[2]);
}

bool isArrayType(AttributeType type) {
    return type >= AT_INT_ARRAY;
}

std::size_t arraySize(const Value& value) {
    return std::visit(
        [](const auto& v) -> std::size_t {
            using T = std::decay_t<decltype(v)>;
            if constexpr (requires { typename T::element_type; }) {
                return v ? v->size() : 0;
            } else {
                return 0;
            }
        },
        value);
}

const char* valueTypeName(const Value& value) {
    static constexpr const char* kNames[] = {"nothing",        "a bool",         "an int",        "two ints",
                                             "a float",        "two floats",     "three floats",  "a string",
                                             "an int array",   "a float array",  "a byte array",  "a float2 array",
                                             "a float3 array", "a matrix array", "a string array"};
    return kNames[value.index()];
}

}  // namespace Lumora::engine
