// The controls of the settings dialog that show render settings.
#pragma once

#include <span>

#include "plugin/core/prelude.h"

namespace lumora {

struct SettingRow;

/// Element of the control of a setting outside the pass table; 0: the dialog has none.
Int32 controlOf(const SettingRow& row);

/// The shadow ambient colour is one setting with a control on the page of each kernel that has it.
std::span<const Int32> shadowAmbientControls();

}  // namespace lumora
