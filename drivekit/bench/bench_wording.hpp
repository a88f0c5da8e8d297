#pragma once
// The verdict's words (bench_wording.cpp holds every sentence of the benchmark).
#include <optional>
#include <string>

#include "drivekit/core/local_format.hpp"

namespace drivekit::BenchWording {

/// "1,234 MB/s".
std::string speed(double mbps, const Locale& locale);
/// "Average of 3 runs.", or how much the runs varied.
std::string note(std::optional<int> spread, long long runs, const Locale& locale);
std::string noResultHeadline();
std::string noResultDetail();
std::string doneHeadline();
std::string solidHeadline();
std::string jackpotHeadline();
std::string jackpotRibbon();
/// "812 MB/s over 3 runs."
std::string unknownLinkDetail(double best, long long runs, const Locale& locale);
/// "Sequential reads averaged 812 MB/s, 81% of the ~1,000 MB/s this USB 10 Gb/s link can
/// carry."; from 98% up "all of the ~".
std::string shareSentence(bool writes, double best, int percent, bool all, int ceiling,
                          const std::optional<std::string>& linkName, const Locale& locale);
std::string drivePaces();
std::string linkPaces();

}  // namespace drivekit::BenchWording
