// Undo of a document.
#pragma once

#include "host/sdk/document.h"

namespace host {

class UndoStack {};

}  // namespace host
