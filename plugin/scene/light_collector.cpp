#include "plugin/scene/light_collector.h"

#include <algorithm>

#include "plugin/core/log.h"

namespace lumora {

namespace {
constexpr std::size_t kNamedLights = 8;
}

ApiNode* LightCollector::build(ApiNode* /*mainGroup*/, float /*scale*/) {
    if (lights_.empty()) return nullptr;
    String names;
    for (std::size_t i = 0; i < std::min(lights_.size(), kNamedLights); ++i) {
        if (i > 0) names += ", ";
        names += lights_[i].object ? lights_[i].object->GetName() : String();
    }
    if (lights_.size() > kNamedLights)
        names += " and " + String::IntToString(static_cast<Int64>(lights_.size() - kNamedLights)) + " more";
    logLine("Lights without an emitter, left out: " + names);
    return nullptr;
}

}  // namespace lumora
