// Document time as a fraction, so that frames are exact at any rate.
#pragma once

#include "host/sdk/types.h"

namespace host {

/// Seconds, numerator / denominator. The denominator is positive.
class HOST_API BaseTime {
public:
    BaseTime() = default;
    explicit BaseTime(Float seconds);
    BaseTime(Float numerator, Float denominator);

    static BaseTime FromFrame(Int64 frame, Int32 fps) {
        return BaseTime(static_cast<Float>(frame), static_cast<Float>(fps));
    }

    Float Get() const { return numerator_ / denominator_; }
    /// The frame that shows at this time: floor(seconds * fps), exact for whole frames.
    Int64 GetFrame(Int32 fps) const;
    Float GetNumerator() const { return numerator_; }
    Float GetDenominator() const { return denominator_; }

    friend bool operator==(const BaseTime& a, const BaseTime& b) {
        return a.numerator_ * b.denominator_ == b.numerator_ * a.denominator_;
    }
    friend bool operator<(const BaseTime& a, const BaseTime& b) {
        return a.numerator_ * b.denominator_ < b.numerator_ * a.denominator_;
    }
    BaseTime operator+(const BaseTime& t) const;
    BaseTime operator-(const BaseTime& t) const;

private:
    Float numerator_ = 0, denominator_ = 1;
};

}  // namespace host
