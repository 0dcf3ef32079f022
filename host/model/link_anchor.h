// What weak links share: one anchor an element, made with its first link and emptied when it is freed.
#pragma once

#include "host/sdk/base_list.h"

namespace host {

struct BaseLink::Anchor {
    BaseList2D* target = nullptr;
};

}  // namespace host
