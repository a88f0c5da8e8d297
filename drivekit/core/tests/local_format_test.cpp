#include "drivekit/core/local_format.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace drivekit {
namespace {

const Locale en{"en_US"};
const Locale de{"de_DE"};

TEST(LocalFormat, DecimalRoundsHalvesAwayFromZero) {
    EXPECT_EQ(LocalFormat::decimal(-2.25, 1, en), "-2.3");
    EXPECT_EQ(LocalFormat::decimal(2.45, 1, de), "2,5");
    // Rounded as written, not as the binary double lies slightly below the half.
    EXPECT_EQ(LocalFormat::decimal(0.285, 2, en), "0.29");
    // Nothing reads "-0".
    EXPECT_EQ(LocalFormat::decimal(-0.4, 0, en), "0");
    EXPECT_EQ(LocalFormat::decimal(-0.0, 1, en), "0.0");
}

TEST(LocalFormat, LocalesWithoutDataAndTagsFormatPredictably) {
    // A language ICU has no data for doesn't fall back to whatever the process's default
    // happens to be.
    EXPECT_EQ(LocalFormat::count(std::int64_t{1234567}, Locale{"xx_YY"}), "1,234,567");
    EXPECT_EQ(LocalFormat::count(std::int64_t{1234567}, Locale{"../../etc"}), "1,234,567");
    // BCP 47 tags and regions ICU only knows through their language.
    EXPECT_EQ(LocalFormat::count(std::int64_t{1234567}, Locale{"de-DE"}), "1.234.567");
    EXPECT_EQ(LocalFormat::decimal(1.5, 1, Locale{"de_XX"}), "1,5");
}

// en_US is formatted without ICU; "en-US", the same locale by its tag, goes through ICU,
// which must agree on every kind of number, across carries, halves and group boundaries.
TEST(LocalFormat, EnglishWithoutICUMatchesICU) {
    const Locale icu{"en-US"};
    std::mt19937_64 random(20261124);
    std::vector<std::int64_t> integers = {0, 1, -1, 999, 1000, -1000, 999'999, 1'234'567, INT64_MIN, INT64_MAX};
    for (int i = 0; i < 200; ++i) integers.push_back(static_cast<std::int64_t>(random()) >> (random() % 63));
    for (const std::int64_t n : integers) {
        EXPECT_EQ(LocalFormat::count(n, en), LocalFormat::count(n, icu)) << n;
        EXPECT_EQ(LocalFormat::percent(n, en), LocalFormat::percent(n, icu)) << n;
        EXPECT_EQ(ByteSize::decimal(n, en), ByteSize::decimal(n, icu)) << n;
        const auto u = static_cast<std::uint64_t>(n);
        EXPECT_EQ(LocalFormat::count(u, en), LocalFormat::count(u, icu)) << u;
        EXPECT_EQ(LocalFormat::plainCount(u, en), LocalFormat::plainCount(u, icu)) << u;
    }
    std::vector<double> reals = {0.0, -0.0, 0.5, -0.5, 0.05, 9.95, 99.95, 999.5, 0.285, 2.675, 1e-7, 123456.785,
                                 -0.049, 1e14 + 0.5, 1e16, 1e300, NAN, INFINITY};
    std::uniform_real_distribution<double> spread(-5000.0, 5000.0);
    for (int i = 0; i < 200; ++i) {
        reals.push_back(spread(random));
        reals.push_back(std::round(spread(random) * 1000.0) / 1000.0 + 0.0005);  // halves as written
    }
    for (const double x : reals) {
        for (int digits = 0; digits <= 7; ++digits) {
            EXPECT_EQ(LocalFormat::decimal(x, digits, en), LocalFormat::decimal(x, digits, icu)) << x << " " << digits;
        }
        EXPECT_EQ(LocalFormat::decimalTrimmed(x, en), LocalFormat::decimalTrimmed(x, icu)) << x;
    }
}

class EnvironmentLocale : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const char* name : kNames) {
            const char* value = std::getenv(name);
            saved_.push_back(value ? std::optional<std::string>(value) : std::nullopt);
            unsetenv(name);
        }
    }
    void TearDown() override {
        for (std::size_t i = 0; i < std::size(kNames); ++i) {
            if (saved_[i])
                setenv(kNames[i], saved_[i]->c_str(), 1);
            else
                unsetenv(kNames[i]);
        }
    }
    static constexpr const char* kNames[] = {"LC_ALL", "LC_NUMERIC", "LANG"};
    std::vector<std::optional<std::string>> saved_;
};

TEST_F(EnvironmentLocale, CurrentComesFromLcAllThenLcNumericThenLang) {
    EXPECT_EQ(Locale::current().id, "en_US");
    setenv("LANG", "de_DE.UTF-8", 1);
    EXPECT_EQ(Locale::current().id, "de_DE");
    setenv("LC_NUMERIC", "fr_FR.UTF-8@euro", 1);
    EXPECT_EQ(Locale::current().id, "fr_FR");
    setenv("LC_ALL", "", 1);  // set but empty counts as unset
    EXPECT_EQ(Locale::current().id, "fr_FR");
    setenv("LC_NUMERIC", "/some/path", 1);
    EXPECT_EQ(Locale::current().id, "en_US");
}

TEST(ByteSize, UnitsDigitsAndRoundingAcrossUnitBoundaries) {
    // Rounding that carries into the next unit, and the ends of the range.
    EXPECT_EQ(ByteSize::decimal(1, en), "1 byte");
    EXPECT_EQ(ByteSize::decimal(999'500, en), "1 MB");
    EXPECT_EQ(ByteSize::decimal(999'950'000, en), "1 GB");
    EXPECT_EQ(ByteSize::decimal(1'235'000'000, en), "1.24 GB");  // an exact half goes up
    EXPECT_EQ(ByteSize::decimal(INT64_MIN, en), "-9.22 EB");
}

TEST(LocalFormat, SharedFormattersGiveTheSameTextsFromManyThreads) {
    std::vector<std::thread> threads;
    std::vector<int> wrong(8, 0);
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([t, &wrong] {
            const Locale& locale = t % 2 ? de : en;
            const std::string expected = t % 2 ? "1.234,6" : "1,234.6";
            for (int i = 0; i < 300; ++i) {
                if (LocalFormat::decimal(1234.56, 1, locale) != expected)
                    ++wrong[static_cast<std::size_t>(t)];
                if (LocalFormat::count(std::int64_t{i},
                                       Locale{"locale_" + std::to_string(i % 40)}) !=
                    std::to_string(i)) {
                    ++wrong[static_cast<std::size_t>(t)];
                }
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(wrong, std::vector<int>(8, 0));
}

}  // namespace
}  // namespace drivekit
