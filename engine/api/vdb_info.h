// What a VDB file holds, and its values.
#pragma once

#include "engine/api/types.h"

namespace Lumora {

/// One grid of a file. Lives as long as its VdbInfo.
class VdbGridInfo {
public:
    LUMORA_API const char* name() const;
    LUMORA_API const char* type() const;
    LUMORA_API Vec3<int> resolution() const;     ///< voxels
    LUMORA_API Vec3<int> minBound() const;       ///< first active voxel
    LUMORA_API Vec3<int> maxBound() const;       ///< last active voxel
    LUMORA_API Matrix<float> transform() const;  ///< voxel index to metres

private:
    friend class VdbInfo;
    struct Data;
    Data* data_ = nullptr;
};

/// Reads the values of one grid.
class VdbGridSampler {
public:
    /// Value at a place in voxel indices; 0 outside.
    LUMORA_API float getValue(float x, float y, float z) const;

private:
    friend class VdbInfo;
    struct Data;
    Data* data_ = nullptr;
};

class VdbInfo {
public:
    /// Reads the head of the file. One that cannot be read has no grids; the log tells why.
    LUMORA_API explicit VdbInfo(const char* path);
    LUMORA_API ~VdbInfo();
    VdbInfo(const VdbInfo&) = delete;
    VdbInfo& operator=(const VdbInfo&) = delete;

    LUMORA_API unsigned gridCount() const;
    /// Null at or past the count.
    LUMORA_API const VdbGridInfo* grid(unsigned index) const;
    /// Loads the grid's values; null when it cannot be. Owned by this object, one at a time: a new one ends the last.
    /// `interpolate`: values between voxels are interpolated linearly.
    LUMORA_API const VdbGridSampler* sampler(unsigned index, bool interpolate);
    LUMORA_API void destroySampler();

private:
    struct Data;
    Data* data_;
};

}  // namespace Lumora
