// Compound parameter values that the host brings.
#pragma once

#include <memory>
#include <vector>

#include "host/sdk/ge_data.h"

namespace host {

inline constexpr Int32 CUSTOMDATATYPE_GRADIENT = 1000481, CUSTOMDATATYPE_INEXCLUDE_LIST = 1009290,
                       CUSTOMDATATYPE_BYTES = 1000482;

class HOST_API Gradient : public CustomDataType {
public:
    enum class Interpolation : UChar { Linear, Smooth, Step };
    struct Knot {
        Vector colour;
        Float brightness = 1, position = 0, bias = 0.5;
        Interpolation interpolation = Interpolation::Smooth;
    };
    std::vector<Knot> knots;

    Vector Calc(Float position) const;  ///< black without knots
    Int32 GetTypeId() const override { return CUSTOMDATATYPE_GRADIENT; }
    std::unique_ptr<CustomDataType> Clone(const AliasTrans*) const override;
    Bool Equals(const CustomDataType& other) const override;
    Bool Write(HyperFile& file) const override;
    Bool Read(HyperFile& file, Int32 level) override;
};

/// A list of links with a number of flags each.
class HOST_API InExcludeData : public CustomDataType {
public:
    struct Entry {
        GeData link;
        Int32 flags = 0;
    };
    std::vector<Entry> entries;

    Int32 GetTypeId() const override { return CUSTOMDATATYPE_INEXCLUDE_LIST; }
    std::unique_ptr<CustomDataType> Clone(const AliasTrans*) const override;
    Bool Equals(const CustomDataType& other) const override;
    Bool Write(HyperFile& file) const override;
    Bool Read(HyperFile& file, Int32 level) override;
};

/// Raw memory.
class HOST_API ByteData : public CustomDataType {
public:
    std::vector<UChar> bytes;

    Int32 GetTypeId() const override { return CUSTOMDATATYPE_BYTES; }
    std::unique_ptr<CustomDataType> Clone(const AliasTrans*) const override;
    Bool Equals(const CustomDataType& other) const override;
    Bool Write(HyperFile& file) const override;
    Bool Read(HyperFile& file, Int32 level) override;
};

}  // namespace host
