// The lists of a document and its index by GUID.
#pragma once

#include <array>
#include <unordered_map>
#include <vector>

#include "host/sdk/document.h"

namespace host {

/// Families that stand in a list of the document, in the order in which they are copied and written.
inline constexpr NodeFamily kDocumentFamilies[] = {NodeFamily::Layer, NodeFamily::Material, NodeFamily::RenderData,
                                                   NodeFamily::Object};

struct BaseDocument::Lists {
    struct List {
        BaseList2D *first = nullptr, *last = nullptr;
    };
    std::array<List, 16> byFamily;  ///< by NodeFamily
    std::unordered_map<UInt64, BaseList2D*> byGuid;
};

}  // namespace host
