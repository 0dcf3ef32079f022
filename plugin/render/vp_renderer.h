// The renderer of final pictures: a video post that the host calls phase by phase on its render thread.
//
//   sequence open: the session is taken over, a settings record of its own is made, the engine is started
//     frame open, inner open: the document is sent, the picture is copied to the host while it is sampled
//     inner close: the finished picture
//   sequence close: the session is emptied; the next live render starts from nothing
//
// While `finalRender` is set no live path touches the scene.
#pragma once

#include <memory>

#include "engine/api/ids.h"
#include "plugin/core/prelude.h"

namespace lumora {

class RenderSettings;
class lumoraLive;

/// Parameters of the video post. Stored in documents.
enum VpParameter : Int32 {
    VP_UPDATE_MATERIALS = 1001,
    VP_OVERRIDE_KERNEL = 1005,
    VP_ALL_DEVICES = 1007,
    VP_DEPTH = 1008,
    VP_INFO_BAR = 1009,
    VP_FRAME_MODE = 1011,
    VP_TIME_LIMIT = 1012,  ///< seconds of a frame, 0 for none
    VP_MOTION_BLUR = 1013,
    VP_MOTION_RATE = 1014,
    VP_CLAY_MODE = 1016,
    // The part of the frame that is rendered, 0 to 1 from its upper left corner; without area, all of it.
    VP_REGION_LEFT = 1018,
    VP_REGION_TOP = 1019,
    VP_REGION_RIGHT = 1020,
    VP_REGION_BOTTOM = 1021,
    VP_MOTION_ANALYSIS = 1023,
    VP_KEEP_MATERIALS = 1024,
    VP_FULL_TEMPERATURE = 1035,
    VP_DENOISE = 1036,
    VP_KERNEL = 3001,
};

/// Values of VP_DEPTH.
enum VpDepth : Int32 { VPDEPTH_8_BIT = 0, VPDEPTH_FLOAT = 2, VPDEPTH_HALF = 3 };

const Description* vpRendererDescription();

class LumoraVpRenderer : public VideoPostData {
public:
    LumoraVpRenderer();
    ~LumoraVpRenderer() override;

    Bool Init(BaseList2D* node, Bool loading) override;
    UInt32 GetRenderInfo(BaseVideoPost* node) override;
    RenderResult Execute(BaseVideoPost* node, VideoPostStruct* vps) override;

private:
    RenderResult openSequence(const BaseVideoPost& node, VideoPostStruct& vps);
    RenderResult closeSequence(VideoPostStruct& vps);
    RenderResult openInner(const BaseVideoPost& node, VideoPostStruct& vps);
    RenderResult closeInner(VideoPostStruct& vps);

    bool frameSend(const BaseVideoPost& node, VideoPostStruct& vps);
    void frameLoop(VideoPostStruct& vps, Float timeLimit);
    void endAtTimeLimit();
    /// The picture into the host's buffer. `closing`: everything that was sampled, else the newest one of the engine.
    bool copyToHost(VideoPostStruct& vps, bool closing);
    /// The settings of this render, whatever the document says of the denoiser when this one is to denoise.
    void readSettings(const BaseContainer& data, VideoPostStruct& vps);
    RenderResult failed(VideoPostStruct& vps, const String& why) const;

    std::unique_ptr<RenderSettings> settings_;  ///< of one render
    VPBuffer* buffer_ = nullptr;
    Int32 depth_ = VPDEPTH_FLOAT;
    Float frameStart_ = 0;
    bool ownsRender_ = false, frameRan_ = false;
    bool denoise_ = false;  ///< the finished picture is the denoised one
};

/// Answers for the settings that this renderer keeps in a document: lists them, or sets one. False when the call is for
/// another renderer.
bool answerRendererSettings(RendererSettingsCall& call);

}  // namespace lumora
