// Textures, transforms, projections.
#include "engine/schema/build.h"

namespace Lumora::engine::schema {

namespace {

Pins transform() {
    return {link(P_TRANSFORM, "Transformation", PT_TRANSFORM)};
}

Pins mapping() {
    return join({transform(), {link(P_PROJECTION, "Projection", PT_PROJECTION)}});
}

Pins twoTextures() {
    return {texture(P_TEXTURE1, "First texture"), texture(P_TEXTURE2, "Second texture")};
}

Pins blend() {
    return join({{grey(P_AMOUNT, "Amount", 0.5f)}, twoTextures()});
}

Pins pixels() {
    return {grey(P_POWER, "Power", 1, 100000), number(P_GAMMA, "Legacy gamma", 2.2f, 0.1f, 8),
            boolean(P_INVERT, "Invert")};
}

Pins image() {
    return join({pixels(), {choice(P_BORDER_MODE, "Border mode", 0, 4)}, mapping()});
}

Attributes imageAttributes() {
    return {attribute(A_FILENAME, "filename", AT_STRING), attribute(A_RELOAD, "reload", AT_BOOL),
            attribute(A_BUFFER, "buffer", AT_BYTE_ARRAY), attribute(A_SIZE, "size", AT_INT2),
            attribute(A_IMAGE_TYPE, "imageType", AT_INT), attribute(A_IMAGE_IMPORT, "imageImport", AT_INT, {-1, 0, 0})};
}

Attributes oslAttributes() {
    return {attribute(A_OSL_SOURCE, "source", AT_STRING), attribute(A_OSL_STATE, "state", AT_INT),
            attribute(A_OSL_MESSAGES, "messages", AT_STRING)};
}

Attributes knots() {
    return {attribute(A_PIN_COUNT, "pinCount", AT_INT)};
}

Pins fractal() {
    return {grey(P_POWER, "Power", 1, 100000), grey(P_OFFSET, "Offset", 0), integer(P_OCTAVES, "Octaves", 5, 1, 16)};
}

Row projection(NodeType type, const char* name) {
    return {type, name, PT_PROJECTION, join({{choice(P_COORDINATE_SPACE, "Coordinate space", 1, 5)}, transform()})};
}

Row wave(NodeType type, const char* name) {
    return {type, name, PT_TEXTURE, join({{grey(P_OFFSET, "Offset", 0)}, mapping()})};
}

Rows operatorRows() {
    return {
        {NT_TEX_MIX, "Mix texture", PT_TEXTURE, blend()},
        {NT_TEX_COSINEMIX, "Cosine mix texture", PT_TEXTURE, blend()},
        {NT_TEX_MULTIPLY, "Multiply texture", PT_TEXTURE, twoTextures()},
        {NT_TEX_ADD, "Add texture", PT_TEXTURE, twoTextures()},
        {NT_TEX_SUBTRACT, "Subtract texture", PT_TEXTURE, twoTextures()},
        {NT_TEX_COMPARE, "Comparison", PT_TEXTURE,
         join({twoTextures(), {texture(P_TEXTURE3, "If A < B"), texture(P_TEXTURE4, "If A >= B")}})},
        {NT_TEX_INVERT, "Invert texture", PT_TEXTURE, {texture(P_TEXTURE, "Texture")}},
        {NT_TEX_CLAMP,
         "Clamp texture",
         PT_TEXTURE,
         {grey(P_INPUT, "Input", 0), grey(P_START, "Minimum", 0), grey(P_END, "Maximum", 1)}},
        {NT_TEX_COLORCORRECTION,
         "Color correction",
         PT_TEXTURE,
         {texture(P_TEXTURE, "Texture"), grey(P_BRIGHTNESS, "Brightness", 1, 100), boolean(P_INVERT, "Invert"),
          number(P_HUE, "Hue", 0, -1, 1), number(P_SATURATION, "Saturation", 1, 0, 100),
          number(P_GAMMA, "Gamma", 1, 0.1f, 10), number(P_CONTRAST, "Contrast", 0.001f, 0.001f, 1000)}},
        {NT_TEX_UVWTRANSFORM, "UVW transform", PT_TEXTURE, join({{texture(P_TEXTURE, "Texture")}, transform()})},
        {NT_TEX_TRIPLANAR, "Triplanar map", PT_TEXTURE,
         join({{number(P_BLEND_ANGLE, "Blend angle", 5, 0, 90), choice(P_COORDINATE_SPACE, "Coordinate space", 3, 5),
                texture(P_POSITIVE_X, "Positive X axis"), texture(P_NEGATIVE_X, "Negative X axis"),
                texture(P_POSITIVE_Y, "Positive Y axis"), texture(P_NEGATIVE_Y, "Negative Y axis"),
                texture(P_POSITIVE_Z, "Positive Z axis"), texture(P_NEGATIVE_Z, "Negative Z axis")},
               transform()})},
        {NT_TEX_BAKING, "Baking texture", PT_TEXTURE,
         join({{texture(P_TEXTURE, "Texture"), boolean(P_ENABLED, "Enable baking", true),
                boolean(P_RGB_BAKING, "RGB baking", true), integer(P_SIZE, "Samples per pixel", 32, 1, 64000),
                integer(P_TEXTURE_TYPE, "Texture type", 0, 0, 2), integer(P_BORDER_MODE, "Border mode", 0, 0, 4),
                integer2(P_RESOLUTION, "Resolution", {1024, 1024}, 4, 65536), number(P_POWER, "Power", 1, 0, 100000),
                number(P_GAMMA, "Gamma", 2.2f, 0.1f, 8)},
               mapping()})},
    };
}

Rows generatorRows() {
    return {
        {NT_TEX_CHECKS, "Checks", PT_TEXTURE, mapping()},
        {NT_TEX_MARBLE, "Marble", PT_TEXTURE,
         join({fractal(), {grey(P_OMEGA, "Omega", 0.5f), grey(P_VARIANCE, "Variance", 0.2f, 1000)}, mapping()})},
        {NT_TEX_RIDGEDFRACTAL, "Ridged fractal", PT_TEXTURE,
         join({fractal(), {grey(P_LACUNARITY, "Lacunarity", 2, 1000)}, mapping()})},
        {NT_TEX_TURBULENCE, "Turbulence", PT_TEXTURE,
         join({fractal(),
               {grey(P_OMEGA, "Omega", 0.5f), boolean(P_TURBULENCE, "Use turbulence", true),
                boolean(P_INVERT, "Invert"), number(P_GAMMA, "Gamma", 1, 0.01f, 100)},
               mapping()})},
        {NT_TEX_NOISE, "Noise", PT_TEXTURE,
         join({{choice(P_NOISE_TYPE, "Noise type", 0, 3), integer(P_OCTAVES, "Octaves", 5, 1, 16),
                number(P_OMEGA, "Omega", 0.5f, 0, 1), boolean(P_INVERT, "Invert"),
                number(P_GAMMA, "Gamma", 1, 0.01f, 100), number(P_CONTRAST, "Contrast", 0.001f, 0.001f, 1000)},
               mapping()})},
        wave(NT_TEX_SAWWAVE, "Saw wave"),
        wave(NT_TEX_TRIANGLEWAVE, "Triangle wave"),
        wave(NT_TEX_SINEWAVE, "Sine wave"),
        {NT_TEX_FALLOFF,
         "Falloff map",
         PT_TEXTURE,
         {choice(P_MODE, "Mode", 0, 2), number(P_NORMAL, "Minimum value", 0, 0, 1),
          number(P_GRAZING, "Maximum value", 1, 0, 1), number(P_INDEX_FALLOFF, "Falloff skew factor", 6, 0.1f, 15),
          number3(P_DIRECTION, "Falloff direction", {0, 1, 0})}},
        {NT_TEX_DIRT,
         "Dirt texture",
         PT_TEXTURE,
         {number(P_STRENGTH, "Strength", 1, 0.1f, 10), number(P_DETAILS, "Details", 1, 0, 100),
          number(P_RADIUS, "Radius", 1, 0, 1e6f), number(P_TOLERANCE, "Tolerance", 0, 0, 0.3f),
          boolean(P_INVERT_NORMAL, "Invert normal")}},
        {NT_TEX_SIDE, "Polygon side", PT_TEXTURE, {boolean(P_INVERT, "Invert")}},
        {NT_TEX_RANDOMCOLOR, "Random color", PT_TEXTURE, {integer(P_RANDOM_SEED, "Random seed", 0, 0, 65535)}},
        {NT_TEX_W, "W coordinate", PT_TEXTURE, {}},
        {NT_TEX_INSTANCERANGE, "Instance range", PT_TEXTURE, {integer(P_MAX_INSTANCE_ID, "Maximum ID", 0)}},
        {NT_TEX_INSTANCECOLOR, "Instance color", PT_TEXTURE, pixels(), imageAttributes()},
        {NT_TEX_GRADIENT,
         "Gradient",
         PT_TEXTURE,
         {texture(P_INPUT, "Input"), choice(P_INTERPOLATION, "Interpolation", 1, 3), colour(P_START, "Start value", 0),
          colour(P_END, "End value", 1)},
         knots(),
         DynamicPins::Gradient},
        {NT_TEX_TOONRAMP,
         "Toon ramp",
         PT_TOON_RAMP,
         {choice(P_INTERPOLATION, "Interpolation", 1, 3), colour(P_START, "Start value", 0),
          colour(P_END, "End value", 1)},
         knots(),
         DynamicPins::Gradient},
        {NT_TEX_VOLUMEGRADIENT,
         "Volume gradient",
         PT_VOLUME_RAMP,
         {choice(P_INTERPOLATION, "Interpolation", 1, 3), number(P_MAX_GRID_VALUE, "Maximum grid value", 1),
          grey(P_START, "Start value", 0, 100000), grey(P_END, "End value", 1, 100000)},
         knots(),
         DynamicPins::Gradient},
    };
}

}  // namespace

Rows textureRows() {
    Rows rows = {
        {NT_TEX_FLOAT,
         "Grayscale color",
         PT_TEXTURE,
         {},
         {attribute(A_VALUE, "value", AT_FLOAT)},
         DynamicPins::None,
         NodeRole::Value},
        {NT_TEX_RGB,
         "RGB color",
         PT_TEXTURE,
         {},
         {attribute(A_VALUE, "value", AT_FLOAT3)},
         DynamicPins::None,
         NodeRole::Value},
        {NT_TEX_GAUSSIAN,
         "Gaussian spectrum",
         PT_TEXTURE,
         {grey(P_WAVELENGTH, "Wavelength", 0.5f), grey(P_WIDTH, "Width", 0.05f), grey(P_POWER, "Power", 1, 100000)}},
        {NT_TEX_IMAGE, "RGB image", PT_TEXTURE, image(), imageAttributes()},
        {NT_TEX_FLOATIMAGE, "Grayscale image", PT_TEXTURE, image(), imageAttributes()},
        {NT_TEX_ALPHAIMAGE, "Alpha image", PT_TEXTURE, image(), imageAttributes()},
        {NT_TEX_OSL, "OSL texture", PT_TEXTURE, {}, oslAttributes()},

        {NT_TRANSFORM_VALUE,
         "Transform value",
         PT_TRANSFORM,
         {},
         {attribute(A_ROTATION, "rotation", AT_FLOAT3), attribute(A_SCALE, "scale", AT_FLOAT3, {1, 1, 1}),
          attribute(A_TRANSLATION, "translation", AT_FLOAT3)}},
        {NT_TRANSFORM_3D,
         "3D transformation",
         PT_TRANSFORM,
         {number3(P_ROTATION, "Rotation", {0, 0, 0}), number3(P_SCALE, "Scale", {1, 1, 1}),
          number3(P_TRANSLATION, "Translation", {0, 0, 0})}},
        {NT_TRANSFORM_2D,
         "2D transformation",
         PT_TRANSFORM,
         {number(P_ROTATION, "Rotation", 0, -360, 360), number2(P_SCALE, "Scale", {1, 1}),
          number2(P_TRANSLATION, "Translation", {0, 0})}},
        {NT_TRANSFORM_SCALE, "Scale", PT_TRANSFORM, {number3(P_SCALE, "Scale", {1, 1, 1})}},
        {NT_TRANSFORM_ROTATION, "Rotation", PT_TRANSFORM, {number3(P_ROTATION, "Rotation", {0, 0, 0})}},

        {NT_PROJ_UVW, "Mesh UV", PT_PROJECTION, join({{integer(P_UV_SET, "UV set", 1, 1, 3)}, transform()})},
        projection(NT_PROJ_BOX, "Box"),
        projection(NT_PROJ_CYLINDRICAL, "Cylindrical"),
        projection(NT_PROJ_FLAT, "XYZ to UVW"),
        projection(NT_PROJ_PERSPECTIVE, "Perspective"),
        projection(NT_PROJ_SPHERICAL, "Spherical"),
        {NT_PROJ_TRIPLANAR, "Triplanar", PT_PROJECTION, {}},
        {NT_PROJ_OSL, "OSL projection", PT_PROJECTION, transform(), oslAttributes()},
        {NT_PROJ_OSL_DELAYED, "OSL delayed UV", PT_PROJECTION, {}},
    };
    for (Rows more : {operatorRows(), generatorRows()}) {
        rows.insert(rows.end(), more.begin(), more.end());
    }
    return rows;
}

}  // namespace Lumora::engine::schema
