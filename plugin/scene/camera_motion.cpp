#include "plugin/scene/camera_motion.h"

#include <vector>

#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/session.h"
#include "plugin/scene/camera_frame.h"
#include "plugin/scene/motion_settings.h"

namespace lumora {

namespace {

struct FreeDocument {
    void operator()(BaseDocument* doc) const { BaseDocument::Free(doc); }
};

BaseObject* findCamera(BaseObject* first, UInt64 guid) {
    for (BaseObject* object = first; object; object = object->GetNext()) {
        if (object->GetType() == Ocamera && object->GetGUID() == guid) return object;
        if (BaseObject* below = findCamera(object->GetDown(), guid)) return below;
    }
    return nullptr;
}

/// The camera with everything above it, alone in a document of its own.
class CameraCopy {
public:
    CameraCopy(const BaseDocument& from, const BaseObject& camera) : doc_(BaseDocument::Alloc()) {
        doc_->SetFps(from.GetFps());
        doc_->SetMinTime(from.GetMinTime());
        doc_->SetMaxTime(from.GetMaxTime());
        doc_->SetTime(from.GetTime());
        const BaseObject* top = &camera;
        while (top->GetUp()) top = top->GetUp();
        AliasTrans alias;
        auto* copy = static_cast<BaseObject*>(top->GetClone(COPYFLAGS_KEEP_GUID, &alias));
        if (!copy) return;
        alias.Connect();
        doc_->AppendObject(copy);
        camera_ = findCamera(doc_->GetFirstObject(), camera.GetGUID());
        if (camera_) doc_->GetActiveBaseDraw()->SetSceneCamera(camera_);
    }
    const BaseObject* camera() const { return camera_; }
    void moveTo(Float frame) {
        doc_->SetTime(BaseTime(frame, doc_->GetFps()));
        doc_->ExecutePasses(true, true, true);
    }

private:
    std::unique_ptr<BaseDocument, FreeDocument> doc_;
    BaseObject* camera_ = nullptr;
};

struct Samples {
    std::vector<float> times;
    std::vector<Float3> position, target, up;
};

Samples takeSamples(CameraCopy& copy, const std::vector<Float>& frames, Int32 fps) {
    Samples samples;
    for (const Float frame : frames) {
        if (sendBroken()) return {};
        const float seconds = static_cast<float>(frame / fps);
        if (!samples.times.empty() && !(seconds > samples.times.back())) continue;
        copy.moveTo(frame);
        Vector position, target, up;
        cameraFrame(*copy.camera(), copy.camera()->GetTag(ID_LUMORA_CAMERA_TAG), position, target, up,
                    globals().unitScale);
        const EngineFrame at = toEngineFrame(position, target, up);
        samples.times.push_back(seconds);
        samples.position.push_back(at.position);
        samples.target.push_back(at.target);
        samples.up.push_back(at.up);
    }
    return samples;
}

struct Filling {
    explicit Filling(std::atomic<bool>& flag) : flag_(flag) { flag_ = true; }
    ~Filling() { flag_ = false; }
    std::atomic<bool>& flag_;
};

}  // namespace

bool sampleCamera(lumoraLive& session, const BaseObject& camera, ApiNode* node) {
    const Filling filling(session.camera.filling);
    const BaseDocument& doc = *session.sendDoc;
    const Int32 fps = doc.GetFps();
    const MotionSpan span = motionSpan(session.motion, fps, static_cast<Float>(currentFrame(doc)));
    CameraCopy copy(doc, camera);
    if (!copy.camera()) {
        logLine("***ERROR cam clone is NULL!!!!");
        return false;
    }
    const Samples samples = takeSamples(copy, motionTimes(span, session.motion.subframes), fps);
    if (samples.times.empty()) return false;
    const Lumora::ApiTimeSampling sampling(samples.times.data(), samples.times.size(), 0.0f,
                                           Lumora::ApiTimeSampling::endTimeAuto(), Lumora::ANIMATION_ONCE);
    const auto write = [&](PinId pin, const std::vector<Float3>& values) {
        writeAnimation(ownedInput(node, pin, NT_FLOAT), A_VALUE, sampling, values.size(), values.data(), values.size(),
                       true);
    };
    write(P_POSITION, samples.position);
    write(P_TARGET, samples.target);
    write(P_UP, samples.up);
    return true;
}

}  // namespace lumora
