#include "plugin/core/class_descriptions.h"
#include "plugin/core/parameter_rows.h"
#include "plugin/geometry/object_tags.h"

namespace lumora {

namespace {

using namespace row;

constexpr ParameterChoice kSlots[] = {{0, "Static"}, {1, "Movable"}, {2, "Movable 2"}, {3, "Movable 3"}};
constexpr ParameterChoice kMotions[] = {
    {0, "None"}, {1, "Transform"}, {2, "Transform and vertices"}, {3, "Velocity maps"}};
// What becomes of open edges, as the engine numbers it.
constexpr ParameterChoice kBoundaries[] = {{0, "Default"}, {1, "Edges"}, {2, "Edges and corners"}, {3, "Fixed"}};
constexpr ParameterChoice kParticleModes[] = {{0, "None"}, {1, "Instances"}, {2, "Volume"}};
constexpr ParameterChoice kLightPasses[] = {{OBJTAG_LIGHT_PASS_ALL, "All"}, {OBJTAG_LIGHT_PASS_CUSTOM, "Custom"}};

Parameter lightPass(Int32 index, const char* label) {
    return toggle(OBJTAG_LIGHT_PASS_FIRST + index, label, true);
}

const Parameter kRows[] = {
    toggle(1280, "Active", true),
    choice(OBJTAG_SLOT, "Geometry slot", 1, kSlots),
    real(OBJTAG_OPACITY, "Opacity", 1.0, 0, 1),
    toggle(OBJTAG_CAMERA_VISIBLE, "Camera visibility", true),
    toggle(OBJTAG_SHADOW_VISIBLE, "Shadow visibility", true),
    choice(OBJTAG_MOTION_TYPE, "Motion blur", 1, kMotions),
    toggle(1287, "Layer", false),
    integer(OBJTAG_LAYER_ID, "Layer id", 1, 1, 255),
    integer(1289, "Layer mode", 0),
    colour(OBJTAG_COLOR, "Color", {}),
    integer(OBJTAG_SUBD_LEVEL, "Subdivision level", 0, 0, 10),
    real(OBJTAG_SUBD_SHARPNESS, "Subdivision sharpness", 0.0, 0, 11),
    choice(OBJTAG_SUBD_BOUNDARY, "Subdivision boundary", 0, kBoundaries),
    toggle(OBJTAG_NO_INSTANCE_PATH, "Motion by identity", false),
    choice(OBJTAG_PARTICLE_MODE, "Render particles as", 0, kParticleModes),
    toggle(OBJTAG_HAIR_SPLINE, "Render as hair", false),
    real(1299, "Hair root thickness", 20.0, 0),
    real(1300, "Hair tip thickness", 4.0, 0),
    real(1305, "Hair thickness", 1.0, 0),
    real(1306, "Particle scale", 1.0, 0),
    integer(OBJTAG_GEOMETRY_FLAGS, "Geometry flags", 0),
    toggle(1308, "Hair interpolation", false),
    real(1309, "Hair angle", 0.0),
    integer(OBJTAG_BAKING_GROUP, "Baking group", 1, 1, 65535),
    integer(1311, "Particle axis", 0),
    integer(1312, "Particle scale mode", 1),
    toggle(1314, "Random color", false),
    real(1315, "Velocity scale", 1.0),
    toggle(1316, "Particle rotation", false),
    link(OBJTAG_VELOCITY_X, "Velocity X", 0),
    link(OBJTAG_VELOCITY_Y, "Velocity Y", 0),
    link(OBJTAG_VELOCITY_Z, "Velocity Z", 0),
    integer(OBJTAG_COLOR_ID, "Color id", 0),
    choice(OBJTAG_LIGHT_PASS_CHOICE, "Light passes", OBJTAG_LIGHT_PASS_ALL, kLightPasses),
    lightPass(0, "Sunlight"),
    lightPass(1, "Environment"),
    lightPass(2, "Light 1"),
    lightPass(3, "Light 2"),
    lightPass(4, "Light 3"),
    lightPass(5, "Light 4"),
    lightPass(6, "Light 5"),
    lightPass(7, "Light 6"),
    lightPass(8, "Light 7"),
    lightPass(9, "Light 8"),
};

const Description kDescription{kRows};

}  // namespace

const Description* objectTagDescription() {
    return &kDescription;
}

}  // namespace lumora
