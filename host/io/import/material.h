// Materials, lights and cameras as foreign files describe them, and what the host has for them.
#pragma once

#include <string>

#include "host/io/import/context.h"
#include "host/sdk/tag.h"

namespace host::importer {

/// A use of an image; none without a file. Texture coordinates are offset + R(rotation) * (scale * uv), v downwards,
/// where R turns u towards -v.
struct ImageUse {
    Filename file;
    Int32 uvSet = 0;
    Float offset[2] = {0, 0}, scale[2] = {1, 1}, rotation = 0;
    Int32 wrap[2] = {0, 0};  ///< as BITMAPSHADER_WRAPX
    bool interpolate = true;

    explicit operator bool() const { return file.Content(); }
};

/// Colours are linear; factors multiply their image when there is one and stand alone otherwise.
struct MaterialDescription {
    std::string name;
    Vector base{1, 1, 1};
    ImageUse baseImage;
    Vector emission;
    Float emissionStrength = 1;
    ImageUse emissionImage;
    bool alpha = false;  ///< opacity counts
    Float opacity = 1, cutoff = 0;
    ImageUse opacityImage;
    Int32 opacityChannel = 4;
    bool reflection = false;  ///< roughness and metalness count
    Float roughness = 1, metalness = 0;
    ImageUse roughnessImage, metalnessImage;
    Int32 roughnessChannel = 2, metalnessChannel = 3;
    Float normalScale = 1;
    ImageUse normalImage, bumpImage;
    Float transmission = 0, refraction = 1;
    Vector transmissionColour{1, 1, 1};
    ImageUse transmissionImage;
    bool unlit = false, twoSided = false;
    VertexTag* vertexColours = nullptr;  ///< shown in the place of a base image

    /// UV set that the material's texture tag should stand before.
    Int32 mainUvSet() const;
};

/// A standard material of the host, inserted into the document.
BaseMaterial* makeMaterial(const MaterialDescription& description, Context& context);

struct LightDescription {
    enum class Kind { Point, Spot, Directional, Area } kind = Kind::Point;
    Vector colour{1, 1, 1};
    Float intensity = 1;         ///< candela; lux for directional ones
    Float outerAngle = kPi / 2;  ///< of a spot, from its axis to its edge
    Float innerAngle = 0;
};
/// Points and spots become small area lights (a sphere, a disc) of the same radiant intensity. The light shines along
/// +z.
BaseObject* makeLight(const LightDescription& description);

struct CameraDescription {
    bool parallel = false;
    Float verticalAngle = 0, horizontalAngle = 0;  ///< radians; one may be 0: it follows from the aspect
    Float aspect = 16.0 / 9.0;
    Float width = 0;  ///< parallel: of the view, host units
};
/// The camera looks along +z, y is up.
BaseObject* makeCamera(const CameraDescription& description);

}  // namespace host::importer
