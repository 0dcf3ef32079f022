// What a node's data class writes beside the container.
#pragma once

#include <vector>

#include "host/sdk/base_list.h"

namespace host {

/// The bytes that the data class writes now, the same for the same content; empty without a data class.
std::vector<UChar> privateBytes(const BaseList2D& node);

}  // namespace host
