// Emission, toon lights, environments.
#include <cmath>

#include "tools/node_pictures/strips.h"

namespace pictures {

using namespace Lumora;

namespace {

/// Towards a sun so many degrees high, a little to the right of where the camera looks.
Float3 sunAt(float elevation, float azimuth = 22) {
    constexpr float kRadians = 3.14159265f / 180;
    const float flat = std::cos(elevation * kRadians);
    return {flat * std::sin(azimuth * kRadians), std::sin(elevation * kRadians), -flat * std::cos(azimuth * kRadians)};
}

Recipe daylight(std::vector<Setting> settings, float elevation = 25, float azimuth = 22) {
    Recipe r = make(NT_ENV_DAYLIGHT,
                    {{P_SUN_DIRECTION, sunAt(elevation, azimuth)}, {P_GROUND_COLOR, Float3{0.34f, 0.32f, 0.28f}}});
    return with(r, settings);
}

void addEmission(std::vector<Strip>& s) {
    const Recipe body = make(NT_EMIS_BLACKBODY, {{P_EMIS_TEXTURE, 1.0f}, {P_POWER, 5.0f}});
    s.push_back({"blackbody-temperature", NT_EMIS_BLACKBODY, "Temperature, kelvin", Stage::Bulb,
                 over(body, P_TEMPERATURE, {1500, 2700, 4000, 6500, 12000})});
    s.push_back({"blackbody-normalize", NT_EMIS_BLACKBODY, "Normalize off: temperature, kelvin", Stage::Bulb,
                 over(with(body, {{P_NORMALIZE, false}}), P_TEMPERATURE, {4000, 5000, 6500, 8000})});
    const Recipe texture = make(NT_EMIS_TEXTURE, {{P_EMIS_TEXTURE, 1.0f}, {P_POWER, 5.0f}});
    s.push_back(
        {"emission-power", NT_EMIS_TEXTURE, "Power", Stage::Bulb, over(texture, P_POWER, {0.5f, 2, 5, 12, 40})});
    s.push_back({"emission-texture",
                 NT_EMIS_TEXTURE,
                 "Texture: colours, a picture",
                 Stage::Bulb,
                 {{"orange", with(texture, {{P_EMIS_TEXTURE, Float3{1, 0.35f, 0.08f}}})},
                  {"green", with(texture, {{P_EMIS_TEXTURE, Float3{0.15f, 1, 0.25f}}})},
                  {"blue", with(texture, {{P_EMIS_TEXTURE, Float3{0.15f, 0.3f, 1}}})},
                  {"picture", with(texture, {{P_EMIS_TEXTURE, image(Chart::Colors)}})}}});
    const Recipe round = make(NT_PROJ_SPHERICAL, {{P_COORDINATE_SPACE, 1}});
    const auto file = [&](Chart chart) {
        return make(NT_EMIS_TEXTURE, {{P_EMIS_TEXTURE, 1.0f},
                                      {P_POWER, 500.0f},
                                      {P_DISTRIBUTION, image(chart, {{P_GAMMA, 1.0f}, {P_PROJECTION, round}})}});
    };
    const Recipe flat = make(NT_EMIS_TEXTURE, {{P_EMIS_TEXTURE, 1.0f}, {P_POWER, 120.0f}});
    s.push_back({"emission-distribution",
                 NT_EMIS_TEXTURE,
                 "Distribution: none, a constant, measured lamps, a picture",
                 Stage::Spot,
                 {{"none", flat},
                  {"0.3", with(flat, {{P_DISTRIBUTION, 0.3f}})},
                  {"narrow (.ies)", file(Chart::Spot)},
                  {"wide (.ies)", file(Chart::Batwing)},
                  {"picture", with(file(Chart::Colors), {{P_POWER, 120.0f}})}}});
    const Recipe lamp = make(NT_EMIS_TEXTURE, {{P_EMIS_TEXTURE, Float3{1, 0.8f, 0.5f}}, {P_POWER, 6.0f}});
    s.push_back({"emission-switches",
                 NT_EMIS_TEXTURE,
                 "Double-sided; not visible on diffuse; not visible on specular; casting no shadows",
                 Stage::Mirror,
                 {{"plain", lamp},
                  {"both sides", with(lamp, {{P_DOUBLE_SIDED, true}})},
                  {"no diffuse", with(lamp, {{P_VISIBLE_ON_DIFFUSE, false}})},
                  {"no specular", with(lamp, {{P_VISIBLE_ON_SPECULAR, false}})},
                  {"no shadows", with(lamp, {{P_CAST_SHADOWS, false}})}}});
    const Recipe light = make(NT_TOON_POINT_LIGHT, {{P_EMIS_TEXTURE, Float3{1, 1, 1}}, {P_POWER, 1.0f}});
    s.push_back({"toon-point-light",
                 NT_TOON_POINT_LIGHT,
                 "Power, and a colour",
                 Stage::ToonLamp,
                 {{"0.3", with(light, {{P_POWER, 0.3f}})},
                  {"1", light},
                  {"3", with(light, {{P_POWER, 3.0f}})},
                  {"green", with(light, {{P_EMIS_TEXTURE, Float3{0.4f, 1, 0.3f}}})}}});
    const Recipe sun = make(NT_TOON_DIRECTIONAL_LIGHT, {{P_EMIS_TEXTURE, Float3{1, 1, 1}}, {P_POWER, 1.0f}});
    s.push_back({"toon-directional-light",
                 NT_TOON_DIRECTIONAL_LIGHT,
                 "Direction towards the light",
                 Stage::ToonLamp,
                 {{"above", with(sun, {{P_SUN_DIRECTION, Float3{0, 1, 0.2f}}})},
                  {"left", with(sun, {{P_SUN_DIRECTION, Float3{-1, 0.3f, 0.5f}}})},
                  {"right", with(sun, {{P_SUN_DIRECTION, Float3{1, 0.3f, 0.5f}}})},
                  {"front", with(sun, {{P_SUN_DIRECTION, Float3{0, 0.3f, 1}}})}}});
}

void addDaylight(std::vector<Strip>& s) {
    const auto suns = [](int model) {
        std::vector<Column> columns;
        for (const float elevation : {0.0f, 3.0f, 8.0f, 16.0f, 30.0f, 60.0f})
            columns.push_back({number(elevation), daylight({{P_SKY_MODEL, model}}, elevation)});
        return columns;
    };
    s.push_back(
        {"daylight-elevation", NT_ENV_DAYLIGHT, "Elevation of the sun, degrees, sky model 1", Stage::Sky, suns(1)});
    s.push_back({"daylight-elevation-formula", NT_ENV_DAYLIGHT, "The same, sky model 0", Stage::Sky, suns(0)});
    s.push_back({"daylight-turbidity", NT_ENV_DAYLIGHT, "Sky turbidity, the sun 12 degrees high, sky model 1",
                 Stage::Sky, over(daylight({}, 12), P_TURBIDITY, {2, 3, 5, 9, 15})});
    s.push_back({"daylight-turbidity-formula", NT_ENV_DAYLIGHT, "The same, sky model 0", Stage::Sky,
                 over(daylight({{P_SKY_MODEL, 0}}, 12), P_TURBIDITY, {2, 3, 5, 9, 15})});
    s.push_back({"daylight-sun-size", NT_ENV_DAYLIGHT, "Sun size", Stage::Sky,
                 over(daylight({}, 30, 130), P_SUN_SIZE, {0.1f, 1, 8, 30})});
    s.push_back({"daylight-north", NT_ENV_DAYLIGHT, "North offset, half turns", Stage::Sky,
                 over(daylight({}, 12), P_NORTH_OFFSET, {-0.5f, -0.1f, 0, 0.1f, 0.5f})});
    s.push_back(
        {"daylight-colors",
         NT_ENV_DAYLIGHT,
         "Sky colour, sunset colour, ground colour",
         Stage::Sky,
         {{"sky green", daylight({{P_SKY_COLOR, Float3{0.1f, 0.5f, 0.3f}}}, 12)},
          {"sky grey", daylight({{P_SKY_COLOR, Float3{0.5f, 0.5f, 0.5f}}}, 12)},
          {"sunset red", daylight({{P_SUNSET_COLOR, Float3{0.9f, 0.02f, 0.1f}}}, 4)},
          {"ground", daylight({{P_GROUND_COLOR, Float3{0.2f, 0.5f, 0.1f}}, {P_GROUND_START_ANGLE, 0.0f}}, 25)}}});
    s.push_back(
        {"daylight-power", NT_ENV_DAYLIGHT, "Power", Stage::Sky, over(daylight({}, 25), P_POWER, {0.25f, 0.5f, 1, 2})});
}

void addEnvironments(std::vector<Strip>& s) {
    const auto turned = [](float y) {
        const Recipe around =
            make(NT_PROJ_SPHERICAL, {{P_TRANSFORM, make(NT_TRANSFORM_ROTATION, {{P_ROTATION, Float3{0, y, 0}}})}});
        return make(NT_ENV_TEXTURE, {{P_TEXTURE, image(Chart::Sky, {{P_GAMMA, 1.0f}, {P_PROJECTION, around}})}});
    };
    const Recipe plain = make(NT_ENV_TEXTURE, {{P_TEXTURE, image(Chart::Sky, {{P_GAMMA, 1.0f}})}});
    s.push_back({"environment-rotation",
                 NT_ENV_TEXTURE,
                 "A panorama, and under a spherical projection turned about y by degrees",
                 Stage::Sky,
                 {{"plain", plain}, {"-60", turned(-60)}, {"0", turned(0)}, {"60", turned(60)}, {"180", turned(180)}}});
    s.push_back({"environment-power", NT_ENV_TEXTURE, "Power", Stage::Sky, over(plain, P_POWER, {0.3f, 1, 3})});
    s.push_back({"environment-sampling", NT_ENV_TEXTURE, "Importance sampling, the same number of samples", Stage::Sky,
                 offOn(plain, P_IMPORTANCE_SAMPLING), true});
    const Recipe visible =
        make(NT_ENV_TEXTURE, {{P_TEXTURE, Float3{0.75f, 0.25f, 0.45f}}, {P_VISIBLE_BACKPLATE, false}});
    s.push_back({"environment-visible",
                 NT_ENV_TEXTURE,
                 "As a visible environment, in pink: behind everything, in reflections, in refractions",
                 Stage::Backdrop,
                 {{"none", visible},
                  {"backplate", with(visible, {{P_VISIBLE_BACKPLATE, true}})},
                  {"reflections", with(visible, {{P_VISIBLE_REFLECTIONS, true}})},
                  {"refractions", with(visible, {{P_VISIBLE_REFRACTIONS, true}})}}});
}

}  // namespace

std::vector<Strip> lightStrips() {
    std::vector<Strip> strips;
    addEmission(strips);
    addDaylight(strips);
    addEnvironments(strips);
    return strips;
}

}  // namespace pictures
