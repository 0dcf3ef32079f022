// The camera tag: kind, lens, stereo, baking, and what it overrides of imager and post-processing.
#include "plugin/core/class_descriptions.h"
#include "plugin/core/parameter_rows.h"

namespace lumora {

namespace {

using namespace row;

constexpr ParameterChoice kKinds[] = {{0, "Thin lens"}, {1, "Panoramic"}, {2, "Baking"}, {3, "OSL"}};
constexpr ParameterChoice kAlignments[] = {{1, "Before"}, {2, "Symmetric"}, {3, "After"}};
constexpr ParameterChoice kStereo[] = {{0, "Disabled"},     {1, "Left eye"},   {2, "Right eye"},
                                       {3, "Side by side"}, {4, "Anaglyphic"}, {5, "Over under"}};
constexpr ParameterChoice kStereoModes[] = {{1, "Off axis"}, {2, "Parallel"}};

const Parameter kRows[] = {
    choice(1439, "Camera type", 0, kKinds),
    // Lens.
    real(1412, "Aperture", 0.0, 0, 100),
    real(1457, "F-stop", 2.8, 0.1, 1000),
    real(1459, "Aperture aspect ratio", 1.0, 0.1, 10),
    real(1444, "Aperture edge", 1.0, 1, 3),
    integer(1474, "Bokeh side count", 6, 3, 12),
    real(1475, "Bokeh rotation", 0.0, -1, 1),
    real(1476, "Bokeh roundedness", 1.0, 0, 1),
    toggle(1419, "Autofocus", true),
    real(1418, "Focal depth", 0.0, 0),
    real(1420, "Near clip depth", 0.0, 0),
    real(1473, "Far clip depth", 1e10, 0),
    vector(1450, "Lens shift", {}),
    toggle(1445, "Orthographic", false),
    toggle(1528, "Perspective correction", false),
    real(1443, "Distortion", 0.0, 0, 1),
    real(1458, "Pixel aspect ratio", 1.0, 0.1, 10),
    // Panoramic.
    integer(1440, "Projection", 0, 0, 10),
    real(1441, "Horizontal angle", 360.0, 1, 360),
    real(1442, "Vertical angle", 180.0, 1, 180),
    toggle(1472, "Keep upright", false),
    // Stereo.
    colour(1415, "Left stereo filter", {1, 0, 0.812}),
    colour(1416, "Right stereo filter", {0, 1, 0.188}),
    choice(1530, "Stereo output", 0, kStereo),
    real(1414, "Eye distance", 0.065, 0, 10),
    toggle(1533, "Swap eyes", false),
    choice(1529, "Stereo mode", 1, kStereoModes),
    real(1455, "Stereo distance falloff", 1.0, 0, 10),
    real(1456, "Blackout latitude", 90.0, 0, 90),
    // Baking.
    integer(1461, "Baking group", 1, 1, 65535),
    integer(1464, "Padding", 4, 0, 64),
    real(1465, "Edge noise tolerance", 0.5, 0, 1),
    toggle(1468, "Continue if transparent", true),
    toggle(1466, "Use baking position", false),
    vector(1467, "Baking position", {}),
    vector(1531, "UV region start", {}),
    vector(1532, "UV region size", {1, 1, 0}),
    // OSL.
    text(1901, "Code"),
    toggle(1900, "Compile", false),
    toggle(1905, "Use the text", true),
    toggle(1906, "Code changed", false),
    // Motion blur.
    toggle(1448, "Motion blur", false),
    real(1449, "Shutter time", 0.0, 0, 1),
    choice(1451, "Shutter alignment", 1, kAlignments),
    real(1452, "Subframe offset", 0.0, 0, 1),
    integer(1453, "Sample margin", 25, 0, 1000),
    toggle(1479, "No camera samples", false),
    // Imager.
    toggle(1423, "Enable camera imager", false),
    real(1424, "Exposure", 1.0, 0.001, 4096),
    real(1425, "F-stop", 2.8, 0.1, 1000),
    real(1426, "ISO", 100.0, 1, 800),
    real(1427, "Gamma", 1.0, 0.1, 32),
    integer(1428, "Response", 5401, 5000, 6000),
    integer(1477, "Response order", 0, 0, 3),
    toggle(1469, "Neutral response", false),
    colour(1436, "White balance", {1, 1, 1}),
    real(1454, "Vignetting", 0.0, 0, 1),
    real(1429, "Saturation", 1.0, 0, 4),
    real(1430, "Hot pixel removal", 1.0, 0, 1),
    real(1431, "Saturate to white", 0.0, 0, 1),
    real(1435, "Highlight compression", 0.0, 0, 1),
    toggle(1432, "Premultiplied alpha", false),
    toggle(1460, "Disable partial alpha", false),
    toggle(1434, "Dithering", true),
    integer(1433, "Minimum display samples", 1, 1, 32),
    integer(1481, "Maximum tonemap interval", 10, 1, 120),
    {.id = 1478, .kind = ParameterKind::File, .label = "Custom LUT", .choices = {}},
    toggle(1482, "Enable denoiser", false),
    toggle(1488, "Denoise volumes", false),
    toggle(1485, "Denoise on completion", true),
    integer(1483, "Minimum denoiser samples", 10, 1, 100000),
    integer(1484, "Maximum denoiser interval", 20, 1, 120),
    real(1486, "Original blend", 0.0, 0, 1),
    // Post-processing.
    toggle(1520, "Enable post-processing", false),
    real(1521, "Bloom power", 1.0, 0, 100000),
    real(1522, "Glare power", 0.1, 0, 100000),
    integer(1523, "Glare ray count", 3, 1, 8),
    real(1524, "Glare angle", 15.0, -90, 90),
    real(1525, "Glare blur", 0.01, 0, 0.2),
    real(1526, "Spectral intensity", 0.0, 0, 1),
    real(1527, "Spectral shift", 2.0, 0, 6),
};

const Description kDescription{kRows};

}  // namespace

const Description* cameraTagDescription() {
    return &kDescription;
}

}  // namespace lumora
