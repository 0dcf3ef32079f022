// The camera tag's parameters, by number.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

enum CameraKind : Int32 { CAMERA_THIN_LENS = 0, CAMERA_PANORAMIC = 1, CAMERA_BAKING = 2, CAMERA_OSL = 3 };

/// Parameters that code beside the pin tables reads.
enum CameraTagId : Int32 {
    CAMERATAG_KIND = 1439,
    CAMERATAG_APERTURE = 1412,
    CAMERATAG_FSTOP = 1457,
    CAMERATAG_FOCAL_DEPTH = 1418,
    CAMERATAG_NEAR_CLIP = 1420,
    CAMERATAG_FAR_CLIP = 1473,
    CAMERATAG_LENS_SHIFT = 1450,
    CAMERATAG_ORTHOGRAPHIC = 1445,
    CAMERATAG_STEREO_OUTPUT = 1530,
    CAMERATAG_OSL_CODE = 1901,
    CAMERATAG_OSL_COMPILE = 1900,
    CAMERATAG_OSL_USE_TEXT = 1905,
    CAMERATAG_MOTION_BLUR = 1448,
    CAMERATAG_SHUTTER_TIME = 1449,
    CAMERATAG_SHUTTER_ALIGNMENT = 1451,
    CAMERATAG_SUBFRAME_OFFSET = 1452,
    CAMERATAG_SAMPLE_MARGIN = 1453,
    CAMERATAG_NO_SAMPLES = 1479,
    CAMERATAG_IMAGER = 1423,
    CAMERATAG_POST = 1520,
};

/// The tag keeps aperture and f-stop reciprocal: their product is 2.5.
class LumoraCameraTag : public TagData {
public:
    Bool SetDParameter(BaseList2D* node, const DescID& id, const GeData& value) override;
};

}  // namespace lumora
