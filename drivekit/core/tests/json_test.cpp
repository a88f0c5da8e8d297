#include "drivekit/core/json.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace drivekit {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono;

json::SystemTime at(int y, unsigned mo, unsigned d, int h, int mi, int s) {
    return sys_days{year{y} / month{mo} / day{d}} + hours{h} + minutes{mi} + seconds{s};
}

TEST(Json, PrettyLayoutSortsKeysAtEveryLevelAndKeepsSlashes) {
    json::Object document;
    document["volumes"] = {"a/b"};
    document["reading"] = {{"method", "nvmeSMART"}, {"description", "NVMe SMART"}};
    EXPECT_EQ(json::dump(document, json::Layout::prettySorted),
              "{\n"
              "  \"reading\": {\n"
              "    \"description\": \"NVMe SMART\",\n"
              "    \"method\": \"nvmeSMART\"\n"
              "  },\n"
              "  \"volumes\": [\n"
              "    \"a/b\"\n"
              "  ]\n"
              "}");
    // Big unsigned counters and doubles survive both layouts.
    const json::Object figures = {{"written", UINT64_MAX}, {"years", 4.26}, {"delta", -3}};
    EXPECT_EQ(json::dump(figures, json::Layout::compact),
              R"({"written":18446744073709551615,"years":4.26,"delta":-3})");
    EXPECT_EQ(json::parse(json::dump(figures, json::Layout::prettySorted))
                  ->at("written")
                  .get<std::uint64_t>(),
              UINT64_MAX);
}

TEST(Json, DumpNeverThrowsOnBadTextAndWritesUTF8AsIs) {
    json::Object value;
    value["model"] = std::string("WD\xFF") + "Blue";
    value["name"] =
        "Disque n\xC2\xB0"
        "1";
    std::string out;
    EXPECT_NO_THROW(out = json::dump(value, json::Layout::compact));
    EXPECT_EQ(out,
              "{\"model\":\"WD\xEF\xBF\xBD"
              "Blue\",\"name\":\"Disque n\xC2\xB0"
              "1\"}");
}

TEST(Json, DamagedTextReadsAsAbsent) {
    for (const char* damaged :
         {"", "{", "{\"a\":}", "nul", "[1,2", "{\"a\":1}}", "\xFF", "1e99999"}) {
        EXPECT_FALSE(json::parse(damaged).has_value()) << damaged;
    }
    const auto value = json::parse(R"([{"a":1},{"b":[true,null]}])");
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(value->size(), 2u);
}

TEST(Json, ParseIsoDateTakesOffsetsAndFractions) {
    const auto moment = at(2026, 11, 15, 14, 0, 0);
    EXPECT_EQ(json::parseIsoDate("2026-11-15T14:00:00Z"), moment);
    EXPECT_EQ(json::parseIsoDate("2026-11-15T16:00:00+02:00"), moment);
    EXPECT_EQ(json::parseIsoDate("2026-11-15T08:30:00-0530"), moment);
    EXPECT_EQ(json::parseIsoDate("2026-11-15T14:00:00.250Z"), moment + milliseconds{250});
    EXPECT_EQ(json::parseIsoDate("2026-11-15T14:00:00.123456789123Z"),
              moment + nanoseconds{123456789});

    for (const char* bad :
         {"2026-11-15T14:00:00", "2026-02-30T00:00:00Z", "2026-11-15T24:00:00Z", "2026-11-15T14:00:00.Z",
          "2026-11-15T14:00:00Zjunk", "2026-11-15T14:00:00+2:00", "9999-01-01T00:00:00Z"}) {
        EXPECT_FALSE(json::parseIsoDate(bad).has_value()) << bad;
    }
}

}  // namespace
}  // namespace drivekit
