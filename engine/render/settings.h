// Camera, kernel and film as plain values, read once from their nodes.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <vector>

#include "engine/film/imager.h"
#include "engine/render/vec.h"

namespace Lumora::engine {

enum class CameraKind : std::uint8_t { ThinLens, Panoramic, Baking };

/// How the directions of a panoramic camera lie on the film. By number of the pin.
enum class Panorama : std::uint8_t {
    Spherical,    ///< longitude and latitude, fovX by fovY degrees
    Cylindrical,  ///< longitude, and the tangent of the latitude: upright lines stay straight
    CubeMap,      ///< six square faces side by side, in the order of the next six
    CubeRight,
    CubeLeft,
    CubeUp,
    CubeDown,
    CubeBack,
    CubeFront,
    Fisheye,  ///< distance from the middle by angle, fovX degrees across the width; black outside the circle
};

enum class StereoOutput : std::uint8_t { Off, Left, Right, SideBySide, Anaglyph, OverUnder, SideBySideSqueezed };
enum class StereoMode : std::uint8_t {
    ToeIn,    ///< both eyes turn to the target
    OffAxis,  ///< parallel eyes with shifted films that agree at the target
    Parallel,
};

struct Stereo {
    StereoOutput output = StereoOutput::Off;
    StereoMode mode = StereoMode::OffAxis;
    float eyeDistance = 0.065f;  ///< metres
    float falloff = 1.0f;        ///< panoramic: exponent of the cosine of the latitude by which the eyes come together
    float blackoutLatitude = 90.0f;  ///< panoramic, degrees: black beyond
    bool swapEyes = false;
    Float3 leftFilter{1, 0, 0.812f}, rightFilter{0, 1, 0.188f};  ///< anaglyph
    friend bool operator==(const Stereo&, const Stereo&) = default;
};

/// Baking: the film is a piece of the texture plane, and every pixel shows the surface that has it.
struct Baking {
    int group = 1;              ///< of the object layers that take part
    int uvSet = 0;              ///< 0 to 2
    int padding = 4;            ///< pixels around an island that repeat its edge
    float tolerance = 0.5f;     ///< pixels by which a sample may miss an island and still count
    bool outwards = true;       ///< light comes through where the surface is transparent
    bool fromPosition = false;  ///< the surface is seen from the camera's position, else from right above it
    Float2 regionStart{}, regionSize{1, 1};  ///< texture coordinates of the film's lower left corner, and its extent
    friend bool operator==(const Baking&, const Baking&) = default;
};

/// Where a moving camera is at one time.
struct CameraKey {
    float time = 0.0f;  ///< 0 when the shutter opens, 1 when it closes
    Float3 position, target, up;
    friend bool operator==(const CameraKey&, const CameraKey&) = default;
};

/// Right-handed, metres.
struct Camera {
    CameraKind kind = CameraKind::ThinLens;
    Float3 position{0, 0, 5}, target{}, up{0, 1, 0};
    std::vector<CameraKey> keys;  ///< by rising time; empty: the camera stands still while the shutter is open
    float nearClip = 0.0f, farClip = kInfinity;  ///< thin lens: along the axis, else along the ray
    Stereo stereo;

    // The opening of the lens.
    float apertureRadius = 0.0f;
    float apertureAspect = 1.0f;  ///< height to width
    float apertureEdge = 1.0f;    ///< 1: all points of the opening alike; more: light gathers at its rim
    int bokehSides = 6;
    float bokehRotation = 0.0f;   ///< half turns
    float bokehRoundness = 1.0f;  ///< 0: straight edges between the corners, 1: a circle
    float focalDepth = 5.0f;      ///< distance of the plane in focus
    bool autofocus = false;       ///< the plane in focus goes through what the middle of the picture shows

    // Thin lens.
    float fov = 45.0f;                   ///< degrees, across the width
    bool orthographic = false;           ///< the field then spans what the perspective one spans at the target
    bool perspectiveCorrection = false;  ///< lines along the up vector stay upright however the camera is tilted
    float distortion = 0.0f;             ///< 0: straight lines stay straight, 1: distance from the middle by angle
    float pixelAspect = 1.0f;
    Float2 lensShift{};  ///< in widths and heights of the picture

    // Panoramic.
    Panorama projection = Panorama::Spherical;
    float fovX = 360.0f, fovY = 180.0f;
    bool keepUpright = false;  ///< the horizon lies level in the middle, wherever the target is

