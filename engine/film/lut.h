// A colour look-up table from a .cube file, read and interpolated by OpenColorIO.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace Lumora::engine {

class Lut {
public:
    /// Null with one sentence in `error` when the file is missing, too large or no such table. Any thread.
    static std::shared_ptr<const Lut> load(const std::string& file, std::string& error);
    ~Lut();

    /// RGBA pixels, in place; alpha stays. Values from 0 to 1 go in, whatever the file says comes out, finite. Any
    /// number of threads at a time.
    void apply(float* rgba, std::size_t pixels) const;

private:
    struct Impl;
    explicit Lut(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace Lumora::engine
