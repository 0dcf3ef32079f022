// Document time.
#include "host/sdk/base_time.h"

#include <cmath>
#include <numeric>

namespace host {
namespace {

/// Whole numbers below this are exact, and so are their products' common divisors.
constexpr Float kExact = 9.0e15;

bool isWhole(Float v) {
    return std::abs(v) < kExact && v == std::floor(v);
}

}  // namespace

BaseTime::BaseTime(Float seconds) : BaseTime(seconds, 1.0) {}

BaseTime::BaseTime(Float numerator, Float denominator) : numerator_(numerator), denominator_(denominator) {
    if (!std::isfinite(numerator_)) numerator_ = 0;
    if (!std::isfinite(denominator_) || denominator_ == 0) denominator_ = 1;
    if (denominator_ < 0) {
        numerator_ = -numerator_;
        denominator_ = -denominator_;
    }
}

Int64 BaseTime::GetFrame(Int32 fps) const {
    const Float frame = numerator_ * fps / denominator_;
    if (!(std::abs(frame) < kExact)) return 0;
    // A whole frame whose seconds were rounded is still that frame.
    const Float nearest = std::round(frame);
    if (std::abs(frame - nearest) < 1e-6) return static_cast<Int64>(nearest);
    return static_cast<Int64>(std::floor(frame));
}

BaseTime BaseTime::operator+(const BaseTime& t) const {
    if (denominator_ == t.denominator_) return {numerator_ + t.numerator_, denominator_};
    const Float numerator = numerator_ * t.denominator_ + t.numerator_ * denominator_;
    const Float denominator = denominator_ * t.denominator_;
    if (isWhole(numerator) && isWhole(denominator)) {
        const Int64 divisor = std::gcd(static_cast<Int64>(numerator), static_cast<Int64>(denominator));
        if (divisor > 1) return {numerator / static_cast<Float>(divisor), denominator / static_cast<Float>(divisor)};
    }
    if (!(denominator < kExact)) return BaseTime(Get() + t.Get());
    return {numerator, denominator};
}

BaseTime BaseTime::operator-(const BaseTime& t) const {
    return *this + BaseTime(-t.numerator_, t.denominator_);
}

}  // namespace host
