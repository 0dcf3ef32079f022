// The render passes, in the order of lists: where each switch is stored, its pin on the render passes node, the pass.
#pragma once

#include <span>

#include "plugin/core/prelude.h"

namespace lumora {

struct PassRow {
    const char* name;
    Int32 id;    ///< in stored containers
    Int32 pin;   ///< of the render passes node
    Int32 pass;  ///< the engine's RenderPassId
};

std::span<const PassRow> passRows();

/// Controls of the pass switches are numbered from here, in the order of the stored ids.
inline constexpr Int32 kFirstPassElement = 13365;

}  // namespace lumora
