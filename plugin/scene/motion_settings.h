// What the render camera's tag says about motion blur, and the frames that it covers.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

class lumoraLive;

enum MotionAlignment : Int32 { ALIGN_BEFORE = 1, ALIGN_SYMMETRIC = 2, ALIGN_AFTER = 3 };
enum FinalMotionMode : Int32 { FINAL_MOTION_OFF = 0, FINAL_MOTION_TAG = 2 };

struct MotionSettings {
    bool cameraMotion = false;   ///< motion blur of the camera is wanted
    bool objectMotion = false;   ///< objects are sampled too
    Float shutterTime = 0.0;     ///< fraction of a second
    Float subframeOffset = 0.0;  ///< frames; moves the engine's time, not the span
    Int32 alignment = ALIGN_BEFORE;
    Int32 sampleMargin = 25;  ///< frames round the span whose samples are kept; 0 in a final render
    Int32 finalMotionMode = FINAL_MOTION_OFF;
    Float32 subframes = 1.0f;  ///< samples for each frame
};

/// Reads the tag of the camera (null: of the render camera) into the session. Final render and preferences decide
/// whether what it asks for is done. Sending thread.
void readMotionSettings(lumoraLive& session, const BaseObject* camera);

/// Whole frames, whatever the shutter.
struct MotionSpan {
    Float32 first = 0, last = 0;
};
MotionSpan motionSpan(const MotionSettings& settings, Int32 fps, Float frame);

/// Frames at which a span is sampled: every 1 / `subframes` from its first to its last.
std::vector<Float> motionTimes(const MotionSpan& span, Float32 subframes);

/// The frame that the document shows.
Int64 currentFrame(const BaseDocument& doc);

}  // namespace lumora
