#include "plugin/core/engine_devices.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "engine/api/lumora_api.h"
#include "plugin/core/log.h"
#include "plugin/core/windows.h"

namespace lumora {

using Engine = Lumora::ApiRenderEngine;

namespace {

unsigned deviceCount() {
    return std::min<unsigned>(Engine::getDeviceCount(), kMaxDevices);
}

std::vector<unsigned> chosen(const std::array<bool, kMaxDevices>& flags, unsigned count) {
    std::vector<unsigned> devices;
    for (unsigned i = 0; i < count; ++i)
        if (flags[i]) devices.push_back(i);
    return devices;
}

void activate(const std::vector<unsigned>& render, const std::vector<unsigned>& denoise) {
    // Null lists would give the stored choice back: an empty one still needs an address.
    static constexpr unsigned kNone = 0;
    Engine::setDevicesActivity(render.empty() ? &kNone : render.data(), static_cast<unsigned>(render.size()),
                               denoise.empty() ? &kNone : denoise.data(), static_cast<unsigned>(denoise.size()));
}

}  // namespace

void readDeviceBlock(DeviceBlock& block) {
    const unsigned count = deviceCount();
    if (!block.read) {
        block.renderPriority = Engine::renderPriority();
        for (unsigned i = 0; i < count; ++i) block.render[i] = Engine::isDeviceUsedForRendering(i);
        block.read = true;
    }
    for (unsigned i = 0; i < count; ++i) {
        block.priority[i] = Engine::deviceUsesPriority(i);
        block.tonemap[i] = Engine::isDeviceUsedForTonemapping(i);
        block.denoise[i] = Engine::isDeviceUsedForDenoising(i);
    }
    block.renderDevices = chosen(block.render, count);
    block.denoiseDevices = chosen(block.denoise, count);
}

void readDeviceDialog(DeviceBlock& block, const SessionWindow& dialog) {
    const struct {
        Int32 element;
        std::array<bool, kMaxDevices>& flags;
    } rows[] = {
        {ELEMENT_DEVICE_RENDER, block.render},
        {ELEMENT_DEVICE_PRIORITY, block.priority},
        {ELEMENT_DEVICE_TONEMAP, block.tonemap},
        {ELEMENT_DEVICE_DENOISE, block.denoise},
    };
    const unsigned count = deviceCount();
    for (const auto& row : rows)
        for (unsigned i = 0; i < count; ++i)
            row.flags[i] = dialog.getValue(row.element + static_cast<Int32>(i), row.flags[i] ? 1 : 0) != 0;
    block.renderPriority = dialog.getValue(ELEMENT_RENDER_PRIORITY, block.renderPriority);
}

bool applyDeviceBlock(DeviceBlock& block) {
    const unsigned count = deviceCount();
    block.renderDevices = chosen(block.render, count);
    block.denoiseDevices = chosen(block.denoise, count);
    bool changed = false;
    for (unsigned i = 0; i < count; ++i)
        if (Engine::deviceUsesPriority(i) != block.priority[i]) {
            Engine::setDeviceUsingPriority(i, block.priority[i]);
            changed = true;
        }
    if (Engine::renderPriority() != block.renderPriority) {
        Engine::setRenderPriority(static_cast<Engine::RenderPriority>(block.renderPriority));
        changed = true;
    }
    const bool anyTonemap = std::any_of(block.renderDevices.begin(), block.renderDevices.end(),
                                        [&](unsigned i) { return block.tonemap[i]; });
    if (!anyTonemap && !block.renderDevices.empty()) block.tonemap[block.renderDevices.front()] = true;
    for (unsigned i = 0; i < count; ++i)
        if (Engine::isDeviceUsedForTonemapping(i) != block.tonemap[i]) {
            Engine::setUseDeviceForTonemapping(i, block.tonemap[i]);
            changed = true;
        }
    const auto differs = [count](const std::array<bool, kMaxDevices>& wanted, bool (*used)(unsigned)) {
        for (unsigned i = 0; i < count; ++i)
            if (used(i) != wanted[i]) return true;
        return false;
    };
    if (block.denoiseDevices.empty() && count > 0) {
        block.denoiseDevices.push_back(0);
        block.denoise[0] = true;
    }
    if (differs(block.render, Engine::isDeviceUsedForRendering) ||
        differs(block.denoise, Engine::isDeviceUsedForDenoising)) {
        activate(block.renderDevices, block.denoiseDevices);
        changed = true;
    }
    if (changed) Engine::saveRenderDeviceConfig();
    return changed;
}

void useAllDevices() {
    std::vector<unsigned> all(deviceCount());
    for (unsigned i = 0; i < all.size(); ++i) all[i] = i;
    activate(all, all);
}

void giveDevicesBack() {
    Engine::setDevicesActivity(nullptr, 0, nullptr, 0);
}

bool checkDevices(const DeviceBlock& block, String* why) {
    const auto fail = [why](const String& text) {
        logLine(text);
        if (why) *why = text;
        return false;
    };
    if (Engine::getDeviceCount() == 0) return fail("There is no CUDA device which is supported by Lumora Render...");
    String unsupported;
    for (const unsigned device : block.renderDevices)
        if (!Engine::isSupportedDevice(device))
            unsupported += String("No ") + Engine::getDeviceName(device) + " is supported by Lumora Render.\n";
    if (unsupported.Content()) return fail(unsupported);
    if (block.renderDevices.empty()) return fail("There is no CUDA device which is selected...");
    return true;
}

void applyDeviceOption(DeviceBlock& block, const std::string& list) {
    std::array<bool, kMaxDevices> render{};
    std::array<bool, kMaxDevices> denoise{};
    constexpr unsigned kDenoiseEntries = 16;
    std::istringstream entries(list);
    for (std::string entry; entries >> entry;) {
        const std::size_t first = entry.find(':');
        const std::size_t second = first == std::string::npos ? first : entry.find(':', first + 1);
        if (second == std::string::npos) continue;
        const bool on = entry.substr(second + 1) == "TRUE";
        const unsigned long renderDevice = std::strtoul(entry.c_str(), nullptr, 10);
        const unsigned long denoiseDevice = std::strtoul(entry.c_str() + first + 1, nullptr, 10);
        if (renderDevice < kMaxDevices) render[renderDevice] = on;
        if (denoiseDevice < kDenoiseEntries) denoise[denoiseDevice] = on;
    }
    block.render = render;
    block.denoise = denoise;
    const unsigned count = deviceCount();
    block.renderDevices = chosen(render, count);
    block.denoiseDevices = chosen(denoise, count);
    activate(block.renderDevices, block.denoiseDevices);
}

}  // namespace lumora
