// The engine, as the pictures use it: one scene after the other.
#pragma once

#include <filesystem>
#include <functional>

#include "tools/node_pictures/strip_picture.h"
#include "tools/node_pictures/strips.h"

namespace pictures {

/// Starts the engine, and ends it. One at a time, one thread. All functions throw std::runtime_error.
class Studio {
public:
    /// `threads` 0: all processors. The scratch folder is made and taken away.
    explicit Studio(unsigned threads);
    ~Studio();
    Studio(const Studio&) = delete;
    Studio& operator=(const Studio&) = delete;

    /// Size of one picture of the strip.
    static Lumora::Vec2<int> sizeOf(const Strip& strip);

    /// Renders one picture of a strip. `quality` multiplies the samples. `poll` is called now and then with the share
    /// that is done; when it returns false the render is broken off and the picture is empty.
    Picture render(const Strip& strip, const Column& column, float quality, const std::function<bool(float)>& poll);

private:
    std::filesystem::path scratch_;
};

}  // namespace pictures
