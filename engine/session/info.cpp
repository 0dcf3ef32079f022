// ApiInfo over the tables.
#include "engine/api/api_info.h"

#include "engine/graph/pin_info.h"
#include "engine/schema/passes.h"
#include "engine/schema/schema.h"

namespace Lumora {

using namespace engine;

int ApiInfo::lumoraVersion() {
    return 4000021;
}

const char* ApiInfo::lumoraName() {
    return "Lumora Render 4.00";
}

const char* ApiInfo::getNodeTypeName(NodeType type) {
    const NodeSchema* schema = nodeSchema(type);
    return schema ? schema->name : "";
}

const char* ApiInfo::getPinTypeName(NodePinType type) {
    return pinTypeName(type);
}

ApiNodePinInfo ApiInfo::nodePinInfo(NodeType type, unsigned index) {
    const NodeSchema* schema = nodeSchema(type);
    return schema && index < schema->pins.size() ? pinInfo(schema->pins[index], schema->pins[index].name, false)
                                                 : ApiNodePinInfo();
}

unsigned ApiInfo::nodePinCount(NodeType type) {
    const NodeSchema* schema = nodeSchema(type);
    return schema ? static_cast<unsigned>(schema->pins.size()) : 0;
}

NodeType ApiInfo::nodeTypeIx(unsigned index) {
    unsigned position = 0;
    for (const NodeSchema* schema : allNodeSchemas()) {
        if (schema->type != NT_PREFERENCES && position++ == index) {
            return schema->type;
        }
    }
    return NT_UNKNOWN;
}

const ApiRenderPassInfo* ApiInfo::renderPassInfo(RenderPassId pass) {
    for (std::size_t i = 0; i < kRenderPassCount; ++i) {
        if (kRenderPasses[i].id == pass) {
            return &kRenderPasses[i];
        }
    }
    return nullptr;
}

const char* ApiInfo::renderPassShortName(RenderPassId pass) {
    const ApiRenderPassInfo* info = renderPassInfo(pass);
    return info ? info->shortName : "";
}

}  // namespace Lumora
