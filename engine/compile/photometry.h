// Photometric files: how much light a lamp sends in which direction, as measured.
//
// Two formats: LM-63 of the Illuminating Engineering Society (.ies; 1986 to 2019) and EULUMDAT (.ldt). Only the shape
// of the distribution is taken: its largest intensity becomes 1, the emission says how strong the lamp is.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/compile/image_formats.h"

namespace Lumora::engine {

/// Intensities over a grid of angles, in any unit.
struct Photometry {
    enum class Axes : unsigned char {
        C,  ///< half planes around the vertical axis; vertical angles from 0 below to 180 above
        B,  ///< horizontal angle off a vertical plane through the lamp's aim, vertical angle around the level axis
        A   ///< horizontal angle around the vertical axis, vertical angle off the level
    };
    Axes axes = Axes::C;
    std::vector<float> horizontal, vertical;  ///< degrees, ascending
    std::vector<float> intensity;             ///< the verticals of the first horizontal angle first; not negative
    bool mirrored = false;                    ///< horizontal angles count both ways from zero

    /// Towards a direction in the lamp's frame: -y is where it looks down, angle C 0 is x, C 90 is -z. Between the
    /// angles linear; zero beyond the vertical ones.
    float towards(Float3 direction) const;
};

/// Both throw ImageFault with the reason for what they refuse.
Photometry parseIes(std::string_view text);
Photometry parseEulumdat(std::string_view text);

/// The decoder for a file of that name, or null when it is no photometric file by its ending.
const ImageDecoder* photometricDecoder(const std::string& path);

/// Equirectangular picture of a distribution: the lower edge looks down, one channel, linear.
DecodedImage photometricImage(const Photometry& photometry);

}  // namespace Lumora::engine
