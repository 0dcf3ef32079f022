#include "host/io/import/material.h"
#include "host/shading/projection.h"

#include <algorithm>
#include <cmath>

namespace host::importer {
namespace {

/// A material's colours are kept the way an artist picks them; files have linear ones.
Vector picked(const Vector& linear) {
    const auto clean = [](Float v) { return std::isfinite(v) ? std::max(0.0, v) : 0.0; };
    return TransformColor({clean(linear.x), clean(linear.y), clean(linear.z)}, ColorTransform::LinearToSrgb);
}

enum : Int32 { kLinearProfile = 1, kSrgbProfile = 2 };

void setShader(BaseMaterial& material, Int32 parameter, const ImageUse& use, Int32 channel, Int32 profile,
               const Vector& factor) {
    BaseShader* shader = BaseShader::Alloc(Xbitmap);
    if (!shader) return;
    BaseContainer& data = *shader->GetDataInstance();
    data.SetFilename(BITMAPSHADER_FILENAME, use.file);
    data.SetInt32(BITMAPSHADER_COLORPROFILE, profile);
    data.SetInt32(BITMAPSHADER_INTERPOLATION, use.interpolate ? 1 : 0);
    data.SetInt32(BITMAPSHADER_WRAPX, use.wrap[0]);
    data.SetInt32(BITMAPSHADER_WRAPY, use.wrap[1]);
    data.SetInt32(BITMAPSHADER_CHANNEL, channel);
    data.SetFloat(BITMAPSHADER_OFFSETX, use.offset[0]);
    data.SetFloat(BITMAPSHADER_OFFSETY, use.offset[1]);
    data.SetFloat(BITMAPSHADER_SCALEX, use.scale[0]);
    data.SetFloat(BITMAPSHADER_SCALEY, use.scale[1]);
    data.SetFloat(BITMAPSHADER_ROTATION, use.rotation);
    data.SetInt32(BITMAPSHADER_UVSET, use.uvSet);
    data.SetVector(BITMAPSHADER_FACTOR, factor);
    shader->SetName(use.file.GetFileString());
    material.InsertShader(shader);
    material.GetDataInstance()->SetLink(parameter, shader);
}

void setVertexColours(BaseMaterial& material, Int32 parameter, VertexTag* tag) {
    BaseShader* shader = BaseShader::Alloc(Xvertexmap);
    if (!shader) return;
    shader->GetDataInstance()->SetLink(VERTEXMAPSHADER_TAG, tag);
    shader->SetName("Vertex Colours");
    material.InsertShader(shader);
    material.GetDataInstance()->SetLink(parameter, shader);
}

Float clamp01(Float v) {
    return v > 0 ? std::min(v, 1.0) : 0.0;
}

}  // namespace

Int32 MaterialDescription::mainUvSet() const {
    for (const auto* image : {&baseImage, &emissionImage, &opacityImage, &normalImage, &roughnessImage, &metalnessImage,
                              &bumpImage, &transmissionImage})
        if (*image) return image->uvSet;
    return 0;
}

BaseMaterial* makeMaterial(const MaterialDescription& d, Context& context) {
    BaseMaterial* material = BaseMaterial::Alloc(Mmaterial);
    if (!material) throw ImportError("the host has no standard material");
    material->SetName(cleanName(d.name));
    context.document.InsertMaterial(material);
    BaseContainer& data = *material->GetDataInstance();
    const Vector white(1.0);

    data.SetBool(MATERIAL_USE_COLOR, !d.unlit);
    data.SetVector(MATERIAL_COLOR_COLOR, picked(d.base));
    data.SetFloat(MATERIAL_COLOR_BRIGHTNESS, 1.0);
    if (d.baseImage && !d.unlit) setShader(*material, MATERIAL_COLOR_SHADER, d.baseImage, 0, kSrgbProfile, d.base);

    if (d.vertexColours)
        setVertexColours(*material, d.unlit ? MATERIAL_LUMINANCE_SHADER : MATERIAL_COLOR_SHADER, d.vertexColours);

    // Colours above white are kept as a colour up to white and a brightness.
    const Vector emission = d.unlit ? d.base : d.emission;
    const Float strongest = std::max({emission.x, emission.y, emission.z, 0.0});
    const Float strength = d.unlit ? 1.0 : d.emissionStrength;
    const bool luminance = d.unlit || (strongest > 0 && strength > 0);
    data.SetBool(MATERIAL_USE_LUMINANCE, luminance);
    if (luminance) {
        const Float over = std::max(strongest, 1.0);
        data.SetVector(MATERIAL_LUMINANCE_COLOR, picked(emission / over));
        data.SetFloat(MATERIAL_LUMINANCE_BRIGHTNESS, over * strength);
        if (const ImageUse& image = d.unlit ? d.baseImage : d.emissionImage; image)
            setShader(*material, MATERIAL_LUMINANCE_SHADER, image, 0, kSrgbProfile, emission / over);
    }

    data.SetBool(MATERIAL_USE_REFLECTION, d.reflection && !d.unlit);
    if (d.reflection && !d.unlit) {
        data.SetVector(MATERIAL_REFLECTION_COLOR, white);
        data.SetFloat(MATERIAL_REFLECTION_BRIGHTNESS, 1.0);
        data.SetFloat(MATERIAL_REFLECTION_ROUGHNESS, clamp01(d.roughness));
        data.SetFloat(MATERIAL_REFLECTION_METALNESS, clamp01(d.metalness));
        if (d.roughnessImage)
            setShader(*material, MATERIAL_REFLECTION_ROUGHNESS_SHADER, d.roughnessImage, d.roughnessChannel,
                      kLinearProfile, Vector(clamp01(d.roughness)));
        if (d.metalnessImage)
            setShader(*material, MATERIAL_REFLECTION_METALNESS_SHADER, d.metalnessImage, d.metalnessChannel,
                      kLinearProfile, Vector(clamp01(d.metalness)));
    }

    const bool transparent = d.transmission > 0 && !d.unlit;
    data.SetBool(MATERIAL_USE_TRANSPARENCY, transparent);
    if (transparent) {
        data.SetVector(MATERIAL_TRANSPARENCY_COLOR, picked(d.transmissionColour));
        data.SetFloat(MATERIAL_TRANSPARENCY_BRIGHTNESS, clamp01(d.transmission));
        data.SetFloat(MATERIAL_TRANSPARENCY_REFRACTION, d.refraction);
        if (d.transmissionImage)
            setShader(*material, MATERIAL_TRANSPARENCY_SHADER, d.transmissionImage, 1, kLinearProfile,
                      d.transmissionColour * clamp01(d.transmission));
    }

    data.SetBool(MATERIAL_USE_ALPHA, d.alpha);
    if (d.alpha) {
        data.SetFloat(MATERIAL_ALPHA_VALUE, clamp01(d.opacity));
        data.SetFloat(MATERIAL_ALPHA_CUTOFF, d.cutoff);
        if (d.opacityImage)
            setShader(*material, MATERIAL_ALPHA_SHADER, d.opacityImage, d.opacityChannel, kLinearProfile,
                      Vector(clamp01(d.opacity)));
    }

    data.SetBool(MATERIAL_USE_NORMAL, static_cast<bool>(d.normalImage));
    if (d.normalImage) {
        data.SetFloat(MATERIAL_NORMAL_STRENGTH, d.normalScale);
        setShader(*material, MATERIAL_NORMAL_SHADER, d.normalImage, 0, kLinearProfile, white);
    }
    data.SetBool(MATERIAL_USE_BUMP, static_cast<bool>(d.bumpImage));
    if (d.bumpImage) {
        data.SetFloat(MATERIAL_BUMP_STRENGTH, 1.0);
        setShader(*material, MATERIAL_BUMP_SHADER, d.bumpImage, 1, kLinearProfile, white);
    }
    data.SetBool(MATERIAL_TWO_SIDED, d.twoSided);
    return material;
}

BaseObject* makeLight(const LightDescription& d) {
    BaseObject* light = BaseObject::Alloc(Olight);
    if (!light) throw ImportError("the host has no light object");
    BaseContainer& data = *light->GetDataInstance();
    const Float strongest = std::max({d.colour.x, d.colour.y, d.colour.z, 1.0});
    data.SetVector(LIGHT_COLOR, picked(d.colour / strongest));
    Float brightness = std::isfinite(d.intensity) ? std::max(0.0, d.intensity) * strongest : 0.0;
    using Kind = LightDescription::Kind;
    if (d.kind == Kind::Directional) {
        data.SetInt32(LIGHT_TYPE, LIGHT_TYPE_DISTANT);
        // Brightness 1 lights a white surface that faces the light to white: irradiance pi.
        brightness /= kPi;
    } else {
        data.SetInt32(LIGHT_TYPE, LIGHT_TYPE_AREA);
        // One centimetre across: small against any scene, large enough for a path to hit. A flat light of brightness 1
        // lights a white surface that faces it to white from a distance whose square is 2.8 square metres, whatever the
        // light's size. A sphere shares its brightness by four times the area that is seen of it.
        constexpr Float kDiameter = 1.0, kWhiteDistance2 = 2.8;
        brightness /= kPi * kWhiteDistance2;
        if (d.kind == Kind::Point) brightness *= 4;
        enum : Int32 { kDisc = 0, kSphere = 2 };
        data.SetInt32(LIGHT_AREADETAILS_SHAPE, d.kind == Kind::Point ? kSphere : kDisc);
        data.SetFloat(LIGHT_AREADETAILS_SIZEX, kDiameter);
        data.SetFloat(LIGHT_AREADETAILS_SIZEY, kDiameter);
        data.SetFloat(LIGHT_AREADETAILS_SIZEZ, kDiameter);
        if (d.kind == Kind::Spot) {
            data.SetFloat(LIGHT_OUTERANGLE, 2 * d.outerAngle);
            data.SetFloat(LIGHT_INNERANGLE, 2 * d.innerAngle);
        }
    }
    data.SetFloat(LIGHT_BRIGHTNESS, brightness);
    return light;
}

BaseObject* makeCamera(const CameraDescription& d) {
    BaseObject* camera = BaseObject::Alloc(Ocamera);
    if (!camera) throw ImportError("the host has no camera object");
    BaseContainer& data = *camera->GetDataInstance();
    if (d.parallel) {
        data.SetInt32(CAMERA_PROJECTION, 1);
        if (d.width > 0 && std::isfinite(d.width)) {
            // A focus as far away as the view is wide keeps the zoom near one.
            data.SetFloat(CAMERAOBJECT_TARGETDISTANCE, 2 * d.width);
            data.SetFloat(CAMERA_ZOOM, ParallelViewZoom(d.width, 2 * d.width));
        }
        return camera;
    }
    data.SetInt32(CAMERA_PROJECTION, 0);
    const auto usable = [](Float angle) { return angle > 1e-4 && angle < kPi - 1e-4; };
    const Float aspect = d.aspect > 1e-3 && d.aspect < 1e3 ? d.aspect : 16.0 / 9.0;
    Float horizontal = d.horizontalAngle;
    if (!usable(horizontal)) {
        const Float vertical = usable(d.verticalAngle) ? d.verticalAngle : 0.7;
        horizontal = 2 * std::atan(std::tan(vertical / 2) * aspect);
        data.SetFloat(CAMERAOBJECT_FOV_VERTICAL, vertical);
    }
    constexpr Float kSensorWidth = 36;
    data.SetFloat(CAMERAOBJECT_APERTURE, kSensorWidth);
    data.SetFloat(CAMERA_FOCUS, kSensorWidth / (2 * std::tan(horizontal / 2)));
    data.SetFloat(CAMERAOBJECT_FOV, horizontal);
    return camera;
}

}  // namespace host::importer
