#include "plugin/core/singletons.h"

#include "plugin/core/mat_preview_thread.h"
#include "plugin/core/object_link.h"
#include "plugin/core/prefs.h"
#include "plugin/core/send_thread.h"
#include "plugin/core/session.h"
#include "plugin/core/timer_message.h"
#include "plugin/geometry/instance_manager.h"
#include "plugin/geometry/mesh_collector.h"
#include "plugin/materials/material_manager.h"
#include "plugin/render/render_settings.h"
#include "plugin/scene/environment_builder.h"
#include "plugin/scene/light_collector.h"

namespace lumora {

namespace {
std::unique_ptr<Singletons>& holder() {
    static auto current = std::make_unique<Singletons>();
    return current;
}
}  // namespace

Singletons::Singletons() = default;
Singletons::~Singletons() = default;

Singletons& singletons() {
    return *holder();
}

void resetSingletons() {
    holder() = std::make_unique<Singletons>();
}

lumoraLive* session() {
    return singletons().session.get();
}

}  // namespace lumora
