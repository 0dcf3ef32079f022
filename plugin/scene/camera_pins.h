// Which parameter of the camera tag goes to which pin, as a table.
#pragma once

#include "plugin/materials/engine_write.h"
#include "plugin/scene/camera_tag.h"

namespace lumora {

enum class PinForm : UChar { Bool, Int, Float, Vector2, Vector3 };

/// One parameter and its pin.
struct TagPin {
    Int32 id;
    PinId pin;
    PinForm form;
    Float value = 0;  ///< when the data have none
    Vector vector{};
    UChar nodes = 0;      ///< CameraNodes
    bool stereo = false;  ///< counts only while the stereo output is on
};

/// Compares first. True: written.
bool writeTagPin(ApiNode* node, const TagPin& row, const BaseContainer& tag);

/// Camera nodes that have a pin.
enum CameraNodes : UChar { ON_THIN_LENS = 1, ON_PANORAMIC = 2, ON_BAKING = 4, ON_LENS = ON_THIN_LENS | ON_PANORAMIC };

/// Writes what the tag's data hold to the pins of the camera node. Stereo pins are left alone while stereo is off,
/// except for the switch. True: something was written.
bool writeCameraPins(ApiNode* node, const BaseContainer& tag);

}  // namespace lumora
