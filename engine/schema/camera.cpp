// Cameras and environments.
#include "engine/schema/build.h"

namespace Lumora::engine::schema {

namespace {

Pins placement() {
    return {number3(P_POSITION, "Position", {0, 0, 1}), number3(P_TARGET, "Target", {0, 0, 0}),
            number3(P_UP, "Up-vector", {0, 1, 0})};
}

Pins lens() {
    return {number(P_APERTURE, "Aperture", 0, 0, 100000),
            number(P_APERTURE_ASPECT, "Aperture aspect ratio", 1, 0.1f, 10),
            number(P_APERTURE_EDGE, "Aperture edge", 1, 1, 3),
            integer(P_BOKEH_SIDES, "Bokeh side count", 6, 3, 12),
            number(P_BOKEH_ROTATION, "Bokeh rotation", 0, -1, 1),
            number(P_BOKEH_ROUNDNESS, "Bokeh roundedness", 1, 0, 1),
            boolean(P_AUTOFOCUS, "Auto-focus", true),
            number(P_FOCAL_DEPTH, "Focal depth", 1, 1e-6f, 1e6f),
            number(P_NEAR_CLIP, "Near clip depth", 0),
            number(P_FAR_CLIP, "Far clip depth", 1e10f, 0, 1e10f)};
}

Pins stereo() {
    return {integer(P_STEREO_OUTPUT, "Stereo output", 0, 0, 6),
            integer(P_STEREO_MODE, "Stereo mode", 1, 0, 2),
            number(P_STEREO_DISTANCE, "Eye distance", 0.065f, 0, 2),
            number(P_STEREO_FALLOFF, "Eye distance falloff", 1, 0.001f, 100),
            number(P_STEREO_FALLOFF_ANGLE, "Blackout latitude", 90, 1, 90),
            boolean(P_SWAP_EYES, "Swap eyes"),
            number3(P_LEFT_FILTER, "Left stereo filter", {1, 0, 0.812f}, 0, 1),
            number3(P_RIGHT_FILTER, "Right stereo filter", {0, 1, 0.188f}, 0, 1)};
}

Pins environment() {
    return {boolean(P_IMPORTANCE_SAMPLING, "Importance sampling", true),
            link(P_MEDIUM, "Medium", PT_MEDIUM),
            number(P_MEDIUM_RADIUS, "Medium radius", 1, 0.0001f, 1e10f),
            boolean(P_VISIBLE_BACKPLATE, "Backplate", true),
            boolean(P_VISIBLE_REFLECTIONS, "Reflections"),
            boolean(P_VISIBLE_REFRACTIONS, "Refractions")};
}

}  // namespace

Rows cameraRows() {
    return {
        {NT_CAM_THINLENS, "Thin lens camera", PT_CAMERA,
         join({placement(),
               {number(P_FOV, "Field of view", 45, 0.001f, 360), number2(P_LENS_SHIFT, "Lens shift", {0, 0}),
                boolean(P_ORTHOGRAPHIC, "Orthographic"), boolean(P_PERSPECTIVE_CORRECTION, "Perspective correction"),
                number(P_DISTORTION, "Distortion", 0, 0, 1), number(P_PIXEL_ASPECT, "Pixel aspect ratio", 1, 0.1f, 10)},
               lens(),
               stereo()})},
        {NT_CAM_PANORAMIC, "Panoramic camera", PT_CAMERA,
         join(
             {placement(),
              {choice(P_CAMERA_MODE, "Projection", 0, 9), number(P_FOV_X, "Horizontal field of view", 360, 0.001f, 360),
               number(P_FOV_Y, "Vertical field of view", 180, 0.001f, 180), boolean(P_KEEP_UPRIGHT, "Keep upright")},
              lens(),
              stereo()})},
        {NT_CAM_BAKING,
         "Baking camera",
         PT_CAMERA,
         {integer(P_BAKING_GROUP_ID, "Baking group ID", 1, 1, 65535), integer(P_UV_SET, "UV set", 1, 1, 3),
          integer(P_BAKE_PADDING, "Padding size", 4, 0, 16), number(P_TOLERANCE, "Edge noise tolerance", 0.5f, 0, 1),
          boolean(P_BAKE_OUTWARDS, "Continue if transparent", true),
          boolean(P_BAKE_FROM_POSITION, "Use baking position"), number3(P_POSITION, "Position", {0, 0, 0}),
          number2(P_UV_REGION_START, "UV region minimum", {0, 0}),
          number2(P_UV_REGION_SIZE, "UV region size", {1, 1})}},
        {NT_CAM_OSL,
         "OSL camera",
         PT_CAMERA,
         placement(),
         {attribute(A_OSL_SOURCE, "source", AT_STRING), attribute(A_OSL_STATE, "state", AT_INT),
          attribute(A_OSL_MESSAGES, "messages", AT_STRING)}},

        {NT_ENV_TEXTURE, "Texture environment", PT_ENVIRONMENT,
         join({{colour(P_TEXTURE, "Texture", 1), number(P_POWER, "Power", 1)}, environment()})},
        {NT_ENV_DAYLIGHT, "Daylight environment", PT_ENVIRONMENT,
         join({{number3(P_SUN_DIRECTION, "Sun direction", {1, 0.8f, 1}),
                number(P_TURBIDITY, "Sky turbidity", 2.2f, 2, 15), number(P_POWER, "Power", 1),
                number(P_NORTH_OFFSET, "North offset", 0, -1, 1), choice(P_SKY_MODEL, "Sky model", 1, 1),
                number(P_SUN_SIZE, "Sun size", 1, 0.1f, 30), number3(P_SKY_COLOR, "Sky color", {0.05f, 0.3f, 1}, 0, 1),
                number3(P_SUNSET_COLOR, "Sunset color", {0.6f, 0.12f, 0.02f}, 0, 1),
                number3(P_GROUND_COLOR, "Ground color", {0, 0, 0}, 0, 1),
                number(P_GROUND_START_ANGLE, "Ground start angle", 90, 0, 90),
                number(P_GROUND_BLEND_ANGLE, "Ground blend angle", 1, 1, 90), texture(P_TEXTURE, "Sky texture")},
               environment()})},
    };
}

}  // namespace Lumora::engine::schema
