// What the engine would render of a node: types, values, array contents and connections of everything below it.
#pragma once

#include <string>

#include "engine/api/lumora_api.h"

namespace lumora::test {

/// Two graphs that render the same picture give the same text: node names and addresses are left out.
std::string graphContent(const Lumora::ApiNode* root);

}  // namespace lumora::test
