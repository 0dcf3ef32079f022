// Materials: what is particular to each.
#include "tools/node_pictures/strips.h"

namespace pictures {

using namespace Lumora;

namespace {

const Float3 kRed{0.62f, 0.06f, 0.04f}, kBlue{0.06f, 0.16f, 0.42f}, kDark{0.02f, 0.02f, 0.022f};
const Float3 kGold{1.0f, 0.71f, 0.29f}, kCopper{0.93f, 0.62f, 0.52f}, kSilver{0.95f, 0.94f, 0.92f};

const std::vector<float> kFive{0, 0.25f, 0.5f, 0.75f, 1};

/// The six models by the numbers of the pin.
std::vector<Column> models(const Recipe& recipe) {
    const char* const names[] = {"0 GGX, comp.", "1 Beckmann", "2 GGX", "3 Ward", "4 Beckm., comp.", "5 Blinn"};
    std::vector<Column> columns;
    for (int i = 0; i < 6; ++i) columns.push_back({names[i], with(recipe, {{P_BRDF, i}})});
    return columns;
}

std::vector<Column> colors(const Recipe& recipe, PinId pin, const std::vector<std::pair<const char*, Float3>>& list) {
    std::vector<Column> columns;
    for (const auto& [label, color] : list) columns.push_back({label, with(recipe, {{pin, color}})});
    return columns;
}

void addDiffuse(std::vector<Strip>& s) {
    const Recipe base = make(NT_MAT_DIFFUSE, {{P_DIFFUSE, Float3{0.7f, 0.66f, 0.6f}}});
    s.push_back({"diffuse-color", NT_MAT_DIFFUSE, "Diffuse", Stage::Ball,
                 colors(base, P_DIFFUSE,
                        {{"black", {0.02f, 0.02f, 0.02f}},
                         {"clay", {0.38f, 0.14f, 0.07f}},
                         {"leaf", {0.1f, 0.28f, 0.05f}},
                         {"sky", {0.13f, 0.3f, 0.6f}},
                         {"chalk", {0.88f, 0.87f, 0.84f}}})});
    s.push_back({"diffuse-roughness", NT_MAT_DIFFUSE, "Roughness: from matt paint to dry clay", Stage::Ball,
                 over(base, P_ROUGHNESS, kFive)});
    const Recipe leaf = make(NT_MAT_DIFFUSE, {{P_DIFFUSE, Float3{0.3f, 0.32f, 0.28f}}});
    s.push_back({"diffuse-transmission", NT_MAT_DIFFUSE, "Transmission, with a lamp behind the sheet", Stage::Backlit,
                 colors(leaf, P_TRANSMISSION,
                        {{"none", {}},
                         {"grey 0.25", {0.25f, 0.25f, 0.25f}},
                         {"grey 0.5", {0.5f, 0.5f, 0.5f}},
                         {"green", {0.2f, 0.55f, 0.06f}},
                         {"red", {0.65f, 0.12f, 0.05f}}})});
}

void addGlossy(std::vector<Strip>& s) {
    const Recipe red = make(NT_MAT_GLOSSY, {{P_DIFFUSE, kRed}, {P_INDEX, 1.5f}});
    const Recipe black = make(NT_MAT_GLOSSY, {{P_DIFFUSE, kDark}, {P_INDEX, 1.8f}, {P_ROUGHNESS, 0.3f}});
    const Recipe cloth = make(NT_MAT_GLOSSY, {{P_DIFFUSE, kBlue}, {P_SPECULAR, 0.0f}});
    const Recipe rough = with(red, {{P_ROUGHNESS, 0.5f}});
    s.push_back({"glossy-roughness", NT_MAT_GLOSSY, "Roughness", Stage::Ball,
                 over(red, P_ROUGHNESS, {0, 0.1f, 0.25f, 0.5f, 0.75f, 1})});
    s.push_back({"glossy-index", NT_MAT_GLOSSY, "Index", Stage::Ball, over(red, P_INDEX, {1, 1.3f, 1.5f, 2, 3, 8})});
    s.push_back({"glossy-specular", NT_MAT_GLOSSY, "Specular", Stage::Ball,
                 over(with(red, {{P_ROUGHNESS, 0.1f}}), P_SPECULAR, kFive)});
    s.push_back({"glossy-brdf", NT_MAT_GLOSSY, "BRDF model, at a roughness of 0.3", Stage::Ball, models(black)});
    s.push_back({"glossy-anisotropy", NT_MAT_GLOSSY, "Anisotropy", Stage::Ball,
                 over(black, P_ANISOTROPY, {-1, -0.5f, 0, 0.5f, 1})});
    s.push_back({"glossy-rotation", NT_MAT_GLOSSY, "Rotation, with an anisotropy of 0.9", Stage::Ball,
                 over(with(black, {{P_ANISOTROPY, 0.9f}}), P_ROTATION, {0, 0.125f, 0.25f, 0.375f, 0.5f})});
    s.push_back({"glossy-sheen",
                 NT_MAT_GLOSSY,
                 "Sheen: white, and in colour",
                 Stage::Ball,
                 {{"0", cloth},
                  {"0.5", with(cloth, {{P_SHEEN, Float3{0.5f, 0.5f, 0.5f}}})},
                  {"1", with(cloth, {{P_SHEEN, Float3{1, 1, 1}}})},
                  {"gold", with(cloth, {{P_SHEEN, kGold}})},
                  {"rose", with(cloth, {{P_SHEEN, Float3{0.9f, 0.25f, 0.4f}}})}}});
    s.push_back({"glossy-sheen-roughness", NT_MAT_GLOSSY, "Sheen roughness, with a white sheen", Stage::Ball,
                 over(with(cloth, {{P_SHEEN, Float3{1, 1, 1}}}), P_SHEEN_ROUGHNESS, {0.1f, 0.2f, 0.4f, 0.7f, 1})});
    s.push_back({"glossy-coating",
                 NT_MAT_GLOSSY,
                 "Coating over a rough surface: white, and in colour",
                 Stage::Ball,
                 {{"0", rough},
                  {"0.5", with(rough, {{P_COATING, Float3{0.5f, 0.5f, 0.5f}}})},
                  {"1", with(rough, {{P_COATING, Float3{1, 1, 1}}})},
                  {"amber", with(rough, {{P_COATING, Float3{1, 0.6f, 0.2f}}})},
                  {"green", with(rough, {{P_COATING, Float3{0.3f, 1, 0.4f}}})}}});
    const Recipe coated = with(rough, {{P_COATING, Float3{1, 1, 1}}});
    s.push_back({"glossy-coating-roughness", NT_MAT_GLOSSY, "Coating roughness", Stage::Ball,
                 over(coated, P_COATING_ROUGHNESS, {0, 0.1f, 0.25f, 0.5f, 1})});
    s.push_back({"glossy-coating-index", NT_MAT_GLOSSY, "Coating index of refraction", Stage::Ball,
                 over(coated, P_COATING_IOR, {1, 1.25f, 1.5f, 2, 3})});
    const Recipe filmed = make(NT_MAT_GLOSSY, {{P_DIFFUSE, kDark}, {P_INDEX, 2.2f}, {P_FILM_INDEX, 1.45f}});
    s.push_back({"glossy-film-width", NT_MAT_GLOSSY, "Film width, micrometres", Stage::Ball,
                 over(filmed, P_FILM_WIDTH, {0, 0.1f, 0.25f, 0.4f, 0.6f, 1})});
    s.push_back({"glossy-film-index", NT_MAT_GLOSSY, "Film index, at a width of 0.4 micrometres", Stage::Ball,
                 over(with(filmed, {{P_FILM_WIDTH, 0.4f}}), P_FILM_INDEX, {1, 1.2f, 1.45f, 1.8f, 2.5f})});
}

void addSpecular(std::vector<Strip>& s) {
    const Recipe glass = make(NT_MAT_SPECULAR, {{P_INDEX, 1.5f}});
    s.push_back({"specular-index", NT_MAT_SPECULAR, "Index: air, water, glass, diamond", Stage::Ball,
                 over(glass, P_INDEX, {1, 1.1f, 1.33f, 1.5f, 2.42f})});
    s.push_back({"specular-transmission", NT_MAT_SPECULAR, "Transmission", Stage::Ball,
                 colors(glass, P_TRANSMISSION,
                        {{"0", {}},
                         {"0.5", {0.5f, 0.5f, 0.5f}},
                         {"1", {1, 1, 1}},
                         {"green", {0.55f, 0.9f, 0.62f}},
                         {"amber", {0.97f, 0.72f, 0.35f}}})});
    s.push_back({"specular-reflection", NT_MAT_SPECULAR, "Reflection", Stage::Ball, over(glass, P_REFLECTION, kFive)});
    s.push_back({"specular-roughness", NT_MAT_SPECULAR, "Roughness", Stage::Ball,
                 over(glass, P_ROUGHNESS, {0, 0.05f, 0.15f, 0.3f, 0.6f, 1})});
    s.push_back({"specular-brdf", NT_MAT_SPECULAR, "BRDF model, at a roughness of 0.3", Stage::Ball,
                 models(with(glass, {{P_ROUGHNESS, 0.3f}}))});
    s.push_back({"specular-dispersion", NT_MAT_SPECULAR, "Dispersion coefficient, in a cut stone of index 2",
                 Stage::Gem,
                 over(make(NT_MAT_SPECULAR, {{P_INDEX, 2.0f}}), P_DISPERSION, {0, 0.005f, 0.015f, 0.04f, 0.1f})});
    s.push_back({"specular-fake-shadows",
                 NT_MAT_SPECULAR,
                 "Fake shadows, clear and tinted",
                 Stage::Ball,
                 {{"off", glass},
                  {"on", with(glass, {{P_FAKE_SHADOWS, true}})},
                  {"off", with(glass, {{P_TRANSMISSION, Float3{0.6f, 0.8f, 0.97f}}})},
                  {"on", with(glass, {{P_TRANSMISSION, Float3{0.6f, 0.8f, 0.97f}}, {P_FAKE_SHADOWS, true}})}}});
    s.push_back({"specular-film-width", NT_MAT_SPECULAR, "Film width of a soap bubble, micrometres", Stage::Ball,
                 over(make(NT_MAT_SPECULAR, {{P_INDEX, 1.0f}, {P_FILM_INDEX, 1.33f}}), P_FILM_WIDTH,
                      {0.1f, 0.2f, 0.3f, 0.45f, 0.6f, 0.8f})});
}

void addMetallic(std::vector<Strip>& s) {
    const Recipe silver = make(NT_MAT_METALLIC, {{P_SPECULAR, kSilver}});
    const Recipe gold = make(NT_MAT_METALLIC, {{P_SPECULAR, kGold}, {P_ROUGHNESS, 0.3f}});
    const std::vector<float> roughness{0, 0.1f, 0.25f, 0.5f, 0.75f, 1};
    s.push_back({"metallic-roughness", NT_MAT_METALLIC, "Roughness, with the light between facets (model 0)",
                 Stage::Ball, over(silver, P_ROUGHNESS, roughness)});
    s.push_back({"metallic-roughness-ggx", NT_MAT_METALLIC, "Roughness, without it (model 2)", Stage::Ball,
                 over(with(silver, {{P_BRDF, 2}}), P_ROUGHNESS, roughness)});
    s.push_back({"metallic-color", NT_MAT_METALLIC, "Specular, in index mode 0", Stage::Ball,
                 colors(with(gold, {{P_ROUGHNESS, 0.12f}}), P_SPECULAR,
                        {{"silver", kSilver},
                         {"gold", kGold},
                         {"copper", kCopper},
                         {"iron", {0.53f, 0.51f, 0.49f}},
                         {"blue", {0.1f, 0.25f, 0.7f}}})});
    const auto metal = [](const char* name, Float2 red, Float2 green, Float2 blue) {
        return Column{
            name, make(NT_MAT_METALLIC,
                       {{P_IOR_MODE, 2}, {P_ROUGHNESS, 0.12f}, {P_INDEX, red}, {P_INDEX2, green}, {P_INDEX3, blue}})};
    };
    s.push_back({"metallic-index",
                 NT_MAT_METALLIC,
                 "Index of red, green and blue, in index mode 2",
                 Stage::Ball,
                 {metal("gold", {0.18f, 3.07f}, {0.42f, 2.35f}, {1.37f, 1.77f}),
                  metal("copper", {0.27f, 3.41f}, {0.82f, 2.6f}, {1.17f, 2.41f}),
                  metal("silver", {0.14f, 4.0f}, {0.13f, 3.2f}, {0.16f, 2.3f}),
                  metal("aluminium", {1.3f, 7.4f}, {0.92f, 6.4f}, {0.6f, 5.3f}),
                  metal("chromium", {3.17f, 3.33f}, {3.0f, 3.33f}, {2.2f, 3.1f})}});
    s.push_back({"metallic-brdf", NT_MAT_METALLIC, "BRDF model, at a roughness of 0.5", Stage::Ball,
                 models(with(gold, {{P_ROUGHNESS, 0.5f}}))});
    s.push_back({"metallic-anisotropy", NT_MAT_METALLIC, "Anisotropy", Stage::Ball,
                 over(with(silver, {{P_ROUGHNESS, 0.35f}}), P_ANISOTROPY, {-1, -0.5f, 0, 0.5f, 1})});
    s.push_back({"metallic-film-width", NT_MAT_METALLIC, "Film width, micrometres", Stage::Ball,
                 over(make(NT_MAT_METALLIC, {{P_SPECULAR, Float3{0.6f, 0.58f, 0.56f}}, {P_FILM_INDEX, 2.2f}}),
                      P_FILM_WIDTH, {0, 0.05f, 0.1f, 0.2f, 0.3f, 0.5f})});
}

void addToon(std::vector<Strip>& s) {
    const Recipe base = make(NT_MAT_TOON, {{P_DIFFUSE, Float3{0.85f, 0.35f, 0.12f}},
                                           {P_ROUGHNESS, 0.3f},
                                           {P_TOON_OUTLINE, Float3{0.03f, 0.02f, 0.05f}},
                                           {P_TOON_LIGHT_MODE, 2}});
    s.push_back({"toon-lighting", NT_MAT_TOON, "Toon lighting mode: all lights, a lamp at the camera, toon lights",
                 Stage::Toon, overInt(base, P_TOON_LIGHT_MODE, {0, 1, 2})});
    s.push_back(
        {"toon-outline", NT_MAT_TOON, "Outline thickness", Stage::Toon, over(base, P_WIDTH, {0, 0.15f, 0.3f, 0.6f})});
    s.push_back({"toon-highlight", NT_MAT_TOON, "Roughness, which is the size of the highlight", Stage::Toon,
                 over(base, P_ROUGHNESS, {0.05f, 0.2f, 0.4f, 0.7f})});
    const auto ramp = [&](const char* label, int interpolation) {
        Recipe r{NT_TEX_TOONRAMP,
                 {{P_START, Float3{0.08f, 0.08f, 0.2f}}, {P_INTERPOLATION, interpolation}},
                 {},
                 Chart::None,
                 {}};
        r.knots = {{0.15f, {0.35f, 0.3f, 0.45f}}, {0.4f, {0.7f, 0.7f, 0.75f}}, {0.75f, {1, 1, 1}}};
        return Column{label, with(base, {{P_TOON_DIFFUSE_RAMP, r}})};
    };
    s.push_back({"toon-ramp",
                 NT_TEX_TOONRAMP,
                 "Interpolation, on the diffuse ramp of a toon material",
                 Stage::Toon,
                 {ramp("0 steps", 0), ramp("1 straight", 1), ramp("2 eased", 2), ramp("3 curve", 3)}});
}

void addUniversal(std::vector<Strip>& s) {
    const Recipe base = make(NT_MAT_UNIVERSAL, {{P_ALBEDO, Float3{0.75f, 0.4f, 0.18f}}, {P_ROUGHNESS, 0.2f}});
    s.push_back(
        {"universal-metallic", NT_MAT_UNIVERSAL, "Metallic", Stage::Ball, over(base, P_UNIVERSAL_SPECULAR_MAP, kFive)});
    s.push_back({"universal-transmission", NT_MAT_UNIVERSAL, "Transmission", Stage::Ball,
                 colors(with(base, {{P_ROUGHNESS, 0.03f}}), P_TRANSMISSION,
                        {{"0", {}},
                         {"0.25", {0.25f, 0.25f, 0.25f}},
                         {"0.5", {0.5f, 0.5f, 0.5f}},
                         {"1", {1, 1, 1}},
                         {"teal", {0.2f, 0.8f, 0.75f}}})});
    s.push_back({"universal-index", NT_MAT_UNIVERSAL, "Dielectric index", Stage::Ball,
                 over(base, P_INDEX_UNIVERSAL, {1, 1.3f, 1.5f, 2, 3})});
    s.push_back({"universal-layers",
                 NT_MAT_UNIVERSAL,
                 "Base, sheen, coating, film, and all of them",
                 Stage::Ball,
                 {{"base", with(base, {{P_ROUGHNESS, 0.5f}})},
                  {"sheen", with(base, {{P_ROUGHNESS, 0.5f}, {P_SHEEN, Float3{0.9f, 0.9f, 0.9f}}})},
                  {"coating", with(base, {{P_ROUGHNESS, 0.5f}, {P_COATING, Float3{1, 1, 1}}})},
                  {"film", with(base, {{P_ROUGHNESS, 0.1f}, {P_FILM_WIDTH, 0.45f}, {P_FILM_INDEX, 2.0f}})},
                  {"all", with(base, {{P_ROUGHNESS, 0.3f},
                                      {P_SHEEN, Float3{0.9f, 0.9f, 0.9f}},
                                      {P_COATING, Float3{1, 1, 1}},
                                      {P_FILM_WIDTH, 0.45f},
                                      {P_FILM_INDEX, 2.0f}})}}});
}

void addMix(std::vector<Strip>& s) {
    const Recipe red = make(NT_MAT_GLOSSY, {{P_DIFFUSE, kRed}, {P_ROUGHNESS, 0.05f}, {P_INDEX, 1.5f}});
    const Recipe gold = make(NT_MAT_METALLIC, {{P_SPECULAR, kGold}, {P_ROUGHNESS, 0.25f}});
    const Recipe glass = make(NT_MAT_SPECULAR, {{P_INDEX, 1.5f}});
    const auto scaled = [](float x, float y) { return make(NT_TRANSFORM_2D, {{P_SCALE, Float2{x, y}}}); };
    const Recipe checks = make(NT_TEX_CHECKS, {{P_TRANSFORM, scaled(0.125f, 0.25f)}});
    const Recipe stripes = make(NT_TEX_CHECKS, {{P_TRANSFORM, scaled(50, 0.125f)}});
    const Recipe mix = make(NT_MAT_MIX, {{P_MATERIAL1, gold}, {P_MATERIAL2, red}});
    s.push_back({"mix-amount", NT_MAT_MIX, "Amount: from lacquer to gold", Stage::Ball, over(mix, P_AMOUNT, kFive)});
    const Recipe checked = with(mix, {{P_AMOUNT, checks}});
    const Recipe nested = make(NT_MAT_MIX, {{P_MATERIAL1, glass}, {P_MATERIAL2, checked}, {P_AMOUNT, stripes}});
    Recipe deep = nested;
    for (int i = 0; i < 6; ++i)
        deep = make(NT_MAT_MIX, {{P_MATERIAL1, i % 2 ? red : gold}, {P_MATERIAL2, deep}, {P_AMOUNT, 0.1f}});
    s.push_back({"mix-texture",
                 NT_MAT_MIX,
                 "Amount by a texture; a mix in a mix; eight of them",
                 Stage::Ball,
                 {{"checks", checked}, {"nested", nested}, {"eight deep", deep}}});
}

}  // namespace

std::vector<Strip> materialStrips() {
    std::vector<Strip> strips;
    addGlossy(strips);
    addDiffuse(strips);
    addSpecular(strips);
    addMix(strips);
    addMetallic(strips);
    addToon(strips);
    addUniversal(strips);
    return strips;
}

}  // namespace pictures
