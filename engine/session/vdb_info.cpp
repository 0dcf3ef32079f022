// VDB files: this engine holds no reader for them.
#include "engine/api/vdb_info.h"

#include "engine/graph/log.h"

namespace Lumora {

struct VdbInfo::Data {};

VdbInfo::VdbInfo(const char* path) : data_(nullptr) {
    engine::logLine(LOGLEVEL_ERRORS, "%s: this engine cannot read VDB files.", path ? path : "");
}

VdbInfo::~VdbInfo() = default;

unsigned VdbInfo::gridCount() const {
    return 0;
}

const VdbGridInfo* VdbInfo::grid(unsigned) const {
    return nullptr;
}

const VdbGridSampler* VdbInfo::sampler(unsigned, bool) {
    return nullptr;
}

void VdbInfo::destroySampler() {}

const char* VdbGridInfo::name() const {
    return "";
}

const char* VdbGridInfo::type() const {
    return "";
}

Vec3<int> VdbGridInfo::resolution() const {
    return {};
}

Vec3<int> VdbGridInfo::minBound() const {
    return {};
}

Vec3<int> VdbGridInfo::maxBound() const {
    return {};
}

Matrix<float> VdbGridInfo::transform() const {
    return {};
}

float VdbGridSampler::getValue(float, float, float) const {
    return 0;
}

}  // namespace Lumora
