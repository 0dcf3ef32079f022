// The render target and what hangs on it: kernels, imager, post processing, passes, film.
#include "engine/schema/build.h"
#include "engine/schema/passes.h"

namespace Lumora::engine::schema {

namespace {

Pins sampling(int maxSamples, float rayEpsilon) {
    return {integer(P_MAX_SAMPLES, "Max. samples", maxSamples, 1, 1000000),
            number(P_FILTER_SIZE, "Filter size", 1.2f, 1, 16),
            number(P_RAY_EPSILON, "Ray epsilon", rayEpsilon, 1e-7f, 1000)};
}

Pins tiles() {
    return {integer(P_PARALLEL_SAMPLES, "Parallel samples", 16, 1, 32),
            integer(P_MAX_TILE_SAMPLES, "Max. tile samples", 32, 1, 64),
            boolean(P_MINIMIZE_NET_TRAFFIC, "Minimize net traffic", true)};
}

Pins pathLengths() {
    return {integer(P_MAX_DIFFUSE_DEPTH, "Diffuse depth", 8, 1, 1024),
            integer(P_MAX_GLOSSY_DEPTH, "Specular depth", 24, 1, 1024),
            number(P_CAUSTIC_BLUR, "Caustic blur", 0.02f, 0, 1), number(P_GI_CLAMP, "GI clamp", 1e6f, 0.001f, 1e6f)};
}

Pins light() {
    return {number(P_PATH_TERMINATION_POWER, "Path termination power", 0.3f, 0, 1),
            boolean(P_ALPHA_SHADOWS, "Alpha shadows", true),
            boolean(P_ALPHA_CHANNEL, "Alpha channel"),
            boolean(P_KEEP_ENVIRONMENT, "Keep environment"),
            boolean(P_IRRADIANCE_MODE, "Irradiance mode"),
            boolean(P_AI_LIGHT, "AI light"),
            boolean(P_AI_LIGHT_UPDATE, "AI light update", true),
            integer(P_LIGHT_IDS_ACTION, "Light IDs action", 1, 0, 1),
            link(P_LIGHT_IDS, "Light IDs", PT_BIT_MASK),
            link(P_LIGHT_IDS_INVERTED, "Light linking invert", PT_BIT_MASK),
            number3(P_SHADOW_AMBIENT, "Shadow ambient", {0.5f, 0.5f, 0.5f}, 0, 1)};
}

Pins adaptive() {
    return {number(P_COHERENT_RATIO, "Coherent ratio", 0, 0, 1),
            boolean(P_STATIC_NOISE, "Static noise"),
            boolean(P_ADAPTIVE_SAMPLING, "Adaptive sampling"),
            number(P_NOISE_THRESHOLD, "Noise threshold", 0.03f, 0, 1),
            integer(P_MIN_ADAPTIVE_SAMPLES, "Min. adaptive samples", 256, 2, 100000),
            number(P_EXPECTED_EXPOSURE, "Expected exposure", 0, 0, 4096),
            integer(P_PIXEL_GROUPING, "Group pixels", 2, 1, 4)};
}

Pins imager() {
    return {integer(P_RESPONSE, "Response", 401, 0, 1000),
            number(P_EXPOSURE, "Exposure", 1, 0, 4096),
            number(P_GAMMA, "Gamma", 1, 0.1f, 32),
            number(P_VIGNETTING, "Vignetting", 0, 0, 1),
            number(P_COLOR_SATURATION, "Saturation", 1, 0, 4),
            number(P_HOT_PIXEL_REMOVAL, "Hot pixel removal", 1, 0, 1),
            number(P_WHITE_SATURATION, "Saturate to white", 0, 0, 1),
            number3(P_WHITE_POINT, "White point", {1, 1, 1}, 0, 1),
            boolean(P_PREMULTIPLIED_ALPHA, "Premultiplied alpha"),
            boolean(P_DISABLE_PARTIAL_ALPHA, "Disable partial alpha"),
            integer(P_MIN_DISPLAY_SAMPLES, "Min. display samples", 1, 1, 100000),
            boolean(P_DITHERING, "Dithering", true),
            number(P_HIGHLIGHT_COMPRESSION, "Highlight compression", 0, 0, 1),
            integer(P_MAX_TONEMAP_INTERVAL, "Max. tonemap interval", 10, 0, 120),
            boolean(P_NEUTRAL_RESPONSE, "Neutral response"),
            integer(P_RESPONSE_ORDER, "Order", 0, 0, 5),
            link(P_LUT, "Custom LUT", PT_LUT),
            boolean(P_DENOISER, "Enable denoising"),
            boolean(P_DENOISE_VOLUMES, "Denoise volumes"),
            boolean(P_DENOISE_ON_COMPLETION, "Denoise on completion", true),
            integer(P_DENOISE_INTERVAL, "Max. denoiser interval", 20, 0, 120),
            integer(P_DENOISE_MIN_SAMPLES, "Min. denoiser samples", 10, 0, 100000),
            number(P_DENOISER_BLEND, "Original blend", 0, 0, 1)};
}

Pins passes() {
    Pins pins = {boolean(P_RAW_PASSES, "Raw")};
    for (std::size_t i = 0; i < kRenderPassCount; ++i) {
        if (kRenderPasses[i].pin != P_DYNAMIC) {
            pins.push_back(boolean(kRenderPasses[i].pin, kRenderPasses[i].name));
        }
    }
    const Pins shared = {integer(P_PASS_INFO_MAX_SAMPLES, "Max. info samples", 128, 1, 1000000),
                         choice(P_DISTRIBUTED_TRACING, "Sampling mode", 0, 2),
                         number(P_Z_DEPTH_MAX, "Maximum Z-depth", 5, 0.001f, 1e6f),
                         number(P_MAX_SPEED, "Maximum speed", 1, 0.00001f, 10000),
                         number(P_UV_MAX, "UV max", 1, 0.00001f, 1000),
                         integer(P_UV_SET, "UV set", 1, 1, 3),
                         number(P_AO_DISTANCE, "AO distance", 3, 0.01f, 1024),
                         boolean(P_AO_ALPHA_SHADOWS, "AO alpha shadows"),
                         boolean(P_BUMP, "Bump and normal mapping", true)};
    return join({pins, shared});
}

}  // namespace

Rows renderRows() {
    return {
        {NT_RENDER_TARGET,
         "Render target",
         PT_RENDER_TARGET,
         {link(P_CAMERA, "Camera", PT_CAMERA, NT_CAM_THINLENS),
          link(P_ENVIRONMENT, "Environment", PT_ENVIRONMENT, NT_ENV_TEXTURE),
          link(P_VISIBLE_ENVIRONMENT, "Visible environment", PT_ENVIRONMENT),
          link(P_RENDER_GEOMETRY, "Mesh", PT_GEOMETRY),
          link(P_FILM_SETTINGS, "Film settings", PT_FILM_SETTINGS, NT_FILM_SETTINGS),
          link(P_ANIMATION, "Animation", PT_ANIMATION_SETTINGS), link(P_KERNEL, "Kernel", PT_KERNEL),
          link(P_RENDER_LAYER, "Render layer", PT_RENDER_LAYER),
          link(P_RENDER_PASSES, "Render passes", PT_RENDER_PASSES), link(P_IMAGER, "Imager", PT_IMAGER),
          link(P_POST_PROCESSING, "Post processing", PT_POST_PROCESSING)}},
        {NT_FILM_SETTINGS,
         "Film settings",
         PT_FILM_SETTINGS,
         {integer2(P_RESOLUTION, "Resolution", {1024, 512}, 1, 65536),
          integer2(P_REGION_START, "Region start", {0, 0}, 0, 65536),
          integer2(P_REGION_SIZE, "Region size", {65536, 65536}, 1, 65536)}},
        {NT_ANIMATION_SETTINGS,
         "Animation settings",
         PT_ANIMATION_SETTINGS,
         {number(P_SHUTTER_TIME, "Shutter time", 0, 0, 100000),
          choice(P_SHUTTER_ALIGNMENT, "Shutter alignment", 2, 3)}},
        {NT_KERNEL_DIRECT, "Direct lighting kernel", PT_KERNEL,
         join({sampling(128, 0.0001f),
               {choice(P_GI_MODE, "GI mode", 3, 4), integer(P_SPECULAR_DEPTH, "Specular depth", 5, 1, 1024),
                integer(P_GLOSSY_DEPTH, "Glossy depth", 2, 1, 1024), integer(P_DIFFUSE_DEPTH, "Diffuse depth", 2, 1, 8),
                number(P_AO_DISTANCE, "AO distance", 5, 0.01f, 1024), texture(P_AO_TEXTURE, "AO ambient texture"),
                number(P_AI_LIGHT_STRENGTH, "AI light strength", 0.8f, 0, 1)},
               light(),
               adaptive(),
               tiles()})},
        {NT_KERNEL_PATH, "Path tracing kernel", PT_KERNEL,
         join({sampling(64000, 0.0001f), pathLengths(), light(), adaptive(), tiles()})},
        {NT_KERNEL_PMC, "PMC kernel", PT_KERNEL,
         join({sampling(64000, 0.0001f),
               pathLengths(),
               light(),
               {number(P_EXPLORATION_STRENGTH, "Exploration strength", 0.7f, 0, 1),
                number(P_DIRECT_LIGHT_IMPORTANCE, "Direct light importance", 0.1f, 0, 1),
                integer(P_MAX_REJECTS, "Max. rejects", 500, 100, 10000), integer(P_PARALLELISM, "Parallelism", 4, 1, 8),
                integer(P_WORK_CHUNK_SIZE, "Work chunk size", 8, 1, 64)}})},
        {NT_KERNEL_INFO, "Info channel kernel", PT_KERNEL,
         join({sampling(128, 0.0001f),
               {integer(P_INFO_CHANNEL, "Type", 1, 0, 64), boolean(P_ALPHA_CHANNEL, "Alpha channel", true),
                choice(P_DISTRIBUTED_TRACING, "Sampling mode", 0, 2),
                boolean(P_HIGHLIGHT_BACKFACES, "Wireframe backface highlighting"),
                boolean(P_BUMP, "Bump and normal mapping"), boolean(P_AO_ALPHA_SHADOWS, "AO alpha shadows"),
                number(P_UV_MAX, "UV max", 1, 0.00001f, 1000), integer(P_UV_SET, "UV set", 1, 1, 3),
                number(P_Z_DEPTH_MAX, "Maximum Z-depth", 5, 0.001f, 1e6f),
                number(P_MAX_SPEED, "Maximum speed", 5, 0.00001f, 10000),
                number(P_AO_DISTANCE, "AO distance", 3, 0.01f, 1024),
                number(P_OPACITY_THRESHOLD, "Opacity threshold", 1, 0, 1)},
               tiles()})},
        {NT_IMAGER, "Camera imager", PT_IMAGER, imager()},
        {NT_LUT,
         "Custom LUT",
         PT_LUT,
         {number(P_STRENGTH, "Strength", 1, 0, 1)},
         {attribute(A_FILENAME, "filename", AT_STRING), attribute(A_RELOAD, "reload", AT_BOOL)}},
        {NT_POST_PROCESSING,
         "Post processing",
         PT_POST_PROCESSING,
         {boolean(P_POST_ENABLED, "Enable"), number(P_BLOOM_POWER, "Bloom power", 1, 0, 100000),
          number(P_GLARE_POWER, "Glare power", 0.1f, 0, 100000), integer(P_GLARE_RAY_COUNT, "Glare ray count", 3, 1, 8),
          number(P_GLARE_ANGLE, "Glare angle", 15, -90, 90), number(P_GLARE_BLUR, "Glare blur", 0.01f, 0.001f, 0.2f),
          number(P_SPECTRAL_INTENSITY, "Spectral intensity", 0, 0, 1),
          number(P_SPECTRAL_SHIFT, "Spectral shift", 2, 0, 6)}},
        {NT_RENDER_PASSES, "Render passes", PT_RENDER_PASSES, passes()},
        {NT_RENDER_LAYER,
         "Render layer",
         PT_RENDER_LAYER,
         {boolean(P_ENABLED, "Enable"), integer(P_LAYER_ID, "Active layer ID", 1, 1, 255), boolean(P_INVERT, "Inverse"),
          integer(P_MODE, "Mode", 0, 0, 3)}},
    };
}

}  // namespace Lumora::engine::schema
