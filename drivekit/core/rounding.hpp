#pragma once
// Rounding to nearest with halves away from zero: the one rounding rule of the program.
#include <cmath>
#include <cstdint>

namespace drivekit {

/// 2.5 -> 3, -2.5 -> -3, 2.4999 -> 2. NaN gives 0; values past the range saturate.
inline std::int64_t roundHalfAway(double value) noexcept {
    if (std::isnan(value)) return 0;
    const double r = std::round(value);  // std::round already rounds halves away from zero
    if (r >= 9.2233720368547758e18) return INT64_MAX;
    if (r <= -9.2233720368547758e18) return INT64_MIN;
    return static_cast<std::int64_t>(r);
}

/// Rounds to `digits` fraction digits, halves away from zero, on the binary value times
/// 10^digits, as the stored figures' rule has it: 0.285 (a double just below it) gives
/// 0.28. LocalFormat::decimal rounds the number as written instead ("0.29").
inline double roundHalfAway(double value, int digits) noexcept {
    const double scale = std::pow(10.0, digits);
    return std::round(value * scale) / scale;
}

}  // namespace drivekit
