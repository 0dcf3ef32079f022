// Spectra as linear sRGB: the observer, and bodies that glow by Planck's law.
#pragma once

#include "engine/render/vec.h"

namespace Lumora::engine {

struct Xyz {
    double x = 0, y = 0, z = 0;
};

/// Colour matching functions of the CIE 1931 observer at a wavelength in nanometres (multi-lobe fit of Wyman, Sloan and
/// Shirley, "Simple Analytic Approximations to the CIE XYZ Color Matching Functions", JCGT 2013).
Xyz observer(double nanometres);

/// Linear sRGB of a colour in XYZ. Out of gamut, components are negative.
Float3 toLinearSrgb(const Xyz& xyz);

/// Linear sRGB colour of a black body, of luminance one and without negative components. Kelvin.
Float3 blackbodyColor(double kelvin);

/// Luminance of a black body, in a unit of its own.
double blackbodyLuminance(double kelvin);

}  // namespace Lumora::engine
