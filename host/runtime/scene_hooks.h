// Scene hooks: one instance of each registered hook for each document, made when it is first needed.
#pragma once

#include "host/sdk/document.h"

namespace host {

/// Makes the hooks of a document that has none yet. Main thread.
void attachSceneHooks(BaseDocument* document);
/// Frees the hooks of a document that is about to go. Hooks of documents that went unannounced are freed too.
void releaseSceneHooks(const BaseDocument* document);
void releaseAllSceneHooks();

}  // namespace host
