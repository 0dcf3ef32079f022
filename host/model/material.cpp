// Materials and shaders.
#include "host/sdk/material.h"

#include "host/model/list_access.h"
#include "host/model/node_factory.h"

namespace host {

BaseShader::BaseShader(Int32 type) : BaseList2D(NodeFamily::Shader, type) {}

BaseShader* BaseShader::Alloc(Int32 type) {
    return static_cast<BaseShader*>(NodeFactory::make(NodeFamily::Shader, type));
}

void BaseShader::Free(BaseShader*& shader) {
    ListAccess::destroy(shader);
    shader = nullptr;
}

Filename BaseShader::GetFileName() const {
    return type_ == Xbitmap ? data_.GetFilename(BITMAPSHADER_FILENAME) : Filename();
}

BaseMaterial::BaseMaterial(Int32 type) : BaseList2D(NodeFamily::Material, type) {}

BaseMaterial* BaseMaterial::Alloc(Int32 type) {
    return static_cast<BaseMaterial*>(NodeFactory::make(NodeFamily::Material, type));
}

void BaseMaterial::Free(BaseMaterial*& material) {
    ListAccess::destroy(material);
    material = nullptr;
}

BaseShader* BaseMaterial::GetShader(Int32 parameter) const {
    BaseList2D* target = data_.GetLink(parameter, document_);
    return target && target->GetFamily() == NodeFamily::Shader ? static_cast<BaseShader*>(target) : nullptr;
}

}  // namespace host
