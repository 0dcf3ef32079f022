// Nodes that hold one plain value, and the application's preferences.
#include "engine/schema/build.h"

namespace Lumora::engine::schema {

namespace {
Row value(NodeType type, const char* name, NodePinType output, AttributeType attributeType) {
    return {type, name, output, {}, {attribute(A_VALUE, "value", attributeType)}, DynamicPins::None, NodeRole::Value};
}
}  // namespace

Rows valueRows() {
    return {
        value(NT_FLOAT, "Float value", PT_FLOAT, AT_FLOAT3),
        value(NT_INT, "Int value", PT_INT, AT_INT2),
        value(NT_BOOL, "Bool value", PT_BOOL, AT_BOOL),
        value(NT_ENUM, "Enum value", PT_ENUM, AT_INT),
        value(NT_STRING, "String value", PT_STRING, AT_STRING),
        value(NT_FILE, "File name", PT_STRING, AT_STRING),
        {NT_BIT_MASK, "Bit mask", PT_BIT_MASK, {}, {attribute(A_VALUE, "value", AT_INT)}},
        {NT_PREFERENCES,
         "Application preferences",
         PT_UNKNOWN,
         {},
         {attribute(A_PREFERENCE_SHARED_CONTEXT, "sharedContext", AT_BOOL)}},
    };
}

}  // namespace Lumora::engine::schema
