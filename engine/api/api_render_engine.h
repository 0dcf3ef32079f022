// The render: what is rendered, its flow, pictures, statistics, devices. All static.
//
// Threads: every function may be called from any thread. The callbacks come from engine threads, never more than one at
// a time, and never while the caller's thread is inside the engine waiting for them: a callback may call any function
// here except the setters of the callbacks, stopRendering and the end of the engine.
#pragma once

#include <cstddef>

#include "engine/api/ids.h"
#include "engine/api/types.h"

namespace Lumora {

class ApiNode;

/// Form of an image's pixels.
enum ImageType : int {
    IMAGE_LDR_RGBA = 0,      ///< 4 bytes a pixel
    IMAGE_FLOAT_RGBA = 2,    ///< 16 bytes a pixel
    IMAGE_FLOAT_MONO = 3,    ///< 4 bytes a pixel
    IMAGE_FLOAT_MONO_A = 5,  ///< 8 bytes a pixel: value, alpha
};

/// One picture. Rows run from the top and follow each other without gaps. The pixels belong to the engine until the
/// result is released.
struct ApiRenderImage {
    ImageType type{};
    TonemapType tonemapType{};
    RenderPassId pass{};
    Vec2<unsigned> size{};
    unsigned pitch = 0;  ///< pixels from row to row
    const void* buffer = nullptr;
    unsigned long long changeLevel = 0;  ///< of the scene that it shows
    float samplesPerPixel = 0;
};

/// State of the render at one moment. A plain value.
class RenderResultStatistics {
public:
    /// Statistics of one pass; zeros for a pass that is not rendered.
    LUMORA_API float samplesPerPixel(RenderPassId pass) const;
    LUMORA_API float maxSamplesPerPixel(RenderPassId pass) const;
    LUMORA_API double samplesPerSecond(RenderPassId pass) const;  ///< film samples: pixels times passes over the film
    LUMORA_API float progress(RenderPassId pass) const;           ///< 0 to 1

    static constexpr unsigned kMaxPasses = 96;
    Vec2<unsigned> filmSize{};
    float tonemappedSamples = 0;  ///< samples per pixel in the newest picture
    float renderSeconds = 0;      ///< since the render was started last
    float estimatedSeconds = 0;   ///< whole time until the sample target; 0 when it cannot be told
    unsigned long long triangles = 0, displacementTriangles = 0, hairSegments = 0;
    unsigned meshes = 0, animatedMeshes = 0, instances = 0;
    float buildSeconds = 0;  ///< of the last update
    bool finished = false;   ///< the sample target is reached
    unsigned passCount = 0;
    RenderPassId passes[kMaxPasses] = {};
    float passSamples[kMaxPasses] = {};
    float passMaxSamples[kMaxPasses] = {};
    double passSamplesPerSecond[kMaxPasses] = {};
    float passProgress[kMaxPasses] = {};
};

/// What lies under a pixel.
struct PickIntersection {
    ApiNode* node = nullptr;        ///< the geometry node
    unsigned materialPinIndex = 0;  ///< pin of the node that holds the material
    float depth = 0;                ///< metres from the camera along its axis
    Vec3<float> position{};         ///< metres, world
    Vec3<float> geometricNormal{};
    Vec3<float> shadingNormal{};
    int primitiveIndex = -1;
    int instanceId = -1;
};

class ApiRenderEngine {
public:
    enum RenderPriority : int { PRIORITY_LOW = 0, PRIORITY_MEDIUM = 1, PRIORITY_HIGH = 2 };

    // --- Render target ------------------------------------------------------------------------------------------
    /// Sets the node that is rendered, of type NT_RENDER_TARGET in the project's graph; null renders nothing. Also
    /// starts a stopped engine again. The change is seen by the next ApiChangeManager::update(). False when refused.
    LUMORA_API static bool setRenderTargetNode(ApiNode* node);
    LUMORA_API static ApiNode* getRenderTargetNode();

