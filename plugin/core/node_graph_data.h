// The value under which a node keeps its boxes of the node editor: positions, sizes and lines, as a container.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

inline constexpr Int32 kNodeGraphDataType = 1037965;

class NodeGraphData : public CustomDataType {
public:
    BaseContainer boxes;

    Int32 GetTypeId() const override { return kNodeGraphDataType; }
    std::unique_ptr<CustomDataType> Clone(const AliasTrans* translation) const override;
    Bool Equals(const CustomDataType& other) const override;
    Bool Write(HyperFile& file) const override;
    Bool Read(HyperFile& file, Int32 level) override;
};

}  // namespace lumora
