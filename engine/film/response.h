// Response curves: how bright a developed film or a camera's picture is for the light that it got.
//
// A curve is not measured; it is one of a family that has the parts of a film's characteristic curve. For light x from
// 0 to 1, per channel:
//
//   y = 1 - (1 - x^toe)^shoulder                the cumulative distribution of Kumaraswamy (1980)
//   logit(f) = logit(m) + slope * (logit(y) - logit(m)) + balance
//
// where m is y of middle grey, 0.18: contrast around it, and the channel's tint. The toe exponent says how fast the
// shadows rise, the shoulder exponent how softly the highlights end, the slope is the contrast of the middle. Every
// curve rises from f(0) = 0 to f(1) = 1.
#pragma once

namespace Lumora::engine {

struct ResponseCurve {
    int id;  ///< as on the pin of the response
    float toe, shoulder, slope;
    float red, green, blue;  ///< balance of the channels, in units of the logit

    /// `x` from 0 to 1, `channel` 0 to 2. Without `tint` all three channels have the curve of no balance.
    float operator()(float x, int channel, bool tint = true) const;
};

/// The film or camera with that id, or null: the four plain transfer functions (400 to 403) are none of these.
const ResponseCurve* findResponse(int id);
/// True when that id is a curve or a plain transfer function. Other ids are shown as sRGB.
bool knownResponse(int id);
/// The response of any id.
float respond(int id, float x, int channel, bool tint = true);

}  // namespace Lumora::engine
