#include "engine/film/response.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "engine/render/image_texture.h"

namespace Lumora::engine {

namespace {

constexpr float kMiddleGrey = 0.18f;

// Sorted by id.
constexpr ResponseCurve kCurves[] = {
    // Colour negatives, printed: long shoulders, gentle slopes; faster films are flatter and warmer.
    {99, 0.62f, 1.55f, 1.10f, 0.05f, 0.00f, -0.04f},
    {100, 0.61f, 1.52f, 1.06f, 0.07f, 0.00f, -0.05f},
    {101, 0.59f, 1.48f, 1.01f, 0.10f, 0.01f, -0.08f},
    {102, 0.65f, 1.66f, 1.14f, 0.03f, 0.00f, -0.03f},
    {103, 0.64f, 1.62f, 1.09f, 0.05f, 0.01f, -0.05f},
    {104, 0.62f, 1.57f, 1.03f, 0.08f, 0.02f, -0.07f},
    {105, 0.66f, 1.60f, 1.18f, 0.06f, 0.03f, -0.06f},
    {106, 0.65f, 1.56f, 1.13f, 0.08f, 0.03f, -0.08f},
    {107, 0.63f, 1.50f, 1.07f, 0.11f, 0.04f, -0.10f},
    {108, 0.60f, 1.64f, 1.00f, 0.01f, 0.00f, 0.01f},
    {109, 0.59f, 1.60f, 0.96f, 0.02f, 0.00f, 0.00f},
    {110, 0.72f, 1.70f, 1.36f, 0.12f, -0.02f, 0.06f},
    {111, 0.67f, 1.72f, 1.16f, 0.09f, 0.00f, 0.02f},
    {112, 0.66f, 1.68f, 1.12f, 0.11f, 0.00f, 0.01f},
    {113, 0.64f, 1.63f, 1.05f, 0.13f, 0.01f, -0.02f},
    {114, 0.61f, 1.54f, 0.97f, 0.16f, 0.02f, -0.06f},
    // Slides: steep, with short toes and quick highlights.
    {115, 0.74f, 1.45f, 1.38f, 0.02f, 0.00f, 0.05f},
    {116, 0.71f, 1.40f, 1.31f, 0.04f, 0.00f, 0.03f},
    {117, 0.78f, 1.52f, 1.46f, -0.01f, 0.01f, 0.03f},
    {118, 0.76f, 1.48f, 1.41f, 0.00f, 0.01f, 0.02f},
    {119, 0.73f, 1.42f, 1.34f, 0.02f, 0.02f, 0.00f},
    // Small-format negatives.
    {201, 0.63f, 1.44f, 1.15f, 0.04f, 0.02f, -0.09f},
    {202, 0.62f, 1.41f, 1.11f, 0.06f, 0.02f, -0.11f},
    {203, 0.60f, 1.37f, 1.04f, 0.09f, 0.03f, -0.13f},
    // Amateur negatives: warm.
    {204, 0.68f, 1.58f, 1.22f, 0.14f, 0.05f, -0.12f},
    {205, 0.67f, 1.54f, 1.17f, 0.16f, 0.06f, -0.14f},
    {206, 0.60f, 1.46f, 0.98f, 0.18f, 0.05f, -0.15f},
    // Portrait negatives: one balanced for tungsten lamps, then pairs of natural and vivid colour.
    {207, 0.58f, 1.74f, 0.95f, -0.16f, 0.00f, 0.22f},
    {208, 0.57f, 1.78f, 0.92f, 0.04f, 0.00f, -0.01f},
    {209, 0.61f, 1.76f, 1.04f, 0.07f, -0.01f, 0.02f},
    {210, 0.56f, 1.62f, 0.90f, 0.09f, 0.01f, -0.04f},
    {211, 0.60f, 1.70f, 1.02f, 0.10f, -0.01f, -0.01f},
    {212, 0.56f, 1.71f, 0.91f, 0.06f, 0.00f, -0.03f},
    // Slides; two of them balanced for tungsten lamps.
    {213, 0.75f, 1.36f, 1.35f, 0.05f, 0.00f, 0.01f},
    {214, 0.68f, 1.30f, 1.24f, -0.20f, -0.02f, 0.26f},
    {215, 0.70f, 1.28f, 1.27f, 0.07f, 0.01f, -0.05f},
    {216, 0.77f, 1.38f, 1.42f, -0.03f, 0.00f, 0.08f},
    {217, 0.76f, 1.34f, 1.39f, -0.24f, -0.02f, 0.30f},
    {218, 0.79f, 1.44f, 1.44f, 0.08f, 0.00f, 0.04f},
    {219, 0.77f, 1.41f, 1.37f, 0.01f, 0.00f, 0.06f},
    {220, 0.80f, 1.50f, 1.48f, 0.13f, -0.02f, -0.05f},
    {221, 0.86f, 1.62f, 1.62f, 0.10f, -0.03f, -0.02f},
    {222, 0.84f, 1.57f, 1.55f, 0.11f, -0.03f, -0.04f},
    // Negatives with cool greens, and one for copies of film.
    {301, 0.64f, 1.50f, 1.19f, -0.02f, 0.05f, 0.00f},
    {302, 0.63f, 1.46f, 1.14f, -0.01f, 0.06f, -0.02f},
    {303, 0.61f, 1.42f, 1.08f, 0.01f, 0.07f, -0.04f},
    {304, 0.54f, 1.30f, 0.94f, 0.00f, 0.04f, 0.04f},
    // Digital cameras: near the sRGB curve, with knees of different strength.
    {305, 0.50f, 1.10f, 1.00f, 0.00f, 0.00f, 0.00f},
    {306, 0.52f, 1.20f, 1.02f, 0.01f, 0.00f, 0.01f},
    {307, 0.54f, 1.28f, 1.06f, 0.00f, 0.01f, 0.02f},
    {308, 0.56f, 1.38f, 1.08f, 0.02f, 0.00f, -0.02f},
    {309, 0.48f, 1.04f, 0.96f, -0.01f, 0.01f, 0.01f},
    {310, 0.46f, 1.00f, 0.90f, 0.01f, 0.01f, -0.01f},
    {311, 0.58f, 1.24f, 1.16f, -0.03f, 0.02f, 0.05f},
};

}  // namespace

float ResponseCurve::operator()(float x, int channel, bool tint) const {
    if (!(x > 0.0f)) return 0.0f;
    if (x >= 1.0f) return 1.0f;
    const auto rise = [this](float v) { return 1.0f - std::pow(1.0f - std::pow(v, toe), shoulder); };
    const float y = rise(x), middle = rise(kMiddleGrey);
    if (!(y > 0.0f)) return 0.0f;
    if (y >= 1.0f) return 1.0f;
    const float balance = !tint ? 0.0f : channel == 0 ? red : channel == 1 ? green : blue;
    const float odds = std::pow((1.0f - y) / y, slope) * std::pow((1.0f - middle) / middle, 1.0f - slope);
    return 1.0f / (1.0f + odds * std::exp(-balance));
}

const ResponseCurve* findResponse(int id) {
    const auto at = std::lower_bound(std::begin(kCurves), std::end(kCurves), id,
                                     [](const ResponseCurve& c, int wanted) { return c.id < wanted; });
    return at != std::end(kCurves) && at->id == id ? at : nullptr;
}

bool knownResponse(int id) {
    return (id >= 400 && id <= 403) || findResponse(id) != nullptr;
}

float respond(int id, float x, int channel, bool tint) {
    if (const ResponseCurve* curve = findResponse(id)) return (*curve)(x, channel, tint);
    x = std::clamp(x, 0.0f, 1.0f);
    switch (id) {
        case 400:
            return x;
        case 402:
            return std::pow(x, 1.0f / 1.8f);
        case 403:
            return std::pow(x, 1.0f / 2.2f);
        default:
            return linearToSrgb(x);
    }
}

}  // namespace Lumora::engine
