// The tags of lights, skies and suns.
#include "plugin/core/class_descriptions.h"
#include "plugin/core/parameter_rows.h"

namespace lumora {

namespace {

using namespace row;

constexpr ParameterChoice kEmissions[] = {{0, "Black body"}, {1, "Texture"}};
constexpr ParameterChoice kEnvironments[] = {{0, "Environment"}, {1, "Visible environment"}};

const Parameter kLightRows[] = {
    toggle(1161, "Active", true),
    choice(1159, "Emission", 0, kEmissions),
    real(1151, "Power", 100.0, 0),
    real(1152, "Temperature", 6500.0, 500, 12000),
    toggle(1153, "Normalize", true),
    shader(1154, "Distribution"),
    shader(1155, "Texture"),
    vector(1156, "Rotation", {}),
    real(1157, "Sampling rate", 1.0, 0),
    real(1158, "Surface opacity", 1.0, 0, 1),
    toggle(1160, "Use the light's color", false),
    real(1162, "Opacity", 1.0, 0, 1),
    toggle(1163, "Camera visibility", true),
    toggle(1164, "Shadow visibility", true),
    integer(1165, "Light pass id", 1, 1, 8),
    toggle(1166, "Surface brightness", true),
    toggle(1167, "Keep instance power", true),
    toggle(1169, "Cast shadows", true),
    toggle(1170, "Visible on diffuse", true),
    toggle(1171, "Visible on specular", true),
    toggle(1172, "Transparent emission", false),
    shader(1173, "Toon light texture"),
    real(1174, "Toon light power", 1.0, 0),
    toggle(1175, "Double sided", false),
    link(1150, "Target", Obase),
    button(1179, "Area light"),
    button(1180, "IES light"),
    button(1182, "Help"),
};

const Parameter kEnvironmentRows[] = {
    choice(1162, "Type", 0, kEnvironments),
    shader(1150, "Texture"),
    real(1151, "Power", 1.0, 0),
    vector(1152, "Rotation", {}),
    toggle(1153, "Importance sampling", true),
    real(1154, "Rotation X", 0.0),
    real(1155, "Rotation Y", 0.0),
    shader(1157, "Medium"),
    real(1158, "Medium radius", 10.0, 0),
    toggle(1159, "Backplate", true),
    toggle(1160, "Reflections", false),
    toggle(1161, "Refractions", false),
    shader(1163, "AO texture"),
    button(1167, "Grey color"),
    button(1168, "HDR image"),
    button(1169, "Help"),
    button(1170, "Medium preset"),
};

const Parameter kDaylightRows[] = {
    choice(1245, "Type", 0, kEnvironments),
    real(1230, "Sky turbidity", 2.2, 2, 15),
    real(1231, "Power", 1.0, 0),
    real(1232, "North offset", 0.0, -1, 1),
    toggle(1233, "New daylight model", true),
    colour(1234, "Sky color", {0.05, 0.3, 1.0}),
    colour(1235, "Sunset color", {0.6, 0.12, 0.02}),
    real(1236, "Sun size", 1.0, 0.1, 30),
    toggle(1237, "Mix sky texture", false),
    toggle(1238, "Importance sampling", false),
    shader(1240, "Medium"),
    real(1241, "Medium radius", 1.0, 0),
    toggle(1242, "Backplate", false),
    toggle(1243, "Reflections", false),
    toggle(1244, "Refractions", false),
    colour(1246, "Ground color", {}),
    real(1247, "Ground start angle", 0.0, 0, 90),
    real(1248, "Ground blend angle", 1.0, 1, 90),
    button(1251, "Help"),
    button(1252, "Medium preset"),
    button(1255, "Medium help"),
};

const Description kLight{kLightRows}, kEnvironment{kEnvironmentRows}, kDaylight{kDaylightRows};

}  // namespace

const Description* lightTagDescription() {
    return &kLight;
}
const Description* environmentTagDescription() {
    return &kEnvironment;
}
const Description* daylightTagDescription() {
    return &kDaylight;
}

}  // namespace lumora
