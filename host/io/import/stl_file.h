#pragma once

#include "host/io/import/context.h"

namespace host::importer {

/// Stereolithography files, binary and text. What a file is is told by its size and its words, not by its first five
/// letters, which exporters of binary files are known to make "solid". A count of triangles that does not fit the size
/// gives way to the size. Every solid of a text file becomes an object. Throws ImportError.
void readStl(Context& context);

}  // namespace host::importer
