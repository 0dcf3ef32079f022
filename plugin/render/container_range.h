// Ranges of ids in containers.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

/// Copies the values of the ids from `first` to `last`, both included, that the source holds, in rising order.
inline void copyRange(const BaseContainer& from, BaseContainer& to, Int32 first, Int32 last) {
    for (Int32 id = first; id <= last; ++id)
        if (const GeData* value = from.FindData(id)) to.SetData(id, *value);
}

}  // namespace lumora
