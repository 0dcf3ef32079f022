// What every file of the plug-in starts from: the host's names inside the plug-in's namespace.
//
// The plug-in's namespace is `lumora`. The engine's public one is `Lumora` and stays spelled out, because both sides
// have a Matrix and vectors of their own.
#pragma once

#include "host/sdk/host_sdk.h"

namespace Lumora {
class ApiItem;
class ApiNode;
class ApiNodeGraph;
}  // namespace Lumora

namespace lumora {
using namespace host;
using Lumora::ApiItem;
using Lumora::ApiNode;
using Lumora::ApiNodeGraph;
}  // namespace lumora
