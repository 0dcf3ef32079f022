// Bounds of a document's content, and a view that shows all of it.
#pragma once

#include "host/evaluate/bounds.h"
#include "host/sdk/document.h"

namespace host {

/// Box around all polygons in global space, what instances show and what generators have in their caches included.
/// Coordinates that are no finite numbers, and absurdly large ones, do not count; nor do objects that are not rendered.
/// Evaluate the document first (ExecutePasses) when generators count.
Bounds sceneBounds(const BaseDocument& document);

/// Places the view's own camera so that the content fills the picture: seen from its front (-z), a third to the side
/// and slightly from above, 40 degrees wide. `aspect` is width over height; 0: that of the active render data. False,
/// and nothing changed, when there is nothing to see. Does not touch a scene camera that the view uses.
Bool frameView(BaseDocument& document, Float aspect = 0);

}  // namespace host
