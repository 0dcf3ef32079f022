// Textures.
#include "tools/node_pictures/strips.h"

namespace pictures {

using namespace Lumora;

namespace {

Recipe scaled(float x, float y, float turn = 0) {
    return make(NT_TRANSFORM_2D, {{P_SCALE, Float2{x, y}}, {P_ROTATION, turn}});
}

/// Solid textures are cut out of space: the same on the square and the ball. Told in metres.
Recipe solid(float size = 0.05f) {
    return make(NT_PROJ_FLAT, {{P_COORDINATE_SPACE, 3},
                               {P_TRANSFORM, make(NT_TRANSFORM_SCALE, {{P_SCALE, Float3{size, size, size}}})}});
}

Recipe solidNode(NodeType type, std::vector<Setting> settings = {}, float size = 0.05f) {
    Recipe r = make(type, std::move(settings));
    r.settings.push_back({P_PROJECTION, solid(size)});
    return r;
}

const Recipe& chart() {
    static const Recipe r = image(Chart::Colors);
    return r;
}

void addImages(std::vector<Strip>& s) {
    const Recipe small = image(Chart::Colors, {{P_TRANSFORM, scaled(0.45f, 0.45f)}});
    std::vector<Column> borders;
    const char* const names[] = {"0 repeat", "1 black", "2 white", "3 edge", "4 mirrored"};
    for (int i = 0; i < 5; ++i) borders.push_back({names[i], with(small, {{P_BORDER_MODE, i}})});
    s.push_back({"image-border", NT_TEX_IMAGE, "Border mode", Stage::Panel, borders});
    s.push_back({"image-pins",
                 NT_TEX_IMAGE,
                 "Power, gamma, invert",
                 Stage::Panel,
                 {{"as it is", chart()},
                  {"power 0.3", with(chart(), {{P_POWER, 0.3f}})},
                  {"gamma 1", with(chart(), {{P_GAMMA, 1.0f}})},
                  {"gamma 4", with(chart(), {{P_GAMMA, 4.0f}})},
                  {"invert", with(chart(), {{P_INVERT, true}})}}});
    Recipe alpha = image(Chart::Letters), grey = image(Chart::Colors);
    alpha.type = NT_TEX_ALPHAIMAGE;
    grey.type = NT_TEX_FLOATIMAGE;
    s.push_back({"image-alpha",
                 NT_TEX_ALPHAIMAGE,
                 "A mask, and inverted",
                 Stage::Panel,
                 {{"as it is", alpha}, {"invert", with(alpha, {{P_INVERT, true}})}}});
    s.push_back({"image-grey",
                 NT_TEX_FLOATIMAGE,
                 "A picture, and inverted",
                 Stage::Panel,
                 {{"as it is", grey}, {"invert", with(grey, {{P_INVERT, true}})}}});
}

void addPlain(std::vector<Strip>& s) {
    s.push_back({"grey",
                 NT_TEX_FLOAT,
                 "Values",
                 Stage::Panel,
                 {{"0", grey(0)}, {"0.1", grey(0.1f)}, {"0.25", grey(0.25f)}, {"0.5", grey(0.5f)}, {"1", grey(1)}}});
    s.push_back({"rgb",
                 NT_TEX_RGB,
                 "Values",
                 Stage::Panel,
                 {{"0.8 0.1 0.05", rgb({0.8f, 0.1f, 0.05f})},
                  {"0.8 0.5 0.05", rgb({0.8f, 0.5f, 0.05f})},
                  {"0.1 0.6 0.1", rgb({0.1f, 0.6f, 0.1f})},
                  {"0.05 0.2 0.8", rgb({0.05f, 0.2f, 0.8f})}}});
    const Recipe peak = make(NT_TEX_GAUSSIAN, {{P_WIDTH, 0.05f}, {P_POWER, 1.0f}});
    s.push_back({"gaussian-wavelength", NT_TEX_GAUSSIAN, "Wavelength, at a width of 0.05", Stage::Panel,
                 over(peak, P_WAVELENGTH, {0.1f, 0.3f, 0.45f, 0.6f, 0.75f, 0.9f})});
    s.push_back({"gaussian-width", NT_TEX_GAUSSIAN, "Width, at a wavelength of 0.45", Stage::Panel,
                 over(with(peak, {{P_WAVELENGTH, 0.45f}}), P_WIDTH, {0.02f, 0.05f, 0.1f, 0.2f, 1})});
}

void addOperations(std::vector<Strip>& s) {
    const Recipe red = rgb({0.8f, 0.12f, 0.06f}), noise = solidNode(NT_TEX_NOISE);
    const auto pair = [&](NodeType type) { return make(type, {{P_TEXTURE1, red}, {P_TEXTURE2, chart()}}); };
    const std::vector<float> amounts{0, 0.25f, 0.5f, 0.75f, 1};
    s.push_back({"mix-texture-amount", NT_TEX_MIX, "Amount: from a red to a picture", Stage::Panel,
                 over(pair(NT_TEX_MIX), P_AMOUNT, amounts)});
    s.push_back({"cosine-mix-amount", NT_TEX_COSINEMIX, "Amount", Stage::Panel,
                 over(pair(NT_TEX_COSINEMIX), P_AMOUNT, amounts)});
    s.push_back({"multiply",
                 NT_TEX_MULTIPLY,
                 "A picture times red, and times noise",
                 Stage::Panel,
                 {{"red", pair(NT_TEX_MULTIPLY)}, {"noise", with(pair(NT_TEX_MULTIPLY), {{P_TEXTURE1, noise}})}}});
    s.push_back({"add",
                 NT_TEX_ADD,
                 "A picture plus red, and plus noise",
                 Stage::Panel,
                 {{"red", pair(NT_TEX_ADD)}, {"noise", with(pair(NT_TEX_ADD), {{P_TEXTURE1, noise}})}}});
    s.push_back({"subtract",
                 NT_TEX_SUBTRACT,
                 "A picture less a red, and less noise",
                 Stage::Panel,
                 {{"red", make(NT_TEX_SUBTRACT, {{P_TEXTURE1, chart()}, {P_TEXTURE2, red}})},
                  {"noise", make(NT_TEX_SUBTRACT, {{P_TEXTURE1, chart()}, {P_TEXTURE2, noise}})}}});
    s.push_back({"compare", NT_TEX_COMPARE, "A: noise; B: a number; a picture where A is smaller, else red",
                 Stage::Panel,
                 over(make(NT_TEX_COMPARE, {{P_TEXTURE1, noise}, {P_TEXTURE3, chart()}, {P_TEXTURE4, red}}), P_TEXTURE2,
                      {0.4f, 0.5f, 0.6f})});
    s.push_back({"clamp",
                 NT_TEX_CLAMP,
                 "Noise within bounds",
                 Stage::Panel,
                 {{"0 to 1", make(NT_TEX_CLAMP, {{P_INPUT, noise}})},
                  {"0.5 to 1", make(NT_TEX_CLAMP, {{P_INPUT, noise}, {P_START, 0.5f}})},
                  {"0 to 0.5", make(NT_TEX_CLAMP, {{P_INPUT, noise}, {P_END, 0.5f}})}}});
    s.push_back({"invert",
                 NT_TEX_INVERT,
                 "A picture and noise, inverted",
                 Stage::Panel,
                 {{"picture", make(NT_TEX_INVERT, {{P_TEXTURE, chart()}})},
                  {"noise", make(NT_TEX_INVERT, {{P_TEXTURE, noise}})}}});
    const Recipe corrected = make(NT_TEX_COLORCORRECTION, {{P_TEXTURE, chart()}});
    s.push_back({"color-hue", NT_TEX_COLORCORRECTION, "Hue", Stage::Panel,
                 over(corrected, P_HUE, {-0.67f, -0.33f, 0, 0.33f, 0.67f})});
    s.push_back({"color-pins",
                 NT_TEX_COLORCORRECTION,
                 "Saturation, brightness, gamma, contrast",
                 Stage::Panel,
                 {{"sat. 0", with(corrected, {{P_SATURATION, 0.0f}})},
                  {"sat. 2", with(corrected, {{P_SATURATION, 2.0f}})},
                  {"bright. 0.4", with(corrected, {{P_BRIGHTNESS, 0.4f}})},
                  {"gamma 3", with(corrected, {{P_GAMMA, 3.0f}})},
                  {"contrast 8", with(corrected, {{P_CONTRAST, 8.0f}})},
                  {"invert", with(corrected, {{P_INVERT, true}})}}});
}

void addPatterns(std::vector<Strip>& s) {
    const auto wave = [&](NodeType type, const char* file) {
        const Recipe r = make(type, {{P_TRANSFORM, scaled(0.25f, 1)}});
        std::vector<Column> columns = over(r, P_OFFSET, {0, 0.25f, 0.5f});
        columns.push_back({"turned", make(type, {{P_TRANSFORM, scaled(0.25f, 0.25f, 30)}})});
        s.push_back({file, type, "Offset, and turned by 30 degrees", Stage::Panel, columns});
    };
    wave(NT_TEX_SAWWAVE, "saw");
    wave(NT_TEX_TRIANGLEWAVE, "triangle");
    wave(NT_TEX_SINEWAVE, "sine");
    const auto checks = [&](const char* label, Recipe transform) {
        return Column{label, make(NT_TEX_CHECKS, {{P_TRANSFORM, transform}})};
    };
    s.push_back({"checks",
                 NT_TEX_CHECKS,
                 "Size and rotation",
                 Stage::Panel,
                 {{"as it is", make(NT_TEX_CHECKS, {})},
                  checks("scale 0.25", scaled(0.25f, 0.25f)),
                  checks("0.5 by 0.1", scaled(0.5f, 0.1f)),
                  checks("turned", scaled(0.25f, 0.25f, 30)),
                  {"in space", solidNode(NT_TEX_CHECKS)}}});

    const Recipe noise = solidNode(NT_TEX_NOISE);
    std::vector<Column> kinds = overInt(with(noise, {{P_OCTAVES, 2}}), P_NOISE_TYPE, {0, 1, 2, 3});
    const char* const names[] = {"0 gradient", "1 turbulence", "2 spots", "3 chips"};
    for (std::size_t i = 0; i < kinds.size(); ++i) kinds[i].label = names[i];
    s.push_back({"noise-type", NT_TEX_NOISE, "Noise type, with two octaves", Stage::Panel, kinds});
    s.push_back({"noise-octaves", NT_TEX_NOISE, "Octaves", Stage::Panel, overInt(noise, P_OCTAVES, {1, 2, 3, 5, 10})});
    s.push_back({"noise-omega", NT_TEX_NOISE, "Omega", Stage::Panel, over(noise, P_OMEGA, {0, 0.25f, 0.5f, 0.75f, 1})});
    s.push_back(
        {"noise-contrast", NT_TEX_NOISE, "Contrast", Stage::Panel, over(noise, P_CONTRAST, {0.001f, 3, 10, 100})});
    const Recipe smoke = solidNode(NT_TEX_TURBULENCE);
    s.push_back(
        {"turbulence-octaves", NT_TEX_TURBULENCE, "Octaves", Stage::Panel, overInt(smoke, P_OCTAVES, {1, 2, 4, 8})});
    s.push_back({"turbulence-pins",
                 NT_TEX_TURBULENCE,
                 "Use turbulence off, omega, offset, gamma, invert",
                 Stage::Panel,
                 {{"plain", with(smoke, {{P_TURBULENCE, false}})},
                  {"omega 0.8", with(smoke, {{P_OMEGA, 0.8f}})},
                  {"offset 0.3", with(smoke, {{P_OFFSET, 0.3f}})},
                  {"gamma 3", with(smoke, {{P_GAMMA, 3.0f}})},
                  {"invert", with(smoke, {{P_INVERT, true}})}}});
    s.push_back({"marble-variance", NT_TEX_MARBLE, "Variance", Stage::Panel,
                 over(solidNode(NT_TEX_MARBLE), P_VARIANCE, {0, 0.2f, 0.5f, 1, 3})});
    s.push_back({"ridged-lacunarity", NT_TEX_RIDGEDFRACTAL, "Lacunarity", Stage::Panel,
                 over(solidNode(NT_TEX_RIDGEDFRACTAL), P_LACUNARITY, {1.5f, 2, 3, 4})});
    s.push_back({"ridged-offset", NT_TEX_RIDGEDFRACTAL, "Offset", Stage::Panel,
                 over(solidNode(NT_TEX_RIDGEDFRACTAL), P_OFFSET, {0, 0.1f, 0.25f, 0.5f})});
}

void addRamps(std::vector<Strip>& s) {
    const auto ramp = [](const char* label, int interpolation, std::vector<Setting> more = {}) {
        Recipe r = with(make(NT_TEX_GRADIENT, {{P_START, Float3{0.05f, 0.06f, 0.3f}},
                                               {P_END, Float3{1, 0.95f, 0.7f}},
                                               {P_INTERPOLATION, interpolation}}),
                        more);
        r.knots = {{0.35f, {0.6f, 0.05f, 0.25f}}, {0.6f, {0.95f, 0.45f, 0.1f}}};
        return Column{label, r};
    };
    s.push_back({"gradient-interpolation",
                 NT_TEX_GRADIENT,
                 "Interpolation",
                 Stage::Panel,
                 {ramp("0 steps", 0), ramp("1 straight", 1), ramp("2 eased", 2), ramp("3 curve", 3)}});
    s.push_back({"gradient-input",
                 NT_TEX_GRADIENT,
                 "Input: noise, marble, falloff",
                 Stage::Panel,
                 {ramp("noise", 3, {{P_INPUT, solidNode(NT_TEX_NOISE, {{P_CONTRAST, 6.0f}})}}),
                  ramp("marble", 3, {{P_INPUT, solidNode(NT_TEX_MARBLE, {{P_VARIANCE, 0.5f}})}}),
                  ramp("falloff", 3, {{P_INPUT, make(NT_TEX_FALLOFF, {{P_INDEX_FALLOFF, 1.0f}})}})}});
    const Recipe baked = make(
        NT_TEX_BAKING,
        {{P_TEXTURE, make(NT_TEX_CHECKS, {{P_TRANSFORM, scaled(0.25f, 0.25f, 20)}})}, {P_RESOLUTION, Int2{16, 16}}});
    s.push_back({"baking",
                 NT_TEX_BAKING,
                 "Resolution of a baked board of checks",
                 Stage::Panel,
                 {{"off", with(baked, {{P_ENABLED, false}})},
                  {"16 x 16", baked},
                  {"64 x 64", with(baked, {{P_RESOLUTION, Int2{64, 64}}})},
                  {"512 x 512", with(baked, {{P_RESOLUTION, Int2{512, 512}}})}}});
    s.push_back({"w-coordinate",
                 NT_TEX_W,
                 "Of a mesh whose third coordinate rises upwards, and on a gradient",
                 Stage::Panel,
                 {{"as it is", make(NT_TEX_W, {})}, ramp("gradient", 1, {{P_INPUT, make(NT_TEX_W, {})}})}});
    s.push_back({"uvw-transform",
                 NT_TEX_UVWTRANSFORM,
                 "Scale, rotation and translation of all below",
                 Stage::Panel,
                 {{"none", make(NT_TEX_UVWTRANSFORM, {{P_TEXTURE, chart()}})},
                  {"scale 0.5", make(NT_TEX_UVWTRANSFORM, {{P_TEXTURE, chart()}, {P_TRANSFORM, scaled(0.5f, 0.5f)}})},
                  {"turned 30", make(NT_TEX_UVWTRANSFORM, {{P_TEXTURE, chart()}, {P_TRANSFORM, scaled(1, 1, 30)}})},
                  {"moved", make(NT_TEX_UVWTRANSFORM,
                                 {{P_TEXTURE, chart()},
                                  {P_TRANSFORM, make(NT_TRANSFORM_2D, {{P_TRANSLATION, Float2{0.25f, 0}}})}})}}});
}

void addSurfaceTextures(std::vector<Strip>& s) {
    s.push_back({"falloff-skew", NT_TEX_FALLOFF, "Falloff skew factor", Stage::Nook,
                 over(make(NT_TEX_FALLOFF, {}), P_INDEX_FALLOFF, {0.5f, 1, 2, 6, 15})});
    const Recipe falloff = make(NT_TEX_FALLOFF, {{P_INDEX_FALLOFF, 1.0f}});
    s.push_back({"falloff-mode", NT_TEX_FALLOFF, "Mode: to the viewer, to a direction up to 90 and up to 180 degrees",
                 Stage::Nook, overInt(falloff, P_MODE, {0, 1, 2})});
    const Recipe dirt = make(NT_TEX_DIRT, {{P_RADIUS, 0.06f}});
    s.push_back(
        {"dirt-radius", NT_TEX_DIRT, "Radius, metres", Stage::Nook, over(dirt, P_RADIUS, {0.01f, 0.03f, 0.06f, 0.2f})});
    s.push_back({"dirt-pins",
                 NT_TEX_DIRT,
                 "Strength, details, tolerance, inverted normal",
                 Stage::Nook,
                 {{"as it is", dirt},
                  {"strength 3", with(dirt, {{P_STRENGTH, 3.0f}})},
                  {"details 4", with(dirt, {{P_DETAILS, 4.0f}})},
                  {"tolerance 0.3", with(dirt, {{P_TOLERANCE, 0.3f}})},
                  {"inverted", with(dirt, {{P_INVERT_NORMAL, true}})}}});
    const auto two = [](const Recipe& amount) {
        return make(
            NT_TEX_MIX,
            {{P_AMOUNT, amount}, {P_TEXTURE1, rgb({0.08f, 0.2f, 0.5f})}, {P_TEXTURE2, rgb({0.9f, 0.5f, 0.08f})}});
    };
    s.push_back({"side",
                 NT_TEX_SIDE,
                 "Orange on the front, blue on the back; inverted",
                 Stage::Sheet,
                 {{"as it is", two(make(NT_TEX_SIDE, {}))}, {"invert", two(make(NT_TEX_SIDE, {{P_INVERT, true}}))}}});
    s.push_back({"random-color", NT_TEX_RANDOMCOLOR, "Random seed", Stage::Crowd,
                 overInt(make(NT_TEX_RANDOMCOLOR, {}), P_RANDOM_SEED, {0, 1, 2})});
    Recipe palette = image(Chart::Palette);
    palette.type = NT_TEX_INSTANCECOLOR;
    s.push_back({"instance-color",
                 NT_TEX_INSTANCECOLOR,
                 "A palette of eight by eight pixels, and inverted",
                 Stage::Crowd,
                 {{"as it is", palette}, {"invert", with(palette, {{P_INVERT, true}})}}});
    s.push_back({"instance-range", NT_TEX_INSTANCERANGE, "Maximum ID, of 49 instances", Stage::Crowd,
                 overInt(make(NT_TEX_INSTANCERANGE, {}), P_MAX_INSTANCE_ID, {12, 48, 96})});
}

}  // namespace

std::vector<Strip> textureStrips() {
    std::vector<Strip> strips;
    addImages(strips);
    addPlain(strips);
    addOperations(strips);
    addPatterns(strips);
    addRamps(strips);
    addSurfaceTextures(strips);
    return strips;
}

}  // namespace pictures
