// Final renders: the host calls the video post that the render data names, phase by phase, on a render thread.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "host/sdk/bitmap.h"
#include "host/sdk/document.h"
#include "host/sdk/node_data.h"
#include "host/sdk/thread.h"

namespace host {

/// Results of a render. The numbers are the host's.
enum class RenderResult : Int32 { Ok = 0, OutOfMemory = 1, NoRenderer = 2, SaveError = 4, UserBreak = 6, Failed = 7 };

enum RenderFlags : UInt32 {
    RENDERFLAGS_NONE = 0,
    RENDERFLAGS_PREVIEW = 16,   ///< a small preview: renderers with an engine of their own stand back
    RENDERFLAGS_NO_CLONE = 32,  ///< the caller gives a document of its own; it is rendered as it stands
};

/// Kinds of picture buffers.
inline constexpr Int32 VPBUFFER_RGBA = 1, VPBUFFER_ALPHA = 2, VPBUFFER_PASS = 100;

/// One picture that a renderer fills: four 32-bit floats a pixel (linear), or what 8-bit lines were written.
/// Lines may be written from one thread at a time.
class HOST_API VPBuffer {
public:
    VPBuffer(Int32 kind, const String& name, Int32 width, Int32 height);
    ~VPBuffer();
    Int32 GetKind() const;
    const String& GetName() const;
    Int32 GetBw() const;
    Int32 GetBh() const;
    /// Pixels x to x+count-1 of line y. Out of range pixels are dropped.
    void SetLine8(Int32 x, Int32 y, Int32 count, const UChar* rgba);
    void SetLine(Int32 x, Int32 y, Int32 count, const Float32* rgba);
    void GetLine(Int32 x, Int32 y, Int32 count, Float32* rgba) const;
    /// True when the last writes were 8-bit values ready for display.
    Bool IsDisplayReferred() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

/// All pictures of a render: the first is the beauty, the others are passes.
class HOST_API MultipassBitmap {
public:
    MultipassBitmap(Int32 width, Int32 height);
    VPBuffer* GetBeauty() const { return buffers_.front().get(); }
    VPBuffer* AddPass(const String& name);
    const std::vector<std::unique_ptr<VPBuffer>>& Buffers() const { return buffers_; }

private:
    std::vector<std::unique_ptr<VPBuffer>> buffers_;
};

/// What a running render says. Called on the render thread; cheap calls only.
struct RenderReport {
    std::function<void(Float fraction)> progress;  ///< 0 to 1 of the frame
    std::function<void(const String& text)> status;
    std::function<void()> imageChanged;  ///< the beauty buffer holds a newer picture
};

/// The render that a video post works for.
class HOST_API Render {
public:
    VPBuffer* GetBuffer(Int32 kind, Int32 index = 0) const;  ///< null when there is none
    MultipassBitmap* GetMultipass() const { return bitmap_; }
    /// Copy of the render data's container that this render uses.
    const BaseContainer& GetRenderData() const { return data_; }
    UInt32 GetFlags() const { return flags_; }
    void SetProgress(Float fraction) const;
    void SetStatus(const String& text) const;
    void ImageChanged() const;

private:
    friend class RenderRun;
    MultipassBitmap* bitmap_ = nullptr;
    BaseContainer data_;
    UInt32 flags_ = 0;
    const RenderReport* report_ = nullptr;
};

enum class VpPhase : Int32 { FrameSequence = 0, Frame = 1, Inner = 2 };

struct VideoPostStruct {
    VpPhase phase = VpPhase::FrameSequence;
    Bool open = true;             ///< false: the close call of the phase
    BaseDocument* doc = nullptr;  ///< the document that is rendered, evaluated at `time`
    Int32 fps = 30;
    BaseTime time;
    C4DThread* thread = nullptr;  ///< TestBreak() asks for a user's break
    Render* render = nullptr;
    RenderResult error = RenderResult::Ok;  ///< of the render so far
    String errorText;                       ///< one sentence that the renderer leaves when it fails
};

/// Renders frames of the document with the video post that RDATA_RENDERENGINE names, in this order for each:
/// sequence open; frame open, inner open, inner close, frame close; sequence close. The document is cloned first, so
/// that the caller's stays untouched. Blocks; the calling thread is the render thread. `thread` may be null.
/// On failure `error` holds one sentence.
HOST_API RenderResult RenderDocument(BaseDocument* document, const BaseContainer& renderData, MultipassBitmap& bitmap,
                                     const RenderReport& report, UInt32 flags, C4DThread* thread, String* error);

}  // namespace host
