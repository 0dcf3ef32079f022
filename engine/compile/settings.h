// Camera, kernel and film settings from the nodes on a render target.
#pragma once

#include "engine/compile/nodes.h"
#include "engine/render/settings.h"

namespace Lumora::engine {

/// The largest film that is rendered: pixels along an edge, and in all.
inline constexpr std::uint32_t kMaxFilmEdge = 65536;
inline constexpr std::uint64_t kMaxFilmPixels = 1ull << 30;

/// What is missing takes the defaults of the plain structs. Values out of range are brought into it.
/// `time`: seconds, of the project; `fps`: frames a second. They say which part of its motion the camera is seen in.
Camera readCamera(const NodeTable& nodes, const NodeRecord& target, float time, float fps);
Kernel readKernel(const NodeTable& nodes, const NodeRecord& target);
InfoPasses readInfoPasses(const NodeTable& nodes, const NodeRecord& target);
Film readFilm(const NodeTable& nodes, const NodeRecord& target);

}  // namespace Lumora::engine
