#include "plugin/scene/motion_settings.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "plugin/core/ids.h"
#include "plugin/core/prefs.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"
#include "plugin/scene/camera_frame.h"
#include "plugin/scene/camera_tag.h"

namespace lumora {

void readMotionSettings(lumoraLive& session, const BaseObject* camera) {
    if (!session.sendDoc) return;
    if (!camera) camera = renderCamera(session.sendDoc);
    if (!camera) return;
    MotionSettings& motion = session.motion;
    motion.cameraMotion = false;
    if (session.finalRender && motion.finalMotionMode == FINAL_MOTION_OFF) {
        motion.objectMotion = false;
        return;
    }
    if (const BaseTag* tag = camera->GetTag(ID_LUMORA_CAMERA_TAG)) {
        const BaseContainer& d = *tag->GetDataInstance();
        motion.cameraMotion = d.GetBool(CAMERATAG_MOTION_BLUR, false);
        motion.shutterTime = std::max(d.GetFloat(CAMERATAG_SHUTTER_TIME, 0.0), 0.0);
        motion.alignment = d.GetInt32(CAMERATAG_SHUTTER_ALIGNMENT, ALIGN_BEFORE);
        motion.subframeOffset = d.GetFloat(CAMERATAG_SUBFRAME_OFFSET, 0.0);
        motion.sampleMargin = session.finalRender ? 0 : d.GetInt32(CAMERATAG_SAMPLE_MARGIN, 25);
    }
    if (session.exportRequest.pending) {
        motion.objectMotion = false;
    } else if (session.finalRender) {
        motion.objectMotion = motion.cameraMotion && motion.finalMotionMode == FINAL_MOTION_TAG;
    } else {
        const PluginPrefs* prefs = singletons().prefs.get();
        if (prefs && !prefs->cameraMotionBlur) motion.cameraMotion = false;
        motion.objectMotion = motion.cameraMotion && (!prefs || prefs->objectMotionBlur);
    }
}

MotionSpan motionSpan(const MotionSettings& settings, Int32 fps, Float frame) {
    const Float length = fps * settings.shutterTime;
    Float start = frame - length, end = frame;
    if (settings.alignment == ALIGN_SYMMETRIC) {
        start = frame - length / 2;
        end = frame + length / 2;
    } else if (settings.alignment == ALIGN_AFTER) {
        start = frame;
        end = frame + length;
    }
    return {static_cast<Float32>(std::floor(start)), static_cast<Float32>(std::ceil(end))};
}

std::vector<Float> motionTimes(const MotionSpan& span, Float32 subframes) {
    constexpr Float kTolerance = 0.001;
    constexpr std::size_t kMostTimes = 100000;  // a shutter of hours is a mistake; it must not fill the memory
    const Float step = 1.0 / std::max<Float>(subframes, 0.01);
    std::vector<Float> times;
    while (times.size() < kMostTimes) {
        const Float time = span.first + static_cast<Float>(times.size()) * step;
        if (time > span.last + kTolerance) break;
        times.push_back(time);
    }
    return times;
}

Int64 currentFrame(const BaseDocument& doc) {
    return doc.GetTime().GetFrame(doc.GetFps());
}

}  // namespace lumora
