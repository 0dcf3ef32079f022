// Materials and shaders.
#pragma once

#include "host/sdk/base_list.h"
#include "host/sdk/ids.h"

namespace host {

class BaseBitmap;

class HOST_API BaseShader : public BaseList2D {
public:
    static BaseShader* Alloc(Int32 type);  ///< loose; null for an unknown type
    static void Free(BaseShader*& shader);
    BaseShader* GetNext() const { return static_cast<BaseShader*>(next_); }
    BaseShader* GetDown() const { return static_cast<BaseShader*>(down_); }
    /// For bitmap shaders: the file; empty for others.
    Filename GetFileName() const;

protected:
    explicit BaseShader(Int32 type);
    friend class NodeFactory;
};

class HOST_API BaseMaterial : public BaseList2D {
public:
    static BaseMaterial* Alloc(Int32 type);  ///< loose; null for an unknown type
    static void Free(BaseMaterial*& material);
    BaseMaterial* GetNext() const { return static_cast<BaseMaterial*>(next_); }
    BaseMaterial* GetPred() const { return static_cast<BaseMaterial*>(pred_); }
    /// The host's own material: whether a channel is on, by its MaterialChannel or its switch MATERIAL_USE_*.
    Bool GetChannelState(Int32 channel) const {
        return GetDataInstance()->GetBool(channel < MATERIAL_USE_COLOR ? MATERIAL_USE_COLOR + channel : channel);
    }
    /// First parameter id of a layer of the reflection channel; kNotOk when there is no such layer.
    Int32 GetReflectionLayerIndex(Int32 layer) const {
        return layer == 0 && GetType() == Mmaterial ? REFLECTION_LAYER_ID : kNotOk;
    }
    /// The shader that a link parameter names, when it is one.
    BaseShader* GetShader(Int32 parameter) const;

protected:
    explicit BaseMaterial(Int32 type);
    friend class NodeFactory;
};

}  // namespace host
