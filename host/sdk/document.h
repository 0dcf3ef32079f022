// The document: everything that a file holds, with its time, its view and its undo.
#pragma once

#include <memory>
#include <vector>

#include "host/sdk/base_list.h"
#include "host/sdk/material.h"
#include "host/sdk/object.h"
#include "host/sdk/tag.h"

namespace host {

class BaseVideoPost;

class HOST_API RenderData : public BaseList2D {
public:
    static RenderData* Alloc();
    RenderData* GetNext() const { return static_cast<RenderData*>(next_); }
    BaseVideoPost* GetFirstVideoPost() const { return firstVideoPost_; }
    void InsertVideoPost(BaseVideoPost* post, BaseVideoPost* pred = nullptr);  ///< at the end when pred is null
    ~RenderData() override;

private:
    friend class NodeFactory;
    friend class DocumentIO;
    friend class ListAccess;
    friend class BaseVideoPost;
    RenderData();
    BaseVideoPost* firstVideoPost_ = nullptr;
};

class HOST_API BaseVideoPost : public BaseList2D {
public:
    static BaseVideoPost* Alloc(Int32 type);  ///< null for an unregistered type
    BaseVideoPost* GetNext() const { return static_cast<BaseVideoPost*>(next_); }
    RenderData* GetRenderData() const { return static_cast<RenderData*>(main_); }

private:
    friend class NodeFactory;
    explicit BaseVideoPost(Int32 type);
};

class HOST_API LayerObject : public BaseList2D {
public:
    static LayerObject* Alloc();
    void InsertUnder(LayerObject* parent);  ///< as last child
    LayerObject* GetNext() const { return static_cast<LayerObject*>(next_); }
    LayerObject* GetDown() const { return static_cast<LayerObject*>(down_); }

private:
    friend class NodeFactory;
    LayerObject();
};

/// One view of the document: a camera of the scene, or the view's own.
class HOST_API BaseDraw : public BaseList2D {
public:
    BaseObject* GetSceneCamera(const BaseDocument* document) const;  ///< null: the view's own camera is used
    void SetSceneCamera(BaseObject* camera);
    /// The view's own camera; never null. Not in the object tree.
    BaseObject* GetEditorCamera() const { return editorCamera_; }
    /// Pixels: left, top, right, bottom, all inside.
    void GetFrame(Int32* left, Int32* top, Int32* right, Int32* bottom) const;
    void SetFrame(Int32 left, Int32 top, Int32 right, Int32 bottom);
    ~BaseDraw() override;

private:
    friend class BaseDocument;
    friend class ListAccess;
    void CopyContent(const BaseList2D& source, UInt32 flags) override;
    void TranslateLinks(const AliasTrans& translation) override;
    friend class NodeFactory;
    friend class DocumentIO;
    BaseDraw();
    BaseLink sceneCamera_;
    BaseObject* editorCamera_ = nullptr;
    Int32 frame_[4] = {0, 0, 1279, 719};
};

enum class UndoType : Int32 {
    None = 0,
    Change = 40,       ///< everything of the element and below it will change
    ChangeSmall = 42,  ///< the element without its children
    New = 44,          ///< call after the insertion
    Delete = 45,       ///< call before the removal
};
inline constexpr UndoType UNDOTYPE_CHANGE = UndoType::Change, UNDOTYPE_CHANGE_SMALL = UndoType::ChangeSmall,
                          UNDOTYPE_NEW = UndoType::New, UNDOTYPE_DELETE = UndoType::Delete;

class UndoStack;

class HOST_API BaseDocument : public BaseList2D {
public:
    static BaseDocument* Alloc();
    static void Free(BaseDocument*& document);

    // Objects, in tree order. Without a predecessor an object becomes the first of its level.
    BaseObject* GetFirstObject() const;
    void InsertObject(BaseObject* object, BaseObject* parent = nullptr, BaseObject* pred = nullptr);
    /// As the last object of the top level or of the parent.
    void AppendObject(BaseObject* object, BaseObject* parent = nullptr);
    BaseObject* SearchObject(const String& name) const;
    BaseObject* GetActiveObject() const;
    void SetActiveObject(BaseObject* object);

