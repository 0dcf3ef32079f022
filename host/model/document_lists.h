// The lists of a document and its index by GUID.
#pragma once

#include <array>
#include <unordered_map>
#include <vector>

#include "host/sdk/document.h"

namespace host {

struct BaseDocument::Lists {
    struct List {
        BaseList2D *first = nullptr, *last = nullptr;
    };
    std::array<List, 16> byFamily;  ///< by NodeFamily
    std::unordered_map<UInt64, BaseList2D*> byGuid;
};

}  // namespace host
