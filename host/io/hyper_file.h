// The layout of a HyperFile around its content.
//
//   magic 8 bytes | ident int32 | version int32 | layout int32 | 0 int32 | content | checksum uint64 | length uint64
//
// The content is typed values, each behind one byte that names its type; a chunk is a value whose length stands in
// front, so that it can be skipped.
#pragma once

#include <vector>

#include "host/sdk/file.h"

namespace host {

inline constexpr Int64 kHyperHeaderBytes = 24, kHyperTrailerBytes = 16;

/// Writes the checksum and the length into the last bytes. `bytes` holds a header, content, and room for the trailer.
void sealHyperFile(std::vector<UChar>& bytes);

}  // namespace host
