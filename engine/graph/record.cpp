#include "engine/graph/record.h"

#include "engine/schema/schema.h"

namespace Lumora::engine {

const PinRecord* NodeRecord::pin(PinId id) const {
    const NodeSchema* schema = nodeSchema(type);
    const int index = schema ? schema->pinIndex(id) : -1;
    return index >= 0 && static_cast<std::size_t>(index) < pins.size() ? &pins[static_cast<std::size_t>(index)]
                                                                       : nullptr;
}

const Value* NodeRecord::attribute(AttributeId id) const {
    const NodeSchema* schema = nodeSchema(type);
    const int index = schema ? schema->attributeIndex(id) : -1;
    return index >= 0 && static_cast<std::size_t>(index) < attributes.size()
               ? &attributes[static_cast<std::size_t>(index)].value
               : nullptr;
}

}  // namespace Lumora::engine
