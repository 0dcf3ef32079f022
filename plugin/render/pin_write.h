// One value of the settings table on its pin.
#pragma once

#include "plugin/materials/engine_write.h"
#include "plugin/render/settings_table.h"

namespace lumora {

/// Compares first. True: written.
inline bool writePin(ApiNode* node, const SettingRow& row, Float value) {
    const auto pin = static_cast<PinId>(row.pin);
    switch (row.type) {
        case SettingType::Bool:
            return setBoolIfChanged(node, pin, value != 0);
        case SettingType::Int:
            return setIntIfChanged(node, pin, static_cast<int>(value));
        default:
            return setFloatIfChanged(node, pin, static_cast<float>(value));
    }
}

}  // namespace lumora
