// GeData: one value of any type.
#include "host/sdk/ge_data.h"

#include <cmath>
#include <limits>

#include "host/model/same_value.h"
#include "host/model/unknown_data.h"
#include "host/sdk/base_list.h"

namespace host {
namespace {

/// Order of the variant's alternatives.
constexpr DataType kTypes[] = {DataType::Nil,       DataType::Int,    DataType::Float,    DataType::Vector,
                               DataType::Matrix,    DataType::String, DataType::Filename, DataType::Time,
                               DataType::Container, DataType::Link,   DataType::Custom};

template <typename Boxed, typename Value, typename Box>
Value valueOr(const Box& box, const Value& fallback) {
    const auto* value = std::get_if<Boxed>(&box);
    return value ? Value(*value) : fallback;
}

}  // namespace

GeData::GeData() = default;
GeData::~GeData() = default;
GeData::GeData(GeData&& other) noexcept = default;
GeData& GeData::operator=(GeData&& other) noexcept = default;

GeData::GeData(const GeData& other) {
    *this = other;
}

GeData& GeData::operator=(const GeData& other) {
    if (this == &other) return *this;
    std::visit(
        [this](const auto& value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (requires { typename T::deleter_type; }) {
                value_ = std::make_unique<typename T::element_type>(*value);
            } else {
                value_ = value;
            }
        },
        other.value_);
    return *this;
}

GeData::GeData(Bool value) : value_(Int64{value}) {}
GeData::GeData(Int32 value) : value_(Int64{value}) {}
GeData::GeData(UInt32 value) : value_(Int64{value}) {}
GeData::GeData(Int64 value) : value_(value) {}
GeData::GeData(Float value) : value_(value) {}
GeData::GeData(const Vector& value) : value_(value) {}
GeData::GeData(const Matrix& value) : value_(std::make_unique<Matrix>(value)) {}
GeData::GeData(const char* value) : value_(String(value)) {}
GeData::GeData(const String& value) : value_(value) {}
GeData::GeData(const Filename& value) : value_(value) {}
GeData::GeData(const BaseTime& value) : value_(value) {}
GeData::GeData(const BaseContainer& value) : value_(std::make_unique<BaseContainer>(value)) {}
GeData::GeData(const BaseLink& value) : value_(std::make_unique<BaseLink>(value)) {}
GeData::GeData(BaseList2D* target) : value_(std::make_unique<BaseLink>(target)) {}
GeData::GeData(std::shared_ptr<const CustomDataType> value) {
    if (value) value_ = std::move(value);
}

DataType GeData::GetType() const {
    return kTypes[value_.index()];
}

Int32 GeData::GetInt32(Int32 fallback) const {
    const Int64 value = GetInt64(fallback);
    return static_cast<Int32>(static_cast<UInt32>(static_cast<UInt64>(value)));
}

Int64 GeData::GetInt64(Int64 fallback) const {
    if (const auto* integer = std::get_if<Int64>(&value_)) return *integer;
    if (const auto* number = std::get_if<Float>(&value_)) {
        // The cast is only defined within the range of integers.
        constexpr Float kLimit = 9223372036854775807.0;
        if (std::isnan(*number)) return fallback;
        if (*number >= kLimit) return std::numeric_limits<Int64>::max();
        if (*number <= -kLimit) return std::numeric_limits<Int64>::min();
        return static_cast<Int64>(*number);
    }
    return fallback;
}

Float GeData::GetFloat(Float fallback) const {
    if (const auto* number = std::get_if<Float>(&value_)) return *number;
    if (const auto* integer = std::get_if<Int64>(&value_)) return static_cast<Float>(*integer);
    return fallback;
}

Vector GeData::GetVector(const Vector& fallback) const {
    return valueOr<Vector>(value_, fallback);
}

Matrix GeData::GetMatrix(const Matrix& fallback) const {
    const auto* matrix = std::get_if<std::unique_ptr<Matrix>>(&value_);
    return matrix ? **matrix : fallback;
}

String GeData::GetString(const String& fallback) const {
    return valueOr<String>(value_, fallback);
}

Filename GeData::GetFilename(const Filename& fallback) const {
    return valueOr<Filename>(value_, fallback);
}

BaseTime GeData::GetTime(const BaseTime& fallback) const {
    return valueOr<BaseTime>(value_, fallback);
}

const BaseContainer* GeData::GetContainer() const {
    const auto* box = std::get_if<std::unique_ptr<BaseContainer>>(&value_);
    return box ? box->get() : nullptr;
}

BaseContainer* GeData::GetContainer() {
    auto* box = std::get_if<std::unique_ptr<BaseContainer>>(&value_);
    return box ? box->get() : nullptr;
}

const BaseLink* GeData::GetBaseLink() const {
    const auto* box = std::get_if<std::unique_ptr<BaseLink>>(&value_);
    return box ? box->get() : nullptr;
}

BaseList2D* GeData::GetLink(const BaseDocument* document) const {
    const BaseLink* link = GetBaseLink();
    return link ? link->GetLink(document) : nullptr;
}

const CustomDataType* GeData::GetCustom(Int32 typeId) const {
    const auto* box = std::get_if<std::shared_ptr<const CustomDataType>>(&value_);
    if (!box || (*box)->GetTypeId() != typeId) return nullptr;
    // Bytes of a type that nobody had registered when they were read are not an object of that type's class.
    return dynamic_cast<const UnknownData*>(box->get()) ? nullptr : box->get();
}

const CustomDataType* GeData::GetCustomOfAnyType() const {
    const auto* box = std::get_if<std::shared_ptr<const CustomDataType>>(&value_);
    return box ? box->get() : nullptr;
}

void GeData::TranslateCustom(const AliasTrans& translation) {
    auto* box = std::get_if<std::shared_ptr<const CustomDataType>>(&value_);
    if (!box) return;
    std::shared_ptr<const CustomDataType> clone = (*box)->Clone(&translation);
    // Most values hold no links: they stay shared.
    if (clone && !clone->Equals(**box)) *box = std::move(clone);
}

Bool GeData::operator==(const GeData& other) const {
    if (value_.index() != other.value_.index()) return false;
    return std::visit(
        [&other](const auto& value) -> Bool {
            using T = std::decay_t<decltype(value)>;
            const T& right = std::get<T>(other.value_);
            if constexpr (std::is_same_v<T, Float> || std::is_same_v<T, Vector>) {
                return sameValue(value, right);
            } else if constexpr (std::is_same_v<T, std::unique_ptr<Matrix>>) {
                return sameValue(*value, *right);
            } else if constexpr (std::is_same_v<T, std::shared_ptr<const CustomDataType>>) {
                return value == right || (value->GetTypeId() == right->GetTypeId() && value->Equals(*right));
            } else if constexpr (requires { typename T::deleter_type; }) {
                return *value == *right;
            } else {
                return value == right;
            }
        },
        value_);
}

}  // namespace host
