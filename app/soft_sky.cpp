#include "app/soft_sky.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "app/scene_tree.h"
#include "host/io/import/embedded_images.h"
#include "host/sdk/document.h"

namespace app {
namespace {

using host::Float;
using host::Vector;

constexpr int kWidth = 128, kHeight = 64;

// Radiances before scaling, in no unit of their own.
constexpr Float kZenith = 1.0, kHorizon = 0.75, kGround = 0.42, kLamp = 2.6;
/// Of the horizon's soft edge: sine of the elevation.
constexpr Float kSoftness = 0.25;
/// Sharpness of the bright area: it falls to half at about 19 degrees from its middle.
constexpr Float kSharpness = 12;
/// Radiant exitance of a white surface that faces the brightest part, over pi.
constexpr Float kBrightest = 0.95;

/// Towards the bright area: up and, seen through the camera that frames a scene, from the left. y up, right-handed.
const Vector kLampDirection = Vector(-0.4, 0.9, 0.9).GetNormalized();

Float radiance(const Vector& d) {
    const Float sky = kHorizon + (kZenith - kHorizon) * std::max(d.y, 0.0);
    const Float t = std::clamp(0.5 + d.y / (2 * kSoftness), 0.0, 1.0);
    const Float base = kGround + (sky - kGround) * t * t * (3 - 2 * t);
    return base + kLamp * std::exp(kSharpness * (Dot(d, kLampDirection) - 1));
}

/// Direction of a texel: rows go from straight up to straight down, the middle column looks along -z.
Vector directionOf(int x, int y) {
    const Float theta = (y + 0.5) / kHeight * host::kPi, phi = ((x + 0.5) / kWidth - 0.5) * 2 * host::kPi;
    return {std::sin(theta) * std::sin(phi), std::cos(theta), -std::sin(theta) * std::cos(phi)};
}

/// Irradiance over pi of a surface with that normal.
Float irradiance(const Vector& normal) {
    constexpr Float kTexel = host::kPi / kHeight * 2 * host::kPi / kWidth;
    Float sum = 0;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            const Vector d = directionOf(x, y);
            sum += std::max(Dot(normal, d), 0.0) * radiance(d) * std::sqrt(std::max(0.0, 1 - d.y * d.y)) * kTexel;
        }
    return sum / host::kPi;
}

/// The sky as a picture file of floats with a shared exponent: G. Ward, "Real Pixels", Graphics Gems II, 1991.
std::vector<host::UChar> skyImage() {
    Float brightest = 0;
    for (int i = 0; i <= 8; ++i)
        brightest = std::max(brightest, irradiance((kLampDirection + Vector(0, i / 8.0, 0)).GetNormalized()));
    const std::string head =
        "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y " + std::to_string(kHeight) + " +X " + std::to_string(kWidth) + "\n";
    std::vector<host::UChar> bytes(head.begin(), head.end());
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            int exponent = 0;
            const Float mantissa = std::frexp(radiance(directionOf(x, y)) * kBrightest / brightest, &exponent);
            const auto digit = static_cast<host::UChar>(std::min(mantissa * 256, 255.0));
            for (int k = 0; k < 3; ++k) bytes.push_back(digit);
            bytes.push_back(static_cast<host::UChar>(exponent + 128));
        }
    return bytes;
}

}  // namespace

LightSources findLight(const host::BaseDocument& document) {
    LightSources found;
    for (host::BaseObject* object = document.GetFirstObject(); object; object = nextInTree(object)) {
        found.lights |= object->GetType() == host::Olight;
        found.sky |= object->GetType() == host::Osky;
    }
    for (const host::BaseMaterial* m = document.GetFirstMaterial(); m; m = m->GetNext())
        found.surfaces |= m->GetType() != host::Mmaterial || (m->GetChannelState(host::MATERIAL_USE_LUMINANCE) &&
                                                              !m->GetShader(host::MATERIAL_LUMINANCE_SHADER));
    return found;
}

void addSoftSky(host::BaseDocument& document) {
    host::BaseContainer& settings = *document.GetDataInstance();
    const host::BaseContainer* carried = settings.GetContainerInstance(host::DOCUMENT_EMBEDDED_IMAGES);
    host::BaseContainer images = carried ? *carried : host::BaseContainer();
    const host::Filename name = host::importer::addEmbeddedImage(images, skyImage(), "sky");

    host::BaseObject* sky = host::BaseObject::Alloc(host::Osky);
    host::BaseMaterial* material = host::BaseMaterial::Alloc(host::Mmaterial);
    host::BaseShader* shader = host::BaseShader::Alloc(host::Xbitmap);
    host::TextureTag* tag = host::TextureTag::Alloc();
    if (!sky || !material || !shader || !tag) return;  // only without memory, when nothing goes on
    settings.SetContainer(host::DOCUMENT_EMBEDDED_IMAGES, images);
    shader->GetDataInstance()->SetFilename(host::BITMAPSHADER_FILENAME, name);
    material->SetName("Soft sky");
    material->InsertShader(shader);
    material->GetDataInstance()->SetBool(host::MATERIAL_USE_COLOR, true);
    material->GetDataInstance()->SetLink(host::MATERIAL_COLOR_SHADER, shader);
    document.InsertMaterial(material);
    sky->SetName("Soft sky");
    tag->SetMaterial(material);
    sky->InsertTag(tag);
    document.AppendObject(sky);
    host::String error;
    if (!host::materialiseEmbeddedImages(document, &error)) host::BaseObject::Free(sky);
}

}  // namespace app
