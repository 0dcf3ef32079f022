// What has to be known of an OBJ file before its reader sees it.
#pragma once

#include <string>

#include "host/io/import/context.h"

namespace host::importer {

/// Warns of material libraries that are not there, and throws ImportError for a file without a single vertex. Returns
/// the file's text with numbers like ".5" written "0.5", which the reader would drop with their whole line; empty when
/// there are none and the file can be read as it is.
std::string prepareObj(Context& context);

}  // namespace host::importer
