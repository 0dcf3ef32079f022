// Host shaders as engine textures.
#pragma once

#include "plugin/materials/material_manager.h"

namespace lumora {

/// What a channel does with a shader beyond showing it.
struct TextureUse {
    bool isData = false;  ///< numbers, not colours: a normal map, roughness
};

/// The engine texture that stands for the shader, with everything linked below it. Null for what cannot be represented:
/// a missing shader, an unknown type or an image that is not there (the log names both). `parent` and `pin`: what the
/// result will feed, so that plain values are made inside the pin; may be null. One shader used twice gives one node.
ApiNode* generateTexture(MatManager& manager, ApiNode* parent, PinId pin, BaseShader* shader, MatLink& link,
                         TextureUse use = {});

/// Full path of an image that the document names; empty when there is no such file.
Filename resolveTexturePath(const BaseDocument* doc, const Filename& file, const Filename& suggested = {});

}  // namespace lumora
