#pragma once

#include "host/sdk/document.h"

namespace host {

/// Looks through all polygon objects of a document that came from elsewhere: every corner names a point, every tag has
/// as many values as its object has polygons or points, matrices and points are finite. False with one sentence
/// fragment about the first fault.
Bool checkGeometry(const BaseDocument& document, String* fault);

}  // namespace host
