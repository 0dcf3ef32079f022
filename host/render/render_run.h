// One final render: the document that is rendered, its renderer, and the calls of its phases.
//
//   sequence open; for each frame: frame open, inner open, inner close, frame close; sequence close
//
// Every open call is followed by its close, also when it failed, so that a renderer can clean up; vps.error tells.
// After a failure no further phase is opened.
#pragma once

#include <memory>

#include "host/sdk/render.h"

namespace host {

class RenderRun {
public:
    RenderRun(const BaseContainer& renderData, MultipassBitmap& bitmap, const RenderReport& report, UInt32 flags,
              C4DThread* thread);

    /// Renders the frames of the render data. The document is changed: time, caches, a video post when it has none.
    RenderResult run(BaseDocument& document);
    const String& errorText() const { return vps_.errorText; }

private:
    BaseVideoPost* findPost(BaseDocument& document);
    void renderFrame(const BaseTime& time);
    /// Makes one call. Failures are kept in vps_.error; the first one counts.
    void call(VpPhase phase, Bool open);
    void fail(RenderResult result, const String& text);
    Bool failed() const { return vps_.error != RenderResult::Ok; }
    Bool stopAsked() const { return vps_.thread && vps_.thread->TestBreak(); }

    Render render_;
    VideoPostStruct vps_;
    BaseVideoPost* post_ = nullptr;
    VideoPostData* data_ = nullptr;
};

}  // namespace host
