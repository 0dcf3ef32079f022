#include "plugin/scene/tag_presets.h"

#include "plugin/core/class_descriptions.h"
#include "plugin/core/ids.h"

namespace lumora {

namespace {

constexpr Int32 kLightDistribution = 1154, kLightTexture = 1155, kEnvironmentTexture = 1150;
constexpr Int32 kFloatValue = 1080, kRgbColor = 1200;
constexpr Int32 kImageFile = 1100, kImagePower = 1102, kImageProjection = 1111;

/// A new shader in the link of `owner`, in place of what stood there. Null when the host does not know the type.
BaseShader* putShader(BaseList2D& owner, Int32 link, Int32 type) {
    BaseList2D* before = owner.GetDataInstance()->GetLink(link);
    if (before && before->GetFamily() == NodeFamily::Shader && before->GetMain() == &owner) {
        before->Remove();
        auto* old = static_cast<BaseShader*>(before);
        BaseShader::Free(old);
    }
    BaseShader* shader = BaseShader::Alloc(type);
    if (!shader) return nullptr;
    owner.InsertShader(shader);
    owner.SetParameter(link, GeData(shader));
    return shader;
}

void putFloat(BaseTag& tag, Int32 link, Float value) {
    if (BaseShader* shader = putShader(tag, link, ID_LUMORA_FLOAT_TEXTURE))
        shader->SetParameter(kFloatValue, GeData(value));
}

}  // namespace

void setAreaLightPreset(BaseTag& tag) {
    putFloat(tag, kLightTexture, 0.025);
    putFloat(tag, kLightDistribution, 1.0);
    constexpr Int32 kRestored[] = {1151, 1152, 1153, 1157, 1158, 1161, 1162, 1163, 1164,
                                   1165, 1166, 1167, 1169, 1170, 1171, 1172, 1175};
    for (const Int32 id : kRestored)
        if (const Parameter* row = lightTagDescription()->Find(id)) tag.SetParameter(id, DefaultOf(*row));
}

void setIesLightPreset(BaseTag& tag) {
    BaseShader* image = putShader(tag, kLightDistribution, ID_LUMORA_IMAGE_TEXTURE);
    if (!image) return;
    image->SetParameter(kImageFile, GeData(Filename("filename.ies")));
    BaseShader* projection = putShader(*image, kImageProjection, ID_LUMORA_TEXTURE_PROJECTION);
    if (!projection) return;
    constexpr Int32 kType = 1360, kSpherical = 4, kRotationX = 1369, kScaleX = 1372, kMoveX = 1375;
    projection->SetParameter(kType, GeData(kSpherical));
    for (Int32 i = 0; i < 3; ++i) {
        projection->SetParameter(kRotationX + i, GeData(i == 0 ? 90.0 : 0.0));
        projection->SetParameter(kScaleX + i, GeData(1.0));
        projection->SetParameter(kMoveX + i, GeData(0.0));
    }
}

void setGreyEnvironmentPreset(BaseTag& tag) {
    if (BaseShader* colour = putShader(tag, kEnvironmentTexture, ID_LUMORA_RGB_SPECTRUM))
        colour->SetParameter(kRgbColor, GeData(Vector(0.9)));
}

void setHdrEnvironmentPreset(BaseTag& tag) {
    const BaseList2D* before = tag.GetDataInstance()->GetLink(kEnvironmentTexture);
    if (before && before->GetType() == ID_LUMORA_IMAGE_TEXTURE) return;
    BaseShader* image = putShader(tag, kEnvironmentTexture, ID_LUMORA_IMAGE_TEXTURE);
    if (!image) return;
    image->SetName("env.hdri");
    image->SetParameter(kImagePower, GeData(1.0));
    constexpr Int32 kKeepUpright = 1361;
    if (BaseShader* projection = putShader(*image, kImageProjection, ID_LUMORA_TEXTURE_PROJECTION))
        projection->SetParameter(kKeepUpright, GeData(Int32(0)));
}

}  // namespace lumora