    BaseMaterial* GetFirstMaterial() const;
    void InsertMaterial(BaseMaterial* material, BaseMaterial* pred = nullptr);  ///< at the end when pred is null
    BaseMaterial* SearchMaterial(const String& name) const;
    BaseMaterial* GetActiveMaterial() const;
    void SetActiveMaterial(BaseMaterial* material);

    RenderData* GetFirstRenderData() const;
    RenderData* GetActiveRenderData() const;  ///< never null
    void InsertRenderData(RenderData* data, RenderData* pred = nullptr);
    void SetActiveRenderData(RenderData* data);

    LayerObject* GetFirstLayer() const;
    void InsertLayer(LayerObject* layer);

    BaseDraw* GetActiveBaseDraw() const { return draw_; }  ///< never null
    BaseDraw* GetRenderBaseDraw() const { return draw_; }

    /// Any element of the document by its GUID; null when there is none. Constant time.
    BaseList2D* FindByGUID(UInt64 guid) const;

    // Time.
    BaseTime GetTime() const { return time_; }
    void SetTime(const BaseTime& time);
    Int32 GetFps() const;
    void SetFps(Int32 fps);
    BaseTime GetMinTime() const;
    BaseTime GetMaxTime() const;
    void SetMinTime(const BaseTime& time);
    void SetMaxTime(const BaseTime& time);
    /// Metres per scene unit; 0.01 in a new document.
    Float GetUnitScale() const;
    void SetUnitScale(Float metres);

    // Where the document lies; both empty for one that was never saved.
    Filename GetDocumentPath() const { return path_; }
    String GetDocumentName() const { return GetName(); }
    void SetDocumentPath(const Filename& folder) { path_ = folder; }
    void SetDocumentName(const String& name) { SetName(name); }
    Bool IsChanged() const { return changed_; }
    void SetChanged(Bool changed) { changed_ = changed; }

    /// Evaluates tracks at the document's time, then generators and deformers whose caches are out of date. False when
    /// a thread break was asked for.
    Bool ExecutePasses(Bool animation, Bool expressions, Bool caches);

    // Undo. Steps are opened and closed; AddUndo in between. Nested steps join the outer one.
    Bool StartUndo();
    Bool AddUndo(UndoType type, BaseList2D* element);
    Bool EndUndo();
    Bool DoUndo();
    Bool DoRedo();
    Int32 GetUndoCount() const;
    Int32 GetRedoCount() const;
    void FlushUndoBuffer();

    /// A copy of everything; GUIDs stay, links lead to the copies.
    BaseDocument* CloneDocument() const;

    ~BaseDocument() override;

private:
    friend class NodeFactory;
    friend class DocumentIO;
    friend class ListAccess;
    friend class BaseList2D;
    BaseDocument();
    void CopyContent(const BaseList2D& source, UInt32 flags) override;
    void TranslateLinks(const AliasTrans& translation) override;
    struct Lists;
    std::unique_ptr<Lists> lists_;
    std::unique_ptr<UndoStack> undo_;
    BaseDraw* draw_ = nullptr;
    BaseTime time_;
    Filename path_;
    Bool changed_ = false;
    BaseLink activeRenderData_, activeObject_, activeMaterial_;
};

// The documents that are open.
HOST_API BaseDocument* GetActiveDocument();  ///< null when none is open
HOST_API BaseDocument* GetFirstDocument();
HOST_API void InsertBaseDocument(BaseDocument* document);  ///< the host owns it from then on
HOST_API void SetActiveDocument(BaseDocument* document);
HOST_API void KillDocument(BaseDocument*& document);

/// Document files of the host. On failure null or false, and `error` is one sentence.
/// Loading knows the foreign scene formats by their suffix; what an import left out goes to the console.
HOST_API BaseDocument* LoadDocument(const Filename& file, String* error);
HOST_API Bool SaveDocument(BaseDocument* document, const Filename& file, String* error);

/// Colours between the document's space and linear light. Mode 1: linear to sRGB; 2: sRGB to linear.
enum class ColorTransform : Int32 { None = 0, LinearToSrgb = 1, SrgbToLinear = 2 };
HOST_API Vector TransformColor(const Vector& colour, ColorTransform mode);

}  // namespace host