    Baking baking;
    friend bool operator==(const Camera&, const Camera&) = default;
};

enum class DirectMode : std::uint8_t { None, AmbientOcclusion, Diffuse };

/// What the info channel kernel and the info passes show. By number of the pin.
enum class InfoChannel : std::uint8_t {
    GeometricNormal,
    ShadingNormal,
    Position,
    Depth,
    MaterialId,
    TextureCoordinate,
    Tangent,
    Wireframe,
    SmoothNormal,
    ObjectId,
    AmbientOcclusion,
    MotionVector,
    RenderLayerId,
    RenderLayerMask,
    LightPassId,
    TangentNormal,
    Opacity,
    BakingGroupId,
    Roughness,
    IndexOfRefraction,
    DiffuseFilter,
    ReflectionFilter,
    RefractionFilter,
    TransmissionFilter,
    ObjectLayerColor,
};
inline constexpr int kInfoChannelCount = 25;

/// Where the rays of info channels go through the lens and the pixel.
enum class InfoSampling : std::uint8_t {
    Distributed,  ///< everywhere: with depth of field
    Filtered,     ///< through the middle of the lens
    Plain,        ///< through the middle of the lens and of the pixel
};

struct InfoSettings {
    InfoChannel channel = InfoChannel::ShadingNormal;
    InfoSampling sampling = InfoSampling::Distributed;
    bool bump = true;                 ///< normals with bump and normal maps
    bool highlightBackfaces = false;  ///< wireframe
    bool aoAlphaShadows = false;      ///< transparent surfaces occlude by their opacity
    float opacityThreshold = 1.0f;    ///< what is at least so opaque counts as opaque
    int uvSet = 0;                    ///< 0 to 2
    // What shows as white.
    float uvMax = 1.0f, depthMax = 5.0f, speedMax = 1.0f;
    float aoDistance = 3.0f;  ///< metres
    friend bool operator==(const InfoSettings&, const InfoSettings&) = default;
};

/// The part of the scene that belongs to a render layer.
struct RenderLayer {
    bool on = false, inverted = false;
    int id = 1;
    bool holds(int layerId) const { return !on || (layerId == id) != inverted; }
    friend bool operator==(const RenderLayer&, const RenderLayer&) = default;
};

/// Adaptive sampling: pixels whose noise is low enough get no more samples.
struct Adaptive {
    bool on = false;
    float threshold = 0.03f;         ///< standard error of a pixel, relative to its brightness
    std::uint32_t minSamples = 256;  ///< before these no pixel is left out
    float expectedExposure = 0.0f;   ///< noise counts as seen at this exposure; 0: at every brightness alike
    std::uint32_t group = 1;         ///< edge in pixels of the groups that stop together: 1, 2 or 4
    friend bool operator==(const Adaptive&, const Adaptive&) = default;
};

/// Metropolis sampling of paths.
struct Metropolis {
    float exploration = 0.7f;       ///< share of small mutations; the others start somewhere new
    float directImportance = 0.1f;  ///< weight of light that comes directly, in the choice of paths
    int maxRejects = 500;           ///< a chain that stood still for so long goes on whatever it finds
    int chains = 4;                 ///< in each tile
    std::uint32_t chunk = 8;        ///< mutations a pixel in one unit of work
    friend bool operator==(const Metropolis&, const Metropolis&) = default;
};

enum class KernelKind : std::uint8_t { Path, Direct, Metropolis, Info };

struct Kernel {
    KernelKind kind = KernelKind::Path;
    bool path = true;  ///< paths of all lengths, else direct lighting
    DirectMode directMode = DirectMode::AmbientOcclusion;
    std::uint32_t maxSamples = 128;
    int diffuseDepth = 8, glossyDepth = 24;  ///< bounces
    int specularDepth = 24;                  ///< bounces by mirrors and clear glass, glossy ones counted in
    float causticBlur = 0.02f;               ///< least width of facet distributions after a diffuse bounce
    float aoDistance = 3.0f;
    float filterSize = 1.2f;   ///< pixels; 1 and less is a box
    float rayEpsilon = 1e-4f;  ///< metres
    float giClamp = 1e6f;
    float terminationPower = 0.3f;  ///< Russian roulette: 0 never, 1 as hard as it may
    bool alphaChannel = false, keepEnvironment = false, alphaShadows = true;
    bool staticNoise = false;  ///< every frame has the same noise
    bool irradiance = false;   ///< what the camera sees is white and smooth: only its light shows
    std::uint32_t seed = 0;
    std::uint32_t lightMask = 0x3ff;      ///< lights taken in: bit 0 the sun, 1 the environment, 2 to 9 the ids
    std::uint32_t lightMaskInverted = 0;  ///< ids for which the masks of object layers are turned about
    float coherentRatio = 0.0f;           ///< share of the samples that use the same numbers in every pixel
    std::uint32_t firstBatch = 16;        ///< samples that a tile gets at once while the picture is young ...
    std::uint32_t longestBatch = 32;      ///< ... and later
    Adaptive adaptive;
    Metropolis metropolis;
    InfoSettings info;
    RenderLayer layer;
    friend bool operator==(const Kernel&, const Kernel&) = default;
};

/// The info passes that are made beside the picture.
struct InfoPasses {
    std::vector<InfoChannel> channels;  ///< in the order of their pins
    std::uint32_t maxSamples = 128;
    InfoSettings settings;  ///< but for the channel
    bool noise = false;     ///< the picture's own noise as a pass
    friend bool operator==(const InfoPasses&, const InfoPasses&) = default;
};

/// Pixels from the upper left corner.
struct Film {
    std::uint32_t width = 1024, height = 512;
    std::uint32_t regionX = 0, regionY = 0;
    std::uint32_t regionWidth = std::numeric_limits<std::uint32_t>::max();
    std::uint32_t regionHeight = std::numeric_limits<std::uint32_t>::max();
    friend bool operator==(const Film&, const Film&) = default;
};

}  // namespace Lumora::engine
