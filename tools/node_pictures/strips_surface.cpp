// What all materials have in common: opacity, bumps, normals, edges, displacement; and the portal.
#include "tools/node_pictures/strips.h"

namespace pictures {

using namespace Lumora;

namespace {

Recipe tiles(float u, float v) {
    return make(NT_TRANSFORM_2D, {{P_SCALE, Float2{1 / u, 1 / v}}});
}

}  // namespace

std::vector<Strip> surfaceStrips() {
    std::vector<Strip> s;
    const Recipe plain =
        make(NT_MAT_GLOSSY, {{P_DIFFUSE, Float3{0.08f, 0.3f, 0.34f}}, {P_ROUGHNESS, 0.15f}, {P_INDEX, 1.5f}});
    const Recipe checks = make(NT_TEX_CHECKS, {{P_TRANSFORM, tiles(8, 4)}});
    s.push_back({"glossy-opacity",
                 NT_MAT_GLOSSY,
                 "Opacity, and by a texture",
                 Stage::Ball,
                 {{"1", plain},
                  {"0.75", with(plain, {{P_OPACITY, 0.75f}})},
                  {"0.5", with(plain, {{P_OPACITY, 0.5f}})},
                  {"0.25", with(plain, {{P_OPACITY, 0.25f}})},
                  {"checks", with(plain, {{P_OPACITY, checks}})}}});
    const auto bricks = [](float power) {
        return image(Chart::Bricks, {{P_GAMMA, 1.0f}, {P_POWER, power}, {P_TRANSFORM, tiles(4, 2)}});
    };
    s.push_back(
        {"glossy-bump",
         NT_MAT_GLOSSY,
         "Bump: bricks of 0, 0.1, 0.3 and 1 centimetre, and deep ones",
         Stage::Ball,
         {{"0", with(plain, {{P_BUMP, bricks(0)}})},
          {"0.1", with(plain, {{P_BUMP, bricks(0.1f)}})},
          {"0.3", with(plain, {{P_BUMP, bricks(0.3f)}})},
          {"1", with(plain, {{P_BUMP, bricks(1)}})},
          {"-0.3",
           with(plain, {{P_BUMP, make(NT_TEX_SUBTRACT, {{P_TEXTURE1, grey(0)}, {P_TEXTURE2, bricks(0.3f)}})}})}}});
    const Recipe dents = image(Chart::Dents, {{P_GAMMA, 1.0f}, {P_TRANSFORM, tiles(3, 1.5f)}});
    s.push_back({"glossy-normal",
                 NT_MAT_GLOSSY,
                 "Normal: a map of bosses; with a bump as well",
                 Stage::Ball,
                 {{"without", plain},
                  {"map", with(plain, {{P_NORMAL, dents}})},
                  {"and bump", with(plain, {{P_NORMAL, dents}, {P_BUMP, bricks(0.15f)}})}}});
    s.push_back({"glossy-smooth", NT_MAT_GLOSSY, "Smooth", Stage::LowBall, offOn(plain, P_SMOOTH)});
    s.push_back({"glossy-rounded-edges", NT_MAT_GLOSSY, "Rounded edges radius, metres; the box is 14 centimetres wide",
                 Stage::LowBall, over(plain, P_EDGES_ROUNDING, {0, 0.003f, 0.008f, 0.02f})});

    const Recipe heights = image(Chart::Bricks, {{P_GAMMA, 1.0f}, {P_TRANSFORM, tiles(3, 1.5f)}});
    const Recipe move = make(NT_DISPLACEMENT, {{P_TEXTURE, heights}, {P_AMOUNT, 0.01f}, {P_LEVEL, 5}});
    s.push_back({"displacement-height", NT_DISPLACEMENT, "Height, metres, on a ball of 19 centimetres", Stage::Relief,
                 over(move, P_AMOUNT, {-0.01f, 0, 0.005f, 0.01f, 0.02f})});
    s.push_back({"displacement-mid-level", NT_DISPLACEMENT, "Mid level", Stage::Relief,
                 over(with(move, {{P_AMOUNT, 0.02f}}), P_MID_LEVEL, {-0.5f, 0, 0.5f, 1})});
    s.push_back({"displacement-level", NT_DISPLACEMENT, "Level of detail, on 512 polygons", Stage::Relief,
                 overInt(move, P_LEVEL, {1, 2, 3, 4, 5})});
    s.push_back({"portal-enabled",
                 NT_MAT_PORTAL,
                 "A window in a closed room, the same number of samples: without a portal and with one",
                 Stage::Room,
                 {{"off", make(NT_MAT_PORTAL, {{P_ENABLED, false}})}, {"on", make(NT_MAT_PORTAL, {})}},
                 true});
    return s;
}

}  // namespace pictures
