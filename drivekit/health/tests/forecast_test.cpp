#include "drivekit/health/forecast.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace drivekit {
namespace {

using Kind = LifeForecast::Band::Kind;
using Band = LifeForecast::Band;

const Locale en{"en_US"};
constexpr std::uint64_t TB = 1'000'000'000'000;

TEST(Forecast, BootstrapNeedsWritesAMonthOfPowerAndLifeLeft) {
    EXPECT_FALSE(LifeForecast::bootstrap(10, 0, 10'000, 1'000'000'000'000));
    EXPECT_FALSE(LifeForecast::bootstrap(10, TB, 719, 1'000'000'000'000));
    EXPECT_FALSE(LifeForecast::bootstrap(100, TB, 10'000, 1'000'000'000'000));
}

TEST(Forecast, BootstrapFromMeasuredWear) {
    // 10% used after 10 TB in a powered year: 1 TB a percent, 90 percent left at 10 TB a
    // year is 9 years, spread by 1 + 0.5/10.
    const auto forecast = LifeForecast::bootstrap(10, 10 * TB, 8760, 1'000'000'000'000);
    ASSERT_TRUE(forecast);
    EXPECT_NEAR(forecast->lowYears, 9 * 0.8 / 1.05, 1e-9);
    EXPECT_NEAR(forecast->highYears, 9 * 1.25 * 1.05, 1e-9);
    EXPECT_EQ(LifeForecast::text(*forecast, en), "7–12 years");
}

TEST(Forecast, BootstrapWithoutWearUsesThePrior) {
    // No wear yet: 600 drive writes of 1 TB assumed; 1 TB written in 30 powered days.
    const auto forecast = LifeForecast::bootstrap(0, TB, 720, 1'000'000'000'000);
    ASSERT_TRUE(forecast);
    const double years = 6e12 * 100 / (1e12 / 30.0) / 365.0;
    EXPECT_NEAR(forecast->lowYears, years * 0.8 / 1.5, 1e-9);
    EXPECT_NEAR(forecast->highYears, years * 1.25 * 1.5, 1e-9);
    EXPECT_TRUE(forecast->usesPrior);

    // A capacity of 0 makes the prior 6 bytes a percent, never a division by zero.
    EXPECT_DOUBLE_EQ(LifeForecast::priorBytesPerPercent(0), 6.0);
    const auto tiny = LifeForecast::bootstrap(0, 1'000, 720, 0);
    ASSERT_TRUE(tiny);
    EXPECT_NEAR(tiny->highYears, 600.0 / (1000.0 / 30.0) / 365.0 * 1.25 * 1.5, 1e-12);
}

TEST(Forecast, Bands) {
    // L rounds to 0 while the high end is a month or more: under that many months, at least 2.
    EXPECT_EQ(LifeForecast::band(0.03, 0.2), (Band{Kind::underMonths, 3, 0}));
    // A high end below 1.5 years stays in months even with a low end of a year.
    EXPECT_EQ(LifeForecast::band(1.0, 1.4), (Band{Kind::monthsRange, 12, 17}));
    EXPECT_EQ(LifeForecast::band(19.6, 30.0), (Band{Kind::over20, 0, 0}));
    EXPECT_EQ(LifeForecast::band(19.4, 30.0), (Band{Kind::yearsToTwenty, 19, 0}));
    EXPECT_EQ(LifeForecast::band(4.5, 9.2), (Band{Kind::yearsRange, 5, 9}));  // halves away
    // 1.5 years rounds to 2, so "about" never counts a single year.
    EXPECT_EQ(LifeForecast::band(1.0, 1.5), (Band{Kind::yearsRange, 1, 2}));
}

}  // namespace
}  // namespace drivekit
