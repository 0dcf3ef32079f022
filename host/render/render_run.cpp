#include "host/render/render_run.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <new>

#include "host/runtime/plugin_registry.h"

namespace host {

namespace {

constexpr Int64 kMaxFrames = 1'000'000;

UInt32 rendererInfo(BaseVideoPost& post) {
    auto* data = dynamic_cast<VideoPostData*>(post.GetNodeData());
    return data ? data->GetRenderInfo(&post) : 0;
}

BaseVideoPost* findOfType(RenderData& data, Int32 type) {
    for (BaseVideoPost* post = data.GetFirstVideoPost(); post; post = post->GetNext()) {
        if (post->GetType() == type) return post;
    }
    return nullptr;
}

// The first registered renderer; 0 when no plug-in brought one.
Int32 firstRenderer() {
    for (const Registration* entry : registrationsOf(PluginKind::VideoPost)) {
        const std::unique_ptr<BaseVideoPost> post(BaseVideoPost::Alloc(entry->info.id));
        if (post && (rendererInfo(*post) & VPINFO_RENDERER)) return entry->info.id;
    }
    return 0;
}

String defaultText(RenderResult result) {
    switch (result) {
        case RenderResult::Ok:
            return {};
        case RenderResult::OutOfMemory:
            return "There is not enough memory to render.";
        case RenderResult::NoRenderer:
            return "No renderer is loaded.";
        case RenderResult::SaveError:
            return "A picture could not be written.";
        case RenderResult::UserBreak:
            return "The render was stopped.";
        case RenderResult::Failed:
            break;
    }
    return "The render failed.";
}

}  // namespace

RenderRun::RenderRun(const BaseContainer& renderData, MultipassBitmap& bitmap, const RenderReport& report, UInt32 flags,
                     C4DThread* thread) {
    render_.bitmap_ = &bitmap;
    render_.data_ = renderData;
    render_.flags_ = flags;
    render_.report_ = &report;
    vps_.render = &render_;
    vps_.thread = thread;
}

void RenderRun::fail(RenderResult result, const String& text) {
    if (failed()) return;
    vps_.error = result;
    if (vps_.errorText.IsEmpty()) vps_.errorText = text.Content() ? text : defaultText(result);
}

BaseVideoPost* RenderRun::findPost(BaseDocument& document) {
    const Int32 wanted = render_.data_.GetInt32(RDATA_RENDERENGINE);
    const Int32 type = wanted ? wanted : firstRenderer();
    if (type == 0) {
        fail(RenderResult::NoRenderer, "No renderer is loaded.");
        return nullptr;
    }
    RenderData& data = *document.GetActiveRenderData();
    if (BaseVideoPost* post = findOfType(data, type)) return post;
    BaseVideoPost* post = BaseVideoPost::Alloc(type);
    if (!post) {
        fail(RenderResult::NoRenderer,
             "The renderer of the document (number " + String::IntToString(type) + ") is not loaded.");
        return nullptr;
    }
    data.InsertVideoPost(post);
    return post;
}

void RenderRun::call(VpPhase phase, Bool open) {
    vps_.phase = phase;
    vps_.open = open;
    RenderResult result = RenderResult::Failed;
    String text;
    try {
        const Registration* entry = findRegistration(post_->GetType());
        const PluginScope scope(entry ? entry->owner : 0);
        result = data_->Execute(post_, &vps_);
    } catch (const std::bad_alloc&) {
        result = RenderResult::OutOfMemory;
    } catch (const std::exception& e) {
        text = String("The renderer failed: ") + e.what();
    }
    if (result != RenderResult::Ok) fail(result, text);
}

void RenderRun::renderFrame(const BaseTime& time) {
    vps_.time = time;
    vps_.doc->SetTime(time);
    vps_.doc->ExecutePasses(true, true, true);
    call(VpPhase::Frame, true);
    if (!failed()) {
        call(VpPhase::Inner, true);
        call(VpPhase::Inner, false);
    }
    call(VpPhase::Frame, false);
}

RenderResult RenderRun::run(BaseDocument& document) {
    post_ = findPost(document);
    if (!post_) return vps_.error;
    data_ = dynamic_cast<VideoPostData*>(post_->GetNodeData());
    if (!data_ || !(rendererInfo(*post_) & VPINFO_RENDERER)) {
        fail(RenderResult::NoRenderer, "\"" + post_->GetName() + "\" is no renderer.");
        return vps_.error;
    }
    vps_.doc = &document;
    vps_.fps = std::max(1, document.GetFps());
    const BaseContainer& settings = render_.data_;
    const Int64 first = settings.GetTime(RDATA_FRAMEFROM, document.GetTime()).GetFrame(vps_.fps);
    const Int64 last = std::max(first, settings.GetTime(RDATA_FRAMETO, document.GetTime()).GetFrame(vps_.fps));
    const Int64 step = std::max(1, settings.GetInt32(RDATA_FRAMESTEP, 1));
    if ((last - first) / step >= kMaxFrames) {
        fail(RenderResult::Failed, "The frame range is longer than a million frames.");
        return vps_.error;
    }
    // A single picture keeps a time between two frames.
    const auto timeOf = [&](Int64 frame) {
        return first == last ? settings.GetTime(RDATA_FRAMEFROM, document.GetTime())
                             : BaseTime::FromFrame(frame, vps_.fps);
    };
    vps_.time = timeOf(first);
    document.SetTime(vps_.time);
    document.ExecutePasses(true, true, true);
    data_->AllocateBuffers(post_, &render_, &document);
    call(VpPhase::FrameSequence, true);
    for (Int64 frame = first; frame <= last && !failed(); frame += step) {
        if (stopAsked()) {
            fail(RenderResult::UserBreak, {});
        } else {
            renderFrame(timeOf(frame));
        }
    }
    // A stop in the last frame ends its loops without a result of their own.
    if (stopAsked()) fail(RenderResult::UserBreak, {});
    call(VpPhase::FrameSequence, false);
    return vps_.error;
}

RenderResult RenderDocument(BaseDocument* document, const BaseContainer& renderData, MultipassBitmap& bitmap,
                            const RenderReport& report, UInt32 flags, C4DThread* thread, String* error) {
    const auto say = [error](const String& text) {
        if (error) *error = text;
    };
    if (!document) {
        say("There is no document to render.");
        return RenderResult::Failed;
    }
    // Renderers keep one final render at a time; a second one waits.
    static std::mutex oneAtATime;
    const std::scoped_lock guard(oneAtATime);
    std::unique_ptr<BaseDocument> clone;
    try {
        if (!(flags & RENDERFLAGS_NO_CLONE)) {
            clone.reset(document->CloneDocument());
            if (!clone) throw std::bad_alloc();
            document = clone.get();
            document->GetActiveRenderData()->SetData(renderData);
        }
        RenderRun run(renderData, bitmap, report, flags, thread);
        const RenderResult result = run.run(*document);
        say(run.errorText());
        return result;
    } catch (const std::bad_alloc&) {
        say(defaultText(RenderResult::OutOfMemory));
        return RenderResult::OutOfMemory;
    } catch (const std::exception& e) {
        say(String("The render failed: ") + e.what());
        return RenderResult::Failed;
    }
}

}  // namespace host
