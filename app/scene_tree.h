// Walking a document's objects.
#pragma once

#include "host/sdk/object.h"

namespace app {

/// The objects of the tree in order, each once, without recursion: trees from files can be deep.
inline host::BaseObject* nextInTree(host::BaseObject* object) {
    if (object->GetDown()) return object->GetDown();
    while (object && !object->GetNext()) object = object->GetUp();
    return object ? object->GetNext() : nullptr;
}

}  // namespace app