    // --- Flow ---------------------------------------------------------------------------------------------------
    LUMORA_API static void pauseRendering();
    LUMORA_API static void continueRendering();
    LUMORA_API static void restartRendering();  ///< throws the samples away and starts again
    /// Ends sampling and waits for the threads to leave the scene; the last picture stays. setRenderTargetNode or
    /// restartRendering go on.
    LUMORA_API static void stopRendering();
    LUMORA_API static bool isRenderingPaused();
    LUMORA_API static bool isRenderFailed();
    /// Why the render failed, a sentence; empty when it did not. Good until the next call.
    LUMORA_API static const char* renderFailureText();
    LUMORA_API static void resetRenderFailure();

    // --- Updates ------------------------------------------------------------------------------------------------
    /// Counts the updates that changed something. The image's level reaches it when a picture shows the change.
    LUMORA_API static unsigned long long getCurrentChangeLevel();
    LUMORA_API static unsigned long long getRenderImageChangeLevel();
    /// Called with the change level when the engine has built an update. Null takes it away.
    LUMORA_API static void setAsyncUpdateCallback(void (*callback)(unsigned long long, void*), void* data);
    /// True when a callback for built updates is installed.
    LUMORA_API static bool updatesAreAsync();

    // --- Callbacks ----------------------------------------------------------------------------------------------
    /// Called when a newer picture can be grabbed. The array holds the newest images; it is the engine's and good
    /// only within the call. Null takes it away. Setting waits for a running call to end.
    LUMORA_API static void setOnNewImageCallback(void (*callback)(const ApiArray<ApiRenderImage>&, void*), void* data);
    LUMORA_API static void setOnRenderFailureCallback(void (*callback)(void*), void* data);

    // --- Result -------------------------------------------------------------------------------------------------
    /// The newest picture of each requested pass in the asynchronous tonemap type. False, and an empty array, when
    /// there is none yet. The images stay good until releaseRenderResult(), whatever is rendered meanwhile; grabbing
    /// again before that gives the same images.
    LUMORA_API static bool grabRenderResult(ApiArray<ApiRenderImage>& images);
    LUMORA_API static void releaseRenderResult();
    /// Tonemaps what has been sampled so far, now. Waits for the film. The images are the caller's until
    /// freeRenderImages().
    LUMORA_API static bool synchronousTonemap(const RenderPassId* passes, unsigned long long count, TonemapType type,
                                              ApiArray<ApiRenderImage>& images);
    LUMORA_API static void freeRenderImages(ApiArray<ApiRenderImage>& images);

    // --- Tonemap ------------------------------------------------------------------------------------------------
    LUMORA_API static void setAsyncTonemapType(TonemapType type);
    LUMORA_API static TonemapType asyncTonemapType();
    /// The passes that pictures are made of; the beauty pass alone at start. An empty array gives that back.
    LUMORA_API static bool setAsyncTonemapRenderPasses(const ApiArray<RenderPassId>& passes);
    LUMORA_API static void asyncTonemapRenderPasses(ApiArray<RenderPassId>& passes);
    LUMORA_API static void freeTonemapPasses(ApiArray<RenderPassId>& passes);

    // --- Region: the part of the film, in pixels, that is sampled first ------------------------------------------
    LUMORA_API static void setRenderRegion(bool on, Vec2<unsigned> start, Vec2<unsigned> size, unsigned feather);
    LUMORA_API static void getRenderRegion(bool& on, Vec2<unsigned>& start, Vec2<unsigned>& size, unsigned& feather);

    // --- View: take effect with the next update ------------------------------------------------------------------
    LUMORA_API static void setClayMode(ClayMode mode);
    LUMORA_API static ClayMode clayMode();
    LUMORA_API static void setSubSampleMode(SubSampleMode mode);
    LUMORA_API static SubSampleMode getSubSampleMode();
    LUMORA_API static float fps();  ///< frames a second of the animation
    LUMORA_API static void setFps(float fps);

