// Names and descriptions of what the engine has. Strings live as long as the engine's library is loaded.
#pragma once

#include "engine/api/api_node.h"

namespace Lumora {

struct ApiRenderPassInfo {
    RenderPassId id{};
    const char* name = "";
    const char* shortName = "";  ///< fit for file and layer names
    const char* description = "";
    bool info = false;  ///< a pass of surface data, not of light
    PinId pin{};        ///< the pin of NT_RENDER_PASSES that asks for it; P_DYNAMIC for the beauty pass
};

class ApiInfo {
public:
    LUMORA_API static int lumoraVersion();
    LUMORA_API static const char* lumoraName();
    /// Empty for an unknown type.
    LUMORA_API static const char* getNodeTypeName(NodeType type);
    LUMORA_API static const char* getPinTypeName(NodePinType type);
    /// Static pin `index` of a node type; a description with an empty name when there is none.
    LUMORA_API static ApiNodePinInfo nodePinInfo(NodeType type, unsigned index);
    LUMORA_API static unsigned nodePinCount(NodeType type);
    /// Every node type that can be created, by position; NT_UNKNOWN past the end.
    LUMORA_API static NodeType nodeTypeIx(unsigned index);
    /// Null for an unknown pass.
    LUMORA_API static const ApiRenderPassInfo* renderPassInfo(RenderPassId pass);
    LUMORA_API static const char* renderPassShortName(RenderPassId pass);
};

}  // namespace Lumora
