// Projections and transforms.
#include "tools/node_pictures/strips.h"

namespace pictures {

using namespace Lumora;

namespace {

/// In the object's own space, where the box reaches from -1 to 1.
Recipe projection(NodeType type, const Recipe* transform = nullptr) {
    Recipe r = make(type, {});
    if (type != NT_PROJ_UVW) r.settings.push_back({P_COORDINATE_SPACE, 3});
    if (transform) r.settings.push_back({P_TRANSFORM, *transform});
    return r;
}

Recipe scale(float s) {
    return make(NT_TRANSFORM_SCALE, {{P_SCALE, Float3{s, s, s}}});
}

Recipe turn(float x, float y, float z) {
    return make(NT_TRANSFORM_ROTATION, {{P_ROTATION, Float3{x, y, z}}});
}

}  // namespace

std::vector<Strip> projectionStrips() {
    std::vector<Strip> s;
    const Recipe half = scale(0.5f), upright = turn(0, 0, 30);
    const struct {
        NodeType type;
        const char* name;
    } kinds[] = {{NT_PROJ_UVW, "projection-uv"},
                 {NT_PROJ_BOX, "projection-box"},
                 {NT_PROJ_FLAT, "projection-flat"},
                 {NT_PROJ_CYLINDRICAL, "projection-cylindrical"},
                 {NT_PROJ_SPHERICAL, "projection-spherical"},
                 {NT_PROJ_PERSPECTIVE, "projection-perspective"}};
    for (const auto& kind : kinds) {
        s.push_back({kind.name,
                     kind.type,
                     "As it is; transformed by a scale of 0.5; by a rotation of 30 degrees about z",
                     Stage::Boxes,
                     {{"as it is", projection(kind.type)},
                      {"scale 0.5", projection(kind.type, &half)},
                      {"turned 30", projection(kind.type, &upright)}}});
    }
    std::vector<Column> spaces;
    const char* const names[] = {"1 world", "2 camera", "3 object", "4 normal"};
    for (int i = 1; i <= 4; ++i)
        spaces.push_back({names[i - 1], make(NT_PROJ_BOX, {{P_COORDINATE_SPACE, i},
                                                           {P_TRANSFORM, scale(i == 3 || i == 4 ? 1 : 0.08f)}})});
    s.push_back({"projection-space", NT_PROJ_BOX, "Coordinate space", Stage::Boxes, spaces});

    const Recipe on = image(Chart::Colors, {{P_PROJECTION, make(NT_PROJ_TRIPLANAR, {})}});
    const auto triplanar = [&](float angle) {
        Recipe r = make(NT_TEX_TRIPLANAR, {{P_BLEND_ANGLE, angle}});
        const Float3 paints[] = {{0.8f, 0.15f, 0.1f}, {0.45f, 0.1f, 0.1f}, {0.15f, 0.6f, 0.15f},
                                 {0.1f, 0.3f, 0.1f},  {0.15f, 0.3f, 0.8f}, {0.1f, 0.12f, 0.4f}};
        const PinId sides[] = {P_POSITIVE_X, P_NEGATIVE_X, P_POSITIVE_Y, P_NEGATIVE_Y, P_POSITIVE_Z, P_NEGATIVE_Z};
        for (int i = 0; i < 6; ++i)
            r.settings.push_back(
                {sides[i], make(NT_TEX_MIX, {{P_AMOUNT, 0.2f}, {P_TEXTURE1, rgb(paints[i])}, {P_TEXTURE2, on}})});
        r.settings.push_back({P_TRANSFORM, scale(0.06f)});
        return r;
    };
    s.push_back({"triplanar-blend",
                 NT_TEX_TRIPLANAR,
                 "Blend angle, degrees; a colour for each side",
                 Stage::Nook,
                 {{"0", triplanar(0)}, {"5", triplanar(5)}, {"20", triplanar(20)}, {"60", triplanar(60)}}});

    const auto moved = [](const char* label, const Recipe& transform) {
        return Column{label, image(Chart::Colors, {{P_TRANSFORM, transform}})};
    };
    s.push_back({"transform-2d",
                 NT_TRANSFORM_2D,
                 "Scale, rotation, translation",
                 Stage::Panel,
                 {moved("scale 0.5", make(NT_TRANSFORM_2D, {{P_SCALE, Float2{0.5f, 0.5f}}})),
                  moved("1 by 0.3", make(NT_TRANSFORM_2D, {{P_SCALE, Float2{1, 0.3f}}})),
                  moved("turned 30", make(NT_TRANSFORM_2D, {{P_ROTATION, 30.0f}})),
                  moved("moved 0.25 0", make(NT_TRANSFORM_2D, {{P_TRANSLATION, Float2{0.25f, 0}}}))}});
    s.push_back({"transform-3d",
                 NT_TRANSFORM_3D,
                 "Scale, rotation, translation",
                 Stage::Panel,
                 {moved("scale 0.5", make(NT_TRANSFORM_3D, {{P_SCALE, Float3{0.5f, 0.5f, 0.5f}}})),
                  moved("turned 30", make(NT_TRANSFORM_3D, {{P_ROTATION, Float3{0, 0, 30}}})),
                  moved("moved 0 0.25", make(NT_TRANSFORM_3D, {{P_TRANSLATION, Float3{0, 0.25f, 0}}}))}});
    s.push_back({"transform-scale",
                 NT_TRANSFORM_SCALE,
                 "Scale",
                 Stage::Panel,
                 {moved("0.25", scale(0.25f)), moved("0.5", scale(0.5f)), moved("2", scale(2))}});
    s.push_back({"transform-rotation",
                 NT_TRANSFORM_ROTATION,
                 "Rotation about z, degrees",
                 Stage::Panel,
                 {moved("-45", turn(0, 0, -45)), moved("15", turn(0, 0, 15)), moved("90", turn(0, 0, 90))}});
    const auto value = [](Float3 rotation, Float3 scale, Float3 translation) {
        return Recipe{NT_TRANSFORM_VALUE,
                      {},
                      {},
                      Chart::None,
                      {{A_ROTATION, rotation}, {A_SCALE, scale}, {A_TRANSLATION, translation}}};
    };
    s.push_back(
        {"transform-value",
         NT_TRANSFORM_VALUE,
         "Scale, rotation, translation",
         Stage::Panel,
         {moved("scale 0.5", value({}, {0.5f, 0.5f, 0.5f}, {})), moved("turned 30", value({0, 0, 30}, {1, 1, 1}, {})),
          moved("moved 0.25", value({}, {1, 1, 1}, {0.25f, 0, 0}))}});
    return s;
}

}  // namespace pictures
