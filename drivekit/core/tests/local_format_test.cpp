#include "drivekit/core/local_format.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace drivekit {
namespace {

const Locale en{"en_US"};
const Locale de{"de_DE"};
const Locale fr{"fr_FR"};
const Locale ja{"ja_JP"};

// Separators as ICU's locale data has them.
const std::string nbsp = "\xC2\xA0";            // U+00A0, before % in de and fr
const std::string narrowNbsp = "\xE2\x80\xAF";  // U+202F, the French group separator

TEST(LocalFormat, CountGroupsTheLocaleWay) {
    EXPECT_EQ(LocalFormat::count(std::int64_t{1234567}, en), "1,234,567");
    EXPECT_EQ(LocalFormat::count(std::int64_t{1234567}, de), "1.234.567");
    EXPECT_EQ(LocalFormat::count(std::int64_t{1234567}, fr),
              "1" + narrowNbsp + "234" + narrowNbsp + "567");
    EXPECT_EQ(LocalFormat::count(std::int64_t{1234567}, ja), "1,234,567");
    EXPECT_EQ(LocalFormat::count(std::int64_t{-1234}, de), "-1.234");
    EXPECT_EQ(LocalFormat::count(std::int64_t{0}, en), "0");
    EXPECT_EQ(LocalFormat::count(UINT64_MAX, en), "18,446,744,073,709,551,615");
    EXPECT_EQ(LocalFormat::count(std::int64_t{INT64_MIN}, en), "-9,223,372,036,854,775,808");

    EXPECT_EQ(LocalFormat::count(-1234, de), "-1.234");  // plain int and unsigned types
    EXPECT_EQ(LocalFormat::count(std::uint32_t{4000000000}, de), "4.000.000.000");
    EXPECT_EQ(LocalFormat::count(std::uint8_t{255}, en), "255");

    EXPECT_EQ(LocalFormat::plainCount(1234567, de), "1234567");
    EXPECT_EQ(LocalFormat::plainCount(UINT64_MAX, fr), "18446744073709551615");
}

TEST(LocalFormat, PercentAndCelsius) {
    EXPECT_EQ(LocalFormat::percent(98, en), "98%");
    EXPECT_EQ(LocalFormat::percent(98, de), "98" + nbsp + "%");
    EXPECT_EQ(LocalFormat::percent(98, fr), "98" + nbsp + "%");
    EXPECT_EQ(LocalFormat::percent(98, ja), "98%");
    EXPECT_EQ(LocalFormat::percent(255, en), "255%");  // the value is the percent itself
    EXPECT_EQ(LocalFormat::percent(1500, de), "1.500" + nbsp + "%");

    EXPECT_EQ(LocalFormat::celsius(45, en),
              "45 \xC2\xB0"
              "C");
    EXPECT_EQ(LocalFormat::celsius(-23, de),
              "-23 \xC2\xB0"
              "C");
    EXPECT_EQ(LocalFormat::celsius(1200, de),
              "1.200 \xC2\xB0"
              "C");
    EXPECT_EQ(LocalFormat::celsius(0, ja),
              "0 \xC2\xB0"
              "C");
}

TEST(LocalFormat, DecimalHasExactDigitsAndTheLocalesComma) {
    EXPECT_EQ(LocalFormat::decimal(1.5, 1, en), "1.5");
    EXPECT_EQ(LocalFormat::decimal(1.5, 1, de), "1,5");
    EXPECT_EQ(LocalFormat::decimal(1.5, 1, fr), "1,5");
    EXPECT_EQ(LocalFormat::decimal(1.5, 1, ja), "1.5");
    EXPECT_EQ(LocalFormat::decimal(6.0, 0, de), "6");
    EXPECT_EQ(LocalFormat::decimal(6.0, 2, de), "6,00");
    EXPECT_EQ(LocalFormat::decimal(1234.5, 2, en), "1,234.50");
    EXPECT_EQ(LocalFormat::decimal(1234.5, 2, de), "1.234,50");
    EXPECT_EQ(LocalFormat::decimal(1234.5, 2, fr), "1" + narrowNbsp + "234,50");
    EXPECT_EQ(LocalFormat::decimal(1.5, -3, en), "2");  // negative digits count as none
}

TEST(LocalFormat, DecimalRoundsHalvesAwayFromZero) {
    EXPECT_EQ(LocalFormat::decimal(2.25, 1, en), "2.3");
    EXPECT_EQ(LocalFormat::decimal(-2.25, 1, en), "-2.3");
    EXPECT_EQ(LocalFormat::decimal(2.5, 0, en), "3");
    EXPECT_EQ(LocalFormat::decimal(-2.5, 0, en), "-3");
    EXPECT_EQ(LocalFormat::decimal(0.5, 0, de), "1");
    EXPECT_EQ(LocalFormat::decimal(2.45, 1, de), "2,5");
    // Rounded as written, not as the binary double lies slightly below the half.
    EXPECT_EQ(LocalFormat::decimal(0.285, 2, en), "0.29");
    EXPECT_EQ(LocalFormat::decimal(1.005, 2, en), "1.01");
    EXPECT_EQ(LocalFormat::decimal(2.449, 1, en), "2.4");
    // Nothing reads "-0".
    EXPECT_EQ(LocalFormat::decimal(-0.4, 0, en), "0");
    EXPECT_EQ(LocalFormat::decimal(-0.0, 1, en), "0.0");
}

TEST(LocalFormat, DecimalTrimmedShowsAFractionOnlyWhenThereIsOne) {
    EXPECT_EQ(LocalFormat::decimalTrimmed(1.5, en), "1.5");
    EXPECT_EQ(LocalFormat::decimalTrimmed(1.5, de), "1,5");
    EXPECT_EQ(LocalFormat::decimalTrimmed(6.0, de), "6");
    EXPECT_EQ(LocalFormat::decimalTrimmed(0.48, en), "0.5");
    EXPECT_EQ(LocalFormat::decimalTrimmed(20.0, en), "20");
}

TEST(LocalFormat, LocalesWithoutDataAndTagsFormatPredictably) {
    // A language ICU has no data for doesn't fall back to whatever the process's default
    // happens to be.
    EXPECT_EQ(LocalFormat::count(std::int64_t{1234567}, Locale{"xx_YY"}), "1,234,567");
    EXPECT_EQ(LocalFormat::count(std::int64_t{1234567}, Locale{""}), "1,234,567");
    EXPECT_EQ(LocalFormat::count(std::int64_t{1234567}, Locale{"../../etc"}), "1,234,567");
    // BCP 47 tags and regions ICU only knows through their language.
    EXPECT_EQ(LocalFormat::count(std::int64_t{1234567}, Locale{"de-DE"}), "1.234.567");
    EXPECT_EQ(LocalFormat::decimal(1.5, 1, Locale{"de_XX"}), "1,5");
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
    setenv("LC_ALL", "ja_JP", 1);
    EXPECT_EQ(Locale::current().id, "ja_JP");
    setenv("LC_ALL", "", 1);  // set but empty counts as unset
    EXPECT_EQ(Locale::current().id, "fr_FR");
    setenv("LC_NUMERIC", "C.UTF-8", 1);
    EXPECT_EQ(Locale::current().id, "en_US");
    setenv("LC_NUMERIC", "POSIX", 1);
    EXPECT_EQ(Locale::current().id, "en_US");
    setenv("LC_NUMERIC", "C", 1);
    EXPECT_EQ(Locale::current().id, "en_US");
    setenv("LC_NUMERIC", "/some/path", 1);
    EXPECT_EQ(Locale::current().id, "en_US");
}

TEST(LocalFormat, SentencesDropEmptyTextsAndJoinJapaneseWithoutBlank) {
    EXPECT_EQ(LocalFormat::sentences({"The drive is fine.", "", "Check it again soon."}),
              "The drive is fine. Check it again soon.");
    const std::string first =
        "\xE6\xAD\xA3\xE5\xB8\xB8\xE3\x81\xA7\xE3\x81\x99\xE3\x80\x82";  // 正常です。
    const std::string second = "\xE7\xA2\xBA\xE8\xAA\x8D\xEF\xBC\x81";   // 確認！
    const std::string third = "\xE5\xA4\xA7\xE4\xB8\x88\xE5\xA4\xAB\xEF\xBC\x9F";  // 大丈夫？
    EXPECT_EQ(LocalFormat::sentences({first, "", second, third, "OK"}),
              first + second + third + "OK");
    EXPECT_EQ(LocalFormat::sentences({"Fine?", "Yes!"}), "Fine? Yes!");  // ASCII marks take one
    EXPECT_EQ(LocalFormat::sentences({"", ""}), "");
    EXPECT_EQ(LocalFormat::sentences({}), "");
    EXPECT_EQ(LocalFormat::sentences({"", "Only."}), "Only.");
}

TEST(LocalFormat, CodeAndUnbrokenRange) {
    const std::string lri = "\xE2\x81\xA6";
    const std::string pdi = "\xE2\x81\xA9";
    const std::string times = "\xC3\x97";
    EXPECT_EQ(LocalFormat::code("PCIe 3.0 " + times + "4"),
              lri + "PCIe 3.0" + nbsp + times + "4" + pdi);
    EXPECT_EQ(LocalFormat::code("USB 10 Gb/s"), lri + "USB 10 Gb/s" + pdi);
    EXPECT_EQ(LocalFormat::code(" " + times + " " + times),
              lri + nbsp + times + nbsp + times + pdi);

    const std::string dash = "\xE2\x80\x93";
    const std::string joiner = "\xE2\x81\xA0";
    EXPECT_EQ(LocalFormat::unbrokenRange("5" + dash + "9 years"),
              "5" + joiner + dash + joiner + "9 years");
    EXPECT_EQ(LocalFormat::unbrokenRange(dash + dash),
              joiner + dash + joiner + joiner + dash + joiner);
    EXPECT_EQ(LocalFormat::unbrokenRange("5-9"), "5-9");  // a hyphen-minus is not a range dash
}

TEST(ByteSize, UnitsDigitsAndRoundingAcrossUnitBoundaries) {
    EXPECT_EQ(ByteSize::decimal(0, en), "0 bytes");
    EXPECT_EQ(ByteSize::decimal(1, en), "1 byte");
    EXPECT_EQ(ByteSize::decimal(999, en), "999 bytes");
    EXPECT_EQ(ByteSize::decimal(1000, en), "1 KB");
    EXPECT_EQ(ByteSize::decimal(1499, en), "1 KB");
    EXPECT_EQ(ByteSize::decimal(1500, en), "2 KB");
    EXPECT_EQ(ByteSize::decimal(512'000, en), "512 KB");  // one NVMe data unit
    EXPECT_EQ(ByteSize::decimal(999'499, en), "999 KB");
    EXPECT_EQ(ByteSize::decimal(999'500, en), "1 MB");
    EXPECT_EQ(ByteSize::decimal(999'999, en), "1 MB");
    EXPECT_EQ(ByteSize::decimal(1'500'000, en), "1.5 MB");
    EXPECT_EQ(ByteSize::decimal(999'950'000, en), "1 GB");
    EXPECT_EQ(ByteSize::decimal(1'500'000'000, en), "1.5 GB");
    EXPECT_EQ(ByteSize::decimal(1'234'567'890, en), "1.23 GB");
    EXPECT_EQ(ByteSize::decimal(1'235'000'000, en), "1.24 GB");  // an exact half goes up
    EXPECT_EQ(ByteSize::decimal(4'000'000'000'000, en), "4 TB");
    EXPECT_EQ(ByteSize::decimal(INT64_MAX, en), "9.22 EB");
    EXPECT_EQ(ByteSize::decimal(-1, en), "-1 byte");
    EXPECT_EQ(ByteSize::decimal(INT64_MIN, en), "-9.22 EB");
}

TEST(ByteSize, NumberIsInTheLocalesFormat) {
    EXPECT_EQ(ByteSize::decimal(1'500'000'000, de), "1,5 GB");
    EXPECT_EQ(ByteSize::decimal(1'234'567'890, fr), "1,23 GB");
    EXPECT_EQ(ByteSize::decimal(999, de), "999 bytes");
    EXPECT_EQ(ByteSize::decimal(2'000'000, ja), "2 MB");
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
