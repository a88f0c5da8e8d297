// A gallery of real-looking SATA drives, each rated as a careful engineer would rate it
// from its smartctl output. The attribute rows follow published outputs of these models
// (ids, flags, normalized values and thresholds as those drives report them); the raw
// values are chosen to show one pitfall each. No healthy drive here may come out warning
// or worse, and no drive with real evidence may come out healthy.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drivekit/health/ata_quirks.hpp"
#include "drivekit/health/health_rules.hpp"

namespace drivekit {
namespace {

const Locale en{"en_US"};

struct Row {
    std::uint8_t id;
    std::uint16_t flags;
    std::uint8_t value;
    std::uint8_t worst;
    std::uint8_t threshold;
    std::uint64_t raw;
};

struct GalleryDrive {
    const char* model;
    const char* firmware;
    int rotation;  // 1 for an SSD
    std::uint64_t sectors;
    std::vector<Row> rows;
    // What a careful engineer would say.
    Verdict tier;
    int score;
    std::optional<std::uint64_t> powerOnHours;
    std::optional<int> life;
    // The lines the reader should see among the findings, in order.
    std::vector<std::string> reasons;
    // Real evidence of wear or damage on the drive.
    bool evidence = false;
};

HealthReport rate(const GalleryDrive& g) {
    ATAIdentity identity;
    identity.model = g.model;
    identity.serial = "S0000000";
    identity.firmware = g.firmware;
    identity.rotationRate = g.rotation;
    identity.sectors = g.sectors;
    identity.smartSupported = true;
    identity.smartEnabled = true;
    Drive drive;
    drive.bsdName = "sdb";
    drive.model = g.model;
    drive.sizeBytes = static_cast<std::int64_t>(g.sectors * 512);
    drive.transport = Transport::usb;
    std::vector<ATAAttribute> attributes;
    for (const Row& r : g.rows) {
        attributes.push_back(ATAAttribute{r.id, r.flags, r.value, r.worst, r.threshold, r.raw});
    }
    return HealthRules::evaluate(identity, attributes, drive, ReadingSource::ataOverUSB(), {}, en);
}

const std::string packedNote198 =
    "Attribute 198's raw value isn't a count on this drive; Vantrel goes by its normalized value.";

std::vector<GalleryDrive> gallery() {
    return {
        // Plain healthy drives of the common kinds: nothing to say.
        {"Samsung SSD 860 EVO 500GB", "RVT04B6Q", 1, 976'773'168,
         {{5, 0x33, 100, 100, 10, 0}, {9, 0x32, 98, 98, 0, 8'712}, {12, 0x32, 99, 99, 0, 1'048},
          {177, 0x13, 96, 96, 0, 52}, {179, 0x13, 100, 100, 10, 0}, {181, 0x32, 100, 100, 10, 0},
          {182, 0x32, 100, 100, 10, 0}, {183, 0x13, 100, 100, 10, 0}, {187, 0x32, 100, 100, 0, 0},
          {190, 0x32, 63, 52, 0, 37}, {195, 0x1a, 200, 200, 0, 0}, {199, 0x3e, 100, 100, 0, 0},
          {235, 0x12, 99, 99, 0, 37}, {241, 0x32, 99, 99, 0, 31'250'000'000}},
         Verdict::healthy, 96, 8'712, 96, {}},
        {"WDC WD10EZEX-08WN4A0", "01.01A01", 7200, 1'953'525'168,
         {{1, 0x2f, 200, 200, 51, 0}, {3, 0x27, 171, 170, 21, 2'425}, {4, 0x32, 100, 100, 0, 1'312},
          {5, 0x33, 200, 200, 140, 0}, {7, 0x2e, 200, 200, 0, 0}, {9, 0x32, 66, 66, 0, 25'210},
          {10, 0x32, 100, 100, 0, 0}, {12, 0x32, 100, 100, 0, 1'309}, {194, 0x22, 111, 98, 0, 32},
          {196, 0x32, 200, 200, 0, 0}, {197, 0x32, 200, 200, 0, 0}, {198, 0x30, 100, 253, 0, 0},
          {199, 0x32, 200, 200, 0, 0}, {200, 0x08, 200, 200, 0, 0}},
         Verdict::healthy, 100, 25'210, std::nullopt, {}},
        // The MX500's one pending sector that never goes away is not a finding.
        {"CT500MX500SSD1", "M3CR023", 1, 976'773'168,
         {{1, 0x2f, 100, 100, 0, 0}, {5, 0x32, 100, 100, 10, 0}, {9, 0x32, 100, 100, 0, 14'200},
          {12, 0x32, 100, 100, 0, 410}, {173, 0x32, 97, 97, 0, 45}, {174, 0x32, 100, 100, 0, 39},
          {180, 0x33, 0, 0, 0, 23}, {187, 0x32, 100, 100, 0, 0}, {194, 0x22, 67, 45, 0, 0x0021'002D'0021},
          {197, 0x32, 100, 100, 0, 1}, {198, 0x30, 100, 100, 0, 0}, {199, 0x32, 100, 100, 0, 0},
          {202, 0x30, 97, 97, 1, 3}, {246, 0x32, 100, 100, 0, 9'876'543'210}},
         Verdict::healthy, 97, 14'200, 97, {}},
        // Three 16-bit counters share 188's raw value; the count is the low one.
        {"ST3000DM001-9YN166", "CC4H", 7200, 5'860'533'168,
         {{1, 0x0f, 117, 99, 6, 148'405'224}, {3, 0x03, 92, 92, 0, 0}, {5, 0x33, 100, 100, 10, 0},
          {7, 0x0f, 85, 60, 30, 0x0003'6B2A'1F40}, {9, 0x32, 72, 72, 0, 24'900},
          {10, 0x13, 100, 100, 97, 0}, {187, 0x32, 100, 100, 0, 0},
          {188, 0x32, 100, 99, 0, 0x0002'0002'0000}, {190, 0x22, 68, 55, 45, 0x1F1F'0020},
          {194, 0x22, 32, 45, 0, 0x0015'0000'0020}, {197, 0x12, 100, 100, 0, 0},
          {198, 0x10, 100, 100, 0, 0}, {199, 0x3e, 200, 200, 0, 0},
          {241, 0x00, 100, 253, 0, 30'123'456'789}},
         Verdict::healthy, 100, 24'900, std::nullopt, {}},
        // SandForce: vendor data in the fourth byte of 198 reads as 83 million offline
        // uncorrectable sectors at the usual width; life left is 231, not 230.
        {"OCZ-VERTEX3", "2.25", 1, 234'441'648,
         {{1, 0x0f, 120, 120, 50, 0}, {5, 0x33, 100, 100, 3, 0},
          {9, 0x32, 100, 100, 0, (0x0A1B2Cull << 32) | 9'850}, {12, 0x32, 100, 100, 0, 1'311},
          {171, 0x32, 0, 0, 0, 0}, {174, 0x30, 0, 0, 0, 420}, {187, 0x12, 100, 100, 0, 0},
          {194, 0x22, 30, 30, 0, 0x001E'0000'001E}, {196, 0x33, 100, 100, 3, 0},
          {198, 0x10, 120, 120, 0, 0x0500'0000}, {199, 0x3e, 200, 200, 0, 0},
          {230, 0x13, 100, 100, 0, 100}, {231, 0x13, 97, 97, 10, 0}, {233, 0x00, 0, 0, 0, 5'436},
          {234, 0x32, 0, 0, 0, 4'231}, {241, 0x32, 0, 0, 0, 4'231}, {242, 0x32, 0, 0, 0, 3'120}},
         Verdict::healthy, 97, 9'850, 97,
         {"Attribute 230's normalized value isn't life left on this drive; Vantrel doesn't read "
          "life from it."}},
        // The same layout on a model no quirk names: more sectors than the drive has.
        {"SanDisk SDSSDA240G", "U21010RL", 1, 468'862'128,
         {{5, 0x33, 100, 100, 3, 0}, {9, 0x32, 100, 100, 0, 4'200}, {12, 0x32, 100, 100, 0, 233},
          {174, 0x30, 0, 0, 0, 61}, {187, 0x12, 100, 100, 0, 0}, {194, 0x22, 33, 33, 0, 33},
          {198, 0x10, 120, 120, 0, 0xF500'0000}, {230, 0x13, 100, 100, 0, 100},
          {231, 0x13, 100, 100, 10, 0}, {233, 0x00, 0, 0, 0, 2'901}, {234, 0x32, 0, 0, 0, 2'150},
          {241, 0x32, 0, 0, 0, 2'150}, {242, 0x32, 0, 0, 0, 1'877}},
         Verdict::healthy, 100, 4'200, 100, {packedNote198}},
        // Power-on time in minutes and in half-minutes: 357 and 246 years as hours.
        {"Maxtor 2B020H1", "WAK21TJ0", 5400, 40'132'503,
         {{3, 0x27, 200, 190, 63, 10'712}, {4, 0x32, 253, 253, 0, 2'311}, {5, 0x33, 253, 253, 63, 0},
          {9, 0x32, 217, 217, 0, 3'130'000}, {12, 0x32, 253, 253, 0, 2'290},
          {197, 0x08, 253, 253, 0, 0}, {198, 0x08, 253, 252, 0, 0}, {199, 0x1a, 199, 199, 0, 0}},
         Verdict::healthy, 100, 52'166, std::nullopt,
         {"Attribute 9 counts minutes on this drive; Vantrel converts it to hours."}},
        {"SAMSUNG HM160JI", "AD100-16", 5400, 312'581'808,
         {{1, 0x0f, 100, 100, 51, 0}, {3, 0x07, 100, 100, 25, 1'792}, {5, 0x33, 253, 253, 10, 0},
          {9, 0x32, 100, 100, 0, 2'160'000}, {12, 0x32, 99, 99, 0, 1'850},
          {194, 0x22, 134, 104, 0, 0x0024'0014'0024}, {197, 0x12, 100, 100, 0, 0},
          {198, 0x30, 100, 100, 0, 0}, {199, 0x3e, 100, 100, 0, 0}},
         Verdict::healthy, 100, 18'000, std::nullopt,
         {"Attribute 9 counts half-minutes on this drive; Vantrel converts it to hours."}},
        // Chosen as the gibibyte family by its 230/233/234 signature, yet 241 counts
        // blocks: 20 exabytes written and "under a month left" otherwise.
        {"SanDisk SD7SB3Q512G1122", "X2316RL", 1, 1'000'215'216,
         {{5, 0x32, 100, 100, 0, 0}, {9, 0x32, 100, 100, 0, 14'800}, {12, 0x32, 100, 100, 0, 2'150},
          {171, 0x32, 100, 100, 0, 0}, {172, 0x32, 100, 100, 0, 0}, {173, 0x32, 100, 100, 0, 48},
          {174, 0x32, 100, 100, 0, 97}, {187, 0x32, 100, 100, 0, 0},
          {194, 0x22, 62, 48, 0, 0x0030'001A'0026}, {199, 0x32, 100, 100, 0, 0},
          {230, 0x32, 98, 98, 0, 1'920}, {232, 0x33, 100, 100, 4, 100}, {233, 0x32, 98, 98, 0, 48},
          {234, 0x32, 100, 100, 0, 31'000}, {241, 0x32, 253, 253, 0, 19'140'625'000}},
         Verdict::healthy, 98, 14'800, 98,
         {"Attribute 241 counts 512-byte blocks on this drive; Vantrel reads data written in "
          "those."}},
        // 231 says 7% left; its raw value, the erase counts (45 of 1,500) and 4 TB written
        // on a 480 GB drive all say over 90%.
        {"ADATA SU650", "V8X01c45", 1, 937'703'088,
         {{1, 0x32, 100, 100, 50, 0}, {5, 0x32, 100, 100, 50, 0}, {9, 0x32, 100, 100, 0, 8'400},
          {12, 0x32, 100, 100, 0, 812}, {167, 0x32, 100, 100, 0, 45}, {168, 0x32, 100, 100, 0, 1'500},
          {171, 0x32, 100, 100, 0, 0}, {172, 0x32, 100, 100, 0, 0}, {187, 0x32, 100, 100, 0, 0},
          {194, 0x22, 40, 40, 0, 40}, {199, 0x32, 100, 100, 0, 0}, {231, 0x32, 7, 7, 0, 95},
          {232, 0x32, 100, 100, 0, 100}, {241, 0x30, 100, 100, 0, 120'000}},
         Verdict::healthy, 95, 8'400, 95,
         {"Attribute 231's normalized value contradicts the drive's wear counters; Vantrel goes "
          "by those."}},
        // A Phison drive's family reads no spare, but its pre-failure bad-block attribute
        // has fallen to 24 against a threshold of 10, with 436 grown bad blocks.
        {"PNY CS900 240GB SSD", "CS900612", 1, 468'862'128,
         {{1, 0x32, 100, 100, 50, 0}, {9, 0x32, 100, 100, 0, 11'200}, {12, 0x32, 100, 100, 0, 640},
          {168, 0x12, 100, 100, 0, 0}, {170, 0x03, 24, 24, 10, 0x01B4'0000'0000},
          {173, 0x03, 100, 100, 0, 0}, {187, 0x32, 100, 100, 0, 0}, {194, 0x22, 38, 48, 0, 38},
          {199, 0x32, 100, 100, 0, 0}, {231, 0x00, 92, 92, 0, 92}, {241, 0x32, 100, 100, 0, 5'200}},
         Verdict::warning, 24, 11'200, 92, {"Spare capacity has dropped to 24%."}, true},
        // Real damage: pending and unreadable sectors, hundreds replaced.
        {"ST2000DM001-1CH164", "CC26", 7200, 3'907'029'168,
         {{1, 0x0f, 112, 99, 6, 47'000'000}, {5, 0x33, 88, 88, 10, 1'184}, {9, 0x32, 65, 65, 0, 31'250},
          {187, 0x32, 73, 73, 0, 27}, {188, 0x32, 100, 99, 0, 0}, {194, 0x22, 35, 45, 0, 35},
          {197, 0x12, 100, 100, 0, 48}, {198, 0x10, 100, 100, 0, 48}, {199, 0x3e, 200, 200, 0, 0}},
         Verdict::failing, 30, 31'250, std::nullopt,
         {"48 sectors can't be read (offline uncorrectable).",
          "48 sectors are waiting to be remapped (pending).", "27 errors the drive couldn't correct.",
          "1,184 sectors or blocks have been replaced with spares."},
         true},
        // Worn out, and every counter agrees: 92% used, 560 drive writes.
        {"Crucial_CT256MX100SSD1", "MU02", 1, 500'118'192,
         {{5, 0x32, 100, 100, 0, 0}, {9, 0x32, 100, 100, 0, 21'000}, {173, 0x32, 8, 8, 0, 2'760},
          {187, 0x32, 100, 100, 0, 0}, {194, 0x22, 62, 50, 0, 38}, {197, 0x32, 100, 100, 0, 0},
          {202, 0x30, 8, 8, 0, 92}, {246, 0x32, 100, 100, 0, 280'000'000'000}},
         Verdict::warning, 8, 21'000, 8, {"About 8% of rated life left."}, true},
    };
}

TEST(ATAGallery, EachDriveIsRatedAsACarefulEngineerWould) {
    for (const GalleryDrive& g : gallery()) {
        SCOPED_TRACE(g.model);
        const HealthReport report = rate(g);
        EXPECT_EQ(report.verdict(), g.tier);
        EXPECT_EQ(report.score, g.score);
        EXPECT_EQ(report.powerOnHours, g.powerOnHours);
        EXPECT_EQ(report.lifeRemainingPercent, g.life);

        std::vector<std::string> shown;
        for (const Finding& f : report.findings) shown.push_back(f.message);
        auto from = shown.begin();
        for (const std::string& reason : g.reasons) {
            const auto at = std::find(from, shown.end(), reason);
            EXPECT_NE(at, shown.end()) << "missing or out of order: " << reason;
            if (at != shown.end()) from = at + 1;
        }
        // The rule of the gallery itself.
        if (g.evidence) {
            EXPECT_NE(report.verdict(), Verdict::healthy);
        } else {
            EXPECT_LT(report.verdict(), Verdict::warning);
        }
        // A forecast must fit the drive: nothing near "under a month" on a drive at 90%+.
        if (report.forecast && report.lifeRemainingPercent >= 90) {
            EXPECT_GT(report.forecast->lowYears, 1.0);
        }
    }
}

// The quirk table itself is data; what can go wrong is the matching: firmware ranges,
// letter case, and a prefix taking the model beside it.
TEST(ATAQuirks, MatchingByFirmwareCaseAndPrefix) {
    using Unit = ATAQuirks::PowerOnUnit;
    EXPECT_EQ(ATAQuirks::forDrive("SAMSUNG SP1614C", "SW100-25").powerOn, Unit::halfMinutes);
    EXPECT_EQ(ATAQuirks::forDrive("SAMSUNG SP1614C", "SW100-35").powerOn, Unit::hours);
    EXPECT_EQ(ATAQuirks::forDrive("SAMSUNG SP1614C", std::nullopt).powerOn, Unit::hours);
    EXPECT_EQ(ATAQuirks::forDrive("atp i-temp m.2 2242", std::nullopt).lifeNotPercent.size(), 1u);
    // The first Vertex is an Indilinx drive, where 198 counts sectors read; the Vertex 3 isn't.
    EXPECT_EQ(ATAQuirks::forDrive("OCZ-VERTEX", std::nullopt).packed,
              (std::vector<ATAQuirks::Packed>{{198, 0}}));
    EXPECT_EQ(ATAQuirks::forDrive("OCZ-VERTEX3", std::nullopt).lifeId, 231);
    EXPECT_EQ(ATAQuirks::forDrive("FUJITSU MHZ2250BH", std::nullopt).powerOn, Unit::hours);
}

}  // namespace
}  // namespace drivekit
