// Which of the engine's devices render, tonemap and denoise.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "plugin/core/prelude.h"

namespace lumora {

class SessionWindow;

inline constexpr Int32 kMaxDevices = 200;

/// The user's choice, device by device.
struct DeviceBlock {
    std::array<bool, kMaxDevices> render{}, priority{}, tonemap{}, denoise{};
    Int32 renderPriority = 0;
    std::vector<unsigned> renderDevices, denoiseDevices;  ///< the active ones
    bool read = false;                                    ///< taken from the engine
};

/// Fills the block from the engine; render flags and priority only the first time.
void readDeviceBlock(DeviceBlock& block);
/// Takes the user's choice from the device page of the settings dialog.
void readDeviceDialog(DeviceBlock& block, const SessionWindow& dialog);
/// Hands the block to the engine, writing what differs. True when something did. Not before the engine is ready.
bool applyDeviceBlock(DeviceBlock& block);
/// Every device renders and denoises, whatever the block says. giveDevicesBack() ends it.
void useAllDevices();
/// The engine's own stored choice again.
void giveDevicesBack();
/// Whether a render can start. Otherwise writes why to the console and gives the text.
bool checkDevices(const DeviceBlock& block, String* why);
/// The list of "-lumoraGPU": entries "render:denoise:TRUE" with blanks between; everything else is off.
void applyDeviceOption(DeviceBlock& block, const std::string& list);

}  // namespace lumora
