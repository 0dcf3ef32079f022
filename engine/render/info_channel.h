// The info channels: their names, the pass that shows each beside the picture, and how values become brightness.
#pragma once

#include "engine/api/ids.h"
#include "engine/render/settings.h"

namespace Lumora::engine {

/// How a channel's value is shown on a screen. Pictures in floats hold the value itself.
enum class InfoShade : std::uint8_t {
    Value,      ///< as it is
    Signed,     ///< -1 to 1 as 0 to 1
    ByDepth,    ///< 0 to depthMax as 0 to 1
    ByTexture,  ///< 0 to uvMax as 0 to 1
    ByIndex,    ///< 1 to 2 as 0 to 1
    BySpeed,    ///< -speedMax to speedMax as 0 to 1
};

struct InfoChannelRow {
    InfoChannel channel{};
    const char* name = "";
    RenderPassId pass{};
    PinId pin{};  ///< switch on the passes node; P_DYNAMIC: there is none
    InfoShade shade{};
};

const InfoChannelRow& infoChannelRow(InfoChannel channel);
/// Null when the pass shows no info channel.
const InfoChannelRow* infoChannelOf(RenderPassId pass);

/// The value where the camera meets nothing.
float infoBackground(const InfoSettings& settings);
/// A value as it is shown, each component 0 to 1.
Float3 shownInfo(const InfoSettings& settings, Float3 value);

/// A colour for a number; numbers next to each other look different. Zero is black.
Float3 idColor(std::uint64_t id);

}  // namespace Lumora::engine