    // --- Statistics ---------------------------------------------------------------------------------------------
    LUMORA_API static void getRenderResultStatistics(RenderResultStatistics& statistics);
    /// Bytes, but the last two, which count.
    LUMORA_API static void getMemoryUsage(unsigned long long& used, unsigned long long& free, unsigned long long& total,
                                          unsigned long long& film, unsigned long long& geometry,
                                          unsigned long long& nodes, unsigned long long& textures,
                                          unsigned long long& compositor, unsigned long long& meshCount,
                                          unsigned long long& textureCount);
    /// Numbers of textures in use by the form in which they are held.
    LUMORA_API static void getTexturesStatistic(unsigned& rgba32, unsigned& rgba64, unsigned& grey8, unsigned& grey16);
    /// The same as getMemoryUsage for one device, bytes.
    LUMORA_API static void getDeviceMemUsageStatistics(unsigned device, unsigned long long& used,
                                                       unsigned long long& free, unsigned long long& total,
                                                       unsigned long long& film, unsigned long long& geometry,
                                                       unsigned long long& nodes, unsigned long long& textures,
                                                       unsigned long long& compositor);
    /// Geometry and textures that lie outside the device's memory, bytes. A processor has its memory in the process,
    /// so nothing is ever moved out; limit and head room are those that were set.
    LUMORA_API static void getOutOfCoreMemoryUsage(unsigned long long& used, unsigned long long& limit,
                                                   unsigned long long& textures, unsigned long long& geometry,
                                                   unsigned long long& headRoom);
    LUMORA_API static bool outOfCoreEnabled();
    LUMORA_API static void enableOutOfCore(unsigned long long limit, unsigned long long headRoom);
    LUMORA_API static void disableOutOfCore();

    // --- Devices ------------------------------------------------------------------------------------------------
    LUMORA_API static unsigned getDeviceCount();
    LUMORA_API static const char* getDeviceName(unsigned device);
    LUMORA_API static bool isSupportedDevice(unsigned device);
    LUMORA_API static int getDeviceComputeModel(unsigned device);
    LUMORA_API static void getDevicePciIds(unsigned device, unsigned long long& bus, unsigned long long& slot);
    LUMORA_API static bool isDeviceUsedForRendering(unsigned device);
    LUMORA_API static bool isDeviceUsedForDenoising(unsigned device);
    LUMORA_API static bool isDeviceUsedForTonemapping(unsigned device);
    LUMORA_API static void setUseDeviceForTonemapping(unsigned device, bool use);
    LUMORA_API static bool deviceUsesPriority(unsigned device);
    LUMORA_API static void setDeviceUsingPriority(unsigned device, bool use);
    LUMORA_API static RenderPriority renderPriority();
    LUMORA_API static void setRenderPriority(RenderPriority priority);
    /// The devices that render and that denoise. Null and 0 for both gives the stored choice back. False for a device
    /// that does not exist.
    LUMORA_API static bool setDevicesActivity(const unsigned* render, unsigned renderCount, const unsigned* denoise,
                                              unsigned denoiseCount);
    LUMORA_API static void saveRenderDeviceConfig();

    // --- Threads of the render ----------------------------------------------------------------------------------
    /// Number of threads that sample; 0 takes every processor. Kept over a new start of the engine.
    LUMORA_API static void setThreadCount(unsigned threads);
    LUMORA_API static unsigned threadCount();

    // --- Picking ------------------------------------------------------------------------------------------------
    /// What lies under a film pixel, nearest first, at most `count` hits. Returns the number of hits.
    /// `filterDuplicates` gives one hit for each node and material.
    LUMORA_API static unsigned pick(unsigned x, unsigned y, bool filterDuplicates, PickIntersection* hits,
                                    unsigned count);

    // --- Preview ------------------------------------------------------------------------------------------------
    /// Renders a small picture of a material or texture node into `pixels`, RGBA, width x height x 4 bytes. Waits for
    /// it and may run beside a render, on any thread. `objectSize` in metres. False when it cannot be drawn.
    LUMORA_API static bool previewMaterial(const ApiNode* node, unsigned width, unsigned height, unsigned samples,
                                           float objectSize, PreviewType type, unsigned char* pixels);
};

}  // namespace Lumora
