#include "plugin/scene/camera_pins.h"

namespace lumora {

namespace {

using Form = PinForm;

// What the host's camera has a say in (angle, lens shift, clipping, focus) is not here.
const TagPin kPins[] = {
    {CAMERATAG_APERTURE, P_APERTURE, Form::Float, 0.01, {}, ON_LENS},
    {1459, P_APERTURE_ASPECT, Form::Float, 1.0, {}, ON_LENS},
    {1458, P_PIXEL_ASPECT, Form::Float, 1.0, {}, ON_THIN_LENS},
    {1419, P_AUTOFOCUS, Form::Bool, 1, {}, ON_LENS},
    {1528, P_PERSPECTIVE_CORRECTION, Form::Bool, 0, {}, ON_THIN_LENS},
    {1443, P_DISTORTION, Form::Float, 0, {}, ON_THIN_LENS},
    {1444, P_APERTURE_EDGE, Form::Float, 1.0, {}, ON_LENS},
    {1474, P_BOKEH_SIDES, Form::Int, 6, {}, ON_LENS},
    {1475, P_BOKEH_ROTATION, Form::Float, 0, {}, ON_LENS},
    {1476, P_BOKEH_ROUNDNESS, Form::Float, 1.0, {}, ON_LENS},
    {1415, P_LEFT_FILTER, Form::Vector3, 0, {1, 0, 0.812}, ON_LENS},
    {1416, P_RIGHT_FILTER, Form::Vector3, 0, {0, 1, 0.188}, ON_LENS},
    {1440, P_CAMERA_MODE, Form::Int, 0, {}, ON_PANORAMIC},
    {1441, P_FOV_X, Form::Float, 360.0, {}, ON_PANORAMIC},
    {1442, P_FOV_Y, Form::Float, 180.0, {}, ON_PANORAMIC},
    {1472, P_KEEP_UPRIGHT, Form::Bool, 0, {}, ON_PANORAMIC},
    {CAMERATAG_STEREO_OUTPUT, P_STEREO_OUTPUT, Form::Int, 0, {}, ON_LENS},
    {1414, P_STEREO_DISTANCE, Form::Float, 0.065, {}, ON_LENS, true},
    {1533, P_SWAP_EYES, Form::Bool, 0, {}, ON_LENS, true},
    {1529, P_STEREO_MODE, Form::Int, 1, {}, ON_THIN_LENS, true},
    {1455, P_STEREO_FALLOFF, Form::Float, 0.3, {}, ON_THIN_LENS, true},
    {1456, P_STEREO_FALLOFF_ANGLE, Form::Float, 90.0, {}, ON_THIN_LENS, true},
    {1461, P_BAKING_GROUP_ID, Form::Int, 1, {}, ON_BAKING},
    {1464, P_BAKE_PADDING, Form::Int, 4, {}, ON_BAKING},
    {1465, P_TOLERANCE, Form::Float, 0.5, {}, ON_BAKING},
    {1468, P_BAKE_OUTWARDS, Form::Bool, 1, {}, ON_BAKING},
    {1466, P_BAKE_FROM_POSITION, Form::Bool, 0, {}, ON_BAKING},
    {1467, P_POSITION, Form::Vector3, 0, {}, ON_BAKING},
    {1531, P_UV_REGION_START, Form::Vector2, 0, {}, ON_BAKING},
    {1532, P_UV_REGION_SIZE, Form::Vector2, 0, {1, 1, 0}, ON_BAKING},
};

/// The set that a camera node belongs to; 0 for one without pins of the tag.
UChar cameraNodesOf(NodeType type) {
    switch (type) {
        case NT_CAM_THINLENS:
            return ON_THIN_LENS;
        case NT_CAM_PANORAMIC:
            return ON_PANORAMIC;
        case NT_CAM_BAKING:
            return ON_BAKING;
        default:
            return 0;
    }
}

}  // namespace

bool writeTagPin(ApiNode* node, const TagPin& row, const BaseContainer& tag) {
    switch (row.form) {
        case Form::Bool:
            return setBoolIfChanged(node, row.pin, tag.GetBool(row.id, row.value != 0));
        case Form::Int:
            return setIntIfChanged(node, row.pin, tag.GetInt32(row.id, static_cast<Int32>(row.value)));
        case Form::Float:
            return setFloatIfChanged(node, row.pin, static_cast<float>(tag.GetFloat(row.id, row.value)));
        case Form::Vector2: {
            const Float3 v = toFloat3(tag.GetVector(row.id, row.vector));
            return setFloat2IfChanged(node, row.pin, {v.x, v.y});
        }
        case Form::Vector3:
            return setFloat3IfChanged(node, row.pin, toFloat3(tag.GetVector(row.id, row.vector)));
    }
    return false;
}

bool writeCameraPins(ApiNode* node, const BaseContainer& tag) {
    if (!node) return false;
    const UChar kind = cameraNodesOf(node->type());
    const bool stereo = tag.GetInt32(CAMERATAG_STEREO_OUTPUT, 0) != 0;
    bool changed = false;
    for (const TagPin& row : kPins)
        if ((row.nodes & kind) && (stereo || !row.stereo)) changed |= writeTagPin(node, row, tag);
    return changed;
}

}  // namespace lumora
