// The classes that a plug-in derives from, one instance for each node, command, hook or message receiver.
#pragma once

#include <functional>
#include <memory>

#include "host/sdk/base_list.h"

namespace host {

class BaseBitmap;
class BaseDraw;
class BaseTag;
class BaseVideoPost;
class BaseMaterial;
class BaseObject;
class HyperFile;
class Render;
struct VideoPostStruct;
enum class RenderResult : Int32;

/// Base of everything that a plug-in registers.
class HOST_API BaseData {
public:
    virtual ~BaseData() = default;
};

/// The mind of one node. Made with the node, freed with it.
class HOST_API NodeData : public BaseData {
public:
    /// After the description's defaults were written. `loading`: a file's values follow.
    virtual Bool Init(BaseList2D* /*node*/, Bool /*loading*/) { return true; }
    virtual void Free(BaseList2D* /*node*/) {}
    /// Private data beside the container. `level` is the level that wrote it.
    virtual Bool Read(BaseList2D* /*node*/, HyperFile& /*file*/, Int32 /*level*/) { return true; }
    virtual Bool Write(const BaseList2D* /*node*/, HyperFile& /*file*/) const { return true; }
    virtual Bool CopyTo(NodeData* /*destination*/, const BaseList2D* /*source*/, BaseList2D* /*copy*/, UInt32 /*flags*/,
                        AliasTrans* /*translation*/) const {
        return true;
    }
    virtual Bool Message(BaseList2D* /*node*/, Int32 /*type*/, void* /*data*/) { return false; }
    /// True when the class answered for the parameter itself.
    virtual Bool GetDParameter(const BaseList2D* /*node*/, const DescID& /*id*/, GeData& /*value*/) const {
        return false;
    }
    virtual Bool SetDParameter(BaseList2D* /*node*/, const DescID& /*id*/, const GeData& /*value*/) { return false; }
    /// Rows that depend on the node; null: the registered ones.
    virtual const Description* GetDDescription(const BaseList2D* /*node*/) const { return nullptr; }
    virtual Bool GetDEnabling(const BaseList2D* /*node*/, const DescID& /*id*/) const { return true; }
};

class HOST_API ObjectData : public NodeData {
public:
    /// What the object evaluates to, loose (the host owns it then); null: nothing, or the object has no cache.
    virtual BaseObject* GetVirtualObjects(BaseObject* /*object*/, const BaseDocument* /*document*/) { return nullptr; }
    /// Bounding box in object space, when it is known without a cache.
    virtual Bool GetDimension(const BaseObject* /*object*/, Vector& /*centre*/, Vector& /*radius*/) const {
        return false;
    }
};

class HOST_API TagData : public NodeData {};

class HOST_API ShaderData : public NodeData {};

class HOST_API MaterialData : public NodeData {};

/// What VideoPostData::GetRenderInfo may answer.
enum VideoPostInfo : UInt32 { VPINFO_RENDERER = 64, VPINFO_FINAL_PICTURE = 128 };

class HOST_API VideoPostData : public NodeData {
public:
    virtual UInt32 GetRenderInfo(BaseVideoPost* /*node*/) { return 0; }
    /// Before the first phase: ask for pass buffers here.
    virtual void AllocateBuffers(BaseVideoPost* /*node*/, Render* /*render*/, BaseDocument* /*document*/) {}
    /// One phase of a render, on the render thread.
    virtual RenderResult Execute(BaseVideoPost* node, VideoPostStruct* vps) = 0;
};

/// What MessageData and CommandData receive: the id of a core message, with its two arguments.
class HOST_API MessageData : public BaseData {
public:
    /// Milliseconds between EVMSG_TIMER messages; 0: none. Asked again after each.
    virtual Int32 GetTimer() { return 0; }
    virtual Bool CoreMessage(Int32 id, const BaseContainer& message) = 0;
};

class HOST_API CommandData : public BaseData {
public:
    virtual Bool Execute(BaseDocument* /*document*/) { return true; }
    virtual Int32 GetState(BaseDocument* /*document*/) { return 1; }  ///< 1 enabled, 2 checked
    virtual Bool RestoreLayout(void* /*secret*/) { return true; }
    virtual Bool Message(Int32 /*type*/, void* /*data*/) { return false; }
};

/// Lives with each document.
class HOST_API SceneHookData : public NodeData {
public:
    /// Called for each redraw of a view, before (0) and after (1) the scene is drawn.
    virtual Bool Draw(BaseList2D* /*node*/, BaseDocument* /*document*/, BaseDraw* /*view*/, Int32 /*pass*/) {
        return true;
    }
};

class HOST_API CustomGuiData : public BaseData {
public:
    virtual Int32 GetId() = 0;
};

class HOST_API PreferenceData : public NodeData {};

}  // namespace host
