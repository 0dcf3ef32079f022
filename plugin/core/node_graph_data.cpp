#include "plugin/core/node_graph_data.h"

namespace lumora {

std::unique_ptr<CustomDataType> NodeGraphData::Clone(const AliasTrans* translation) const {
    auto copy = std::make_unique<NodeGraphData>();
    copy->boxes = boxes.GetClone(translation);
    return copy;
}

Bool NodeGraphData::Equals(const CustomDataType& other) const {
    const auto* same = dynamic_cast<const NodeGraphData*>(&other);
    return same && boxes == same->boxes;
}

Bool NodeGraphData::Write(HyperFile& file) const {
    return file.WriteContainer(boxes);
}

Bool NodeGraphData::Read(HyperFile& file, Int32) {
    return file.ReadContainer(&boxes);
}

}  // namespace lumora
