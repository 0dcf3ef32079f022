// Memory for the pixels of images.
#pragma once

#include <cstddef>
#include <memory>

namespace Lumora::engine {

/// Uninitialised memory, aligned to a cache line at the least. What is large lies in large pages where the system has
/// them: lookups jump about in an image, and with small pages most of them would miss the table of pages too. Throws
/// std::bad_alloc.
std::shared_ptr<std::byte[]> allocatePixels(std::size_t bytes);

}  // namespace Lumora::engine
