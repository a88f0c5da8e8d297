#include "drivekit/health/report_json.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "drivekit/health/health_rules.hpp"

namespace drivekit {
namespace {

const Locale en{"en_US"};

bool hasNull(const json::Object& value) {
    if (value.is_null()) return true;
    if (!value.is_structured()) return false;  // a primitive iterates over itself
    for (const auto& item : value) {
        if (hasNull(item)) return true;
    }
    return false;
}

std::vector<std::string> keysOf(const json::Object& object) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : object.items()) keys.push_back(key);
    return keys;
}

TEST(ReportJSON, AbsentFiguresAreLeftOutAndEmptyRecordsStayObjects) {
    // A report with nothing in it but its drive.
    HealthReport bare;
    bare.drive.bsdName = "sdb";
    bare.source = ReadingSource::ataOverUSB();
    bare.model = "Unknown drive";
    bare.findings = {Finding{Verdict::unknown, "The enclosure didn't answer.", std::nullopt}};
    bare.sataLink = SATALink{};
    const auto object = ReportJSON::encode(bare);
    EXPECT_FALSE(hasNull(object));
    EXPECT_TRUE(object["sataLink"].is_object() && object["sataLink"].empty());
    EXPECT_EQ(keysOf(object["findings"][0]), (std::vector<std::string>{"verdict", "message"}));
    EXPECT_TRUE(object["drive"]["volumes"].is_array());
}

}  // namespace
}  // namespace drivekit
