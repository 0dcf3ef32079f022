#include "engine/session/devices.h"

#include <unistd.h>

#include <fstream>
#include <thread>

#include "engine/api/api_render_engine.h"
#include "engine/graph/item.h"
#include "engine/graph/log.h"
#include "engine/session/session.h"

namespace Lumora {

namespace engine {

namespace {

struct DeviceState {
    bool render = true, denoise = true, tonemap = true, priority = true;
    ApiRenderEngine::RenderPriority renderPriority = ApiRenderEngine::PRIORITY_MEDIUM;
    bool outOfCore = false;
    unsigned long long outOfCoreLimit = 0, headRoom = 0;
};

struct Devices {
    DeviceState now, saved;
};

Devices& devices() {
    static Devices instance;
    return instance;
}

std::string processorName() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        // "model name" on x86; other processors name themselves in other words or not at all.
        if (line.rfind("model name", 0) == 0 || line.rfind("Model", 0) == 0) {
            const std::size_t colon = line.find(':');
            if (colon != std::string::npos && colon + 2 < line.size()) {
                return line.substr(colon + 2);
            }
        }
    }
    return "CPU";
}

bool knownDevice(unsigned device) {
    if (device == 0) {
        return true;
    }
    logLine(LOGLEVEL_ERRORS, "There is no device %u.", device);
    return false;
}

}  // namespace

std::string missingInstructions() {
    std::string missing;
#if defined(__x86_64__)
    const auto need = [&missing](bool present, const char* name) {
        if (!present) {
            missing += (missing.empty() ? "" : ", ") + std::string(name);
        }
    };
    static_cast<void>(need);
#if defined(__SSE4_2__)
    need(__builtin_cpu_supports("sse4.2"), "SSE4.2");
#endif
#if defined(__AVX__)
    need(__builtin_cpu_supports("avx"), "AVX");
#endif
#if defined(__AVX2__)
    need(__builtin_cpu_supports("avx2"), "AVX2");
#endif
#if defined(__FMA__)
    need(__builtin_cpu_supports("fma"), "FMA");
#endif
#if defined(__AVX512F__)
    need(__builtin_cpu_supports("avx512f"), "AVX-512");
#endif
#endif
    return missing;
}

void resetDevices() {
    LUMORA_GRAPH_GUARD;
    devices() = {};
}

MemoryFigures machineMemory() {
    MemoryFigures figures;
    std::ifstream file("/proc/meminfo");
    std::string key, unit;
    for (unsigned long long kilobytes = 0; file >> key >> kilobytes; std::getline(file, unit)) {
        if (key == "MemTotal:") {
            figures.total = kilobytes * 1024;
        } else if (key == "MemAvailable:") {
            figures.free = kilobytes * 1024;
            break;
        }
    }
    return figures;
}

}  // namespace engine

using namespace engine;

unsigned ApiRenderEngine::getDeviceCount() {
    return 1;
}

const char* ApiRenderEngine::getDeviceName(unsigned device) {
    static const std::string name = processorName();
    return device == 0 ? name.c_str() : "";
}

bool ApiRenderEngine::isSupportedDevice(unsigned device) {
    return device == 0 && missingInstructions().empty();
}

int ApiRenderEngine::getDeviceComputeModel(unsigned) {
    return 0;
}

void ApiRenderEngine::getDevicePciIds(unsigned, unsigned long long& bus, unsigned long long& slot) {
    bus = slot = 0;
}

bool ApiRenderEngine::isDeviceUsedForRendering(unsigned device) {
    LUMORA_GRAPH_GUARD;
    return device == 0 && devices().now.render;
}

bool ApiRenderEngine::isDeviceUsedForDenoising(unsigned device) {
    LUMORA_GRAPH_GUARD;
    return device == 0 && devices().now.denoise;
}

bool ApiRenderEngine::isDeviceUsedForTonemapping(unsigned device) {
    LUMORA_GRAPH_GUARD;
    return device == 0 && devices().now.tonemap;
}

void ApiRenderEngine::setUseDeviceForTonemapping(unsigned device, bool use) {
    LUMORA_GRAPH_GUARD;
    if (knownDevice(device)) {
        devices().now.tonemap = use;
    }
}

bool ApiRenderEngine::deviceUsesPriority(unsigned device) {
    LUMORA_GRAPH_GUARD;
    return device == 0 && devices().now.priority;
}

void ApiRenderEngine::setDeviceUsingPriority(unsigned device, bool use) {
    LUMORA_GRAPH_GUARD;
    if (knownDevice(device)) {
        devices().now.priority = use;
    }
}

ApiRenderEngine::RenderPriority ApiRenderEngine::renderPriority() {
    LUMORA_GRAPH_GUARD;
    return devices().now.renderPriority;
}

void ApiRenderEngine::setRenderPriority(RenderPriority priority) {
    LUMORA_GRAPH_GUARD;
    devices().now.renderPriority = priority;
}

bool ApiRenderEngine::setDevicesActivity(const unsigned* render, unsigned renderCount, const unsigned* denoise,
                                         unsigned denoiseCount) {
    LUMORA_GRAPH_GUARD;
    if ((!render && renderCount > 0) || (!denoise && denoiseCount > 0)) {
        logLine(LOGLEVEL_ERRORS, "A list of devices is null.");
        return false;
    }
    for (unsigned i = 0; i < renderCount + denoiseCount; ++i) {
        if (!knownDevice(i < renderCount ? render[i] : denoise[i - renderCount])) {
            return false;
        }
    }
    DeviceState& now = devices().now;
    now.render = render ? renderCount > 0 : devices().saved.render;
    now.denoise = denoise ? denoiseCount > 0 : devices().saved.denoise;
    return true;
}

void ApiRenderEngine::saveRenderDeviceConfig() {
    LUMORA_GRAPH_GUARD;
    devices().saved = devices().now;
}

bool ApiRenderEngine::outOfCoreEnabled() {
    LUMORA_GRAPH_GUARD;
    return devices().now.outOfCore;
}

void ApiRenderEngine::enableOutOfCore(unsigned long long limit, unsigned long long headRoom) {
    LUMORA_GRAPH_GUARD;
    devices().now.outOfCore = true;
    devices().now.outOfCoreLimit = limit;
    devices().now.headRoom = headRoom;
}

void ApiRenderEngine::disableOutOfCore() {
    LUMORA_GRAPH_GUARD;
    devices().now.outOfCore = false;
}

void ApiRenderEngine::getOutOfCoreMemoryUsage(unsigned long long& used, unsigned long long& limit,
                                              unsigned long long& textures, unsigned long long& geometry,
                                              unsigned long long& headRoom) {
    LUMORA_GRAPH_GUARD;
    used = textures = geometry = 0;
    limit = devices().now.outOfCoreLimit;
    headRoom = devices().now.headRoom;
}

}  // namespace Lumora
