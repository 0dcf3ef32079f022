// Owning handles of Embree's objects. Embree's own header stays in the .cpp files that call it.
#pragma once

#include <memory>

struct RTCDeviceTy;
struct RTCSceneTy;
struct RTCGeometryTy;

namespace Lumora::engine {

struct EmbreeRelease {
    void operator()(RTCDeviceTy* device) const;
    void operator()(RTCSceneTy* scene) const;
    void operator()(RTCGeometryTy* geometry) const;
};
using EmbreeDevice = std::unique_ptr<RTCDeviceTy, EmbreeRelease>;
using EmbreeScene = std::unique_ptr<RTCSceneTy, EmbreeRelease>;
using EmbreeGeometry = std::unique_ptr<RTCGeometryTy, EmbreeRelease>;

}  // namespace Lumora::engine
