#include "drivekit/health/ata_commands.hpp"

#include <deque>

#include <gtest/gtest.h>

#include "drivekit/health/tests/ata_pages.hpp"

namespace drivekit {
namespace {

using SAT::Variant;

// Answers commands from a script, in order, and remembers what was asked.
class ScriptedDrive : public SCSIDrive {
public:
    struct Sent {
        Bytes cdb;
        std::int64_t dataIn;
        double timeout;
    };

    ScriptedDrive& answer(Bytes bytes) {
        script_.emplace_back(std::move(bytes));
        return *this;
    }
    ScriptedDrive& fail(std::string message = "USB transfer failed: timed out") {
        script_.emplace_back(Unexpected(Failure{std::move(message)}));
        return *this;
    }

    Answer command(ByteView cdb, std::int64_t dataIn, double timeoutSeconds) override {
        sent.push_back({Bytes(cdb.begin(), cdb.end()), dataIn, timeoutSeconds});
        if (script_.empty()) return Unexpected(Failure{"nothing scripted"});
        Answer next = std::move(script_.front());
        script_.pop_front();
        return next;
    }
    DiagnosticsLog& log() override { return log_; }

    std::vector<Sent> sent;

private:
    std::deque<Answer> script_;
    DiagnosticsLog log_;
};

Bytes identifyPage(std::string_view model) {
    return testpages::IdentifyPage().model(model).word(217, 1).word(100, 0x1000).sealed();
}

Bytes inquiryData(std::string_view vendor, std::string_view product, std::size_t length) {
    Bytes data(36, 0x20);
    data[0] = 0x00;  // direct-access block device
    data[4] = 31;    // additional length
    for (std::size_t i = 0; i < vendor.size(); ++i) data[8 + i] = static_cast<std::uint8_t>(vendor[i]);
    for (std::size_t i = 0; i < product.size(); ++i) data[16 + i] = static_cast<std::uint8_t>(product[i]);
    data.resize(length);
    return data;
}

TEST(ATACommands, InquiryNeedsThirtyTwoBytes) {
    ScriptedDrive enough;
    enough.answer(inquiryData("ASMedia", "ASM1153E", 32));
    EXPECT_EQ(ATACommands::inquiry(enough), (ATACommands::Inquiry{"ASMedia", "ASM1153E"}));

    ScriptedDrive shortAnswer;
    shortAnswer.answer(inquiryData("ASMedia", "ASM1153E", 31));
    EXPECT_FALSE(ATACommands::inquiry(shortAnswer));

    ScriptedDrive failing;
    failing.fail();
    EXPECT_FALSE(ATACommands::inquiry(failing));
}

// A bridge that fails the 16-byte form, or answers it with zeros, gets the 12-byte one.
TEST(ATACommands, IdentifyFallsBackToTwelve) {
    for (const bool zeros : {false, true}) {
        ScriptedDrive drive;
        if (zeros) {
            drive.answer(Bytes(512, 0));
        } else {
            drive.fail();
        }
        drive.answer(identifyPage("ST2000DM008-2FR102"));
        const auto id = ATACommands::ataIdentify(drive);
        ASSERT_TRUE(id) << zeros;
        EXPECT_EQ(id->variant, Variant::twelve);
        EXPECT_EQ(id->identity.model, "ST2000DM008-2FR102");
        ASSERT_EQ(drive.sent.size(), 2u);
        EXPECT_EQ(drive.sent[1].cdb, SAT::identify(Variant::twelve));
    }
}

TEST(ATACommands, IdentifyGivesUpAfterTwoAttempts) {
    ScriptedDrive drive;
    drive.fail().answer(Bytes(512, 0xFF)).answer(identifyPage("never asked"));
    EXPECT_FALSE(ATACommands::ataIdentify(drive));
    EXPECT_EQ(drive.sent.size(), 2u);
}

TEST(ATACommands, SmartReadsDataThenThresholdsWithTheVariant) {
    ScriptedDrive drive;
    drive.answer(testpages::SmartDataPage().attribute(0, 5, 0x33, 5, 5, 1200).sealed())
        .answer(testpages::ThresholdsPage().threshold(0, 5, 10).sealed());
    const auto rows = ATACommands::smart(drive, Variant::twelve);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].threshold, 10);
    EXPECT_TRUE(rows[0].isFailingNow());
    ASSERT_EQ(drive.sent.size(), 2u);
    EXPECT_EQ(drive.sent[0].cdb, SAT::smartReadData(Variant::twelve));
    EXPECT_EQ(drive.sent[1].cdb, SAT::smartReadThresholds(Variant::twelve));
}

TEST(ATACommands, SmartWithoutDataIsEmptyAndAsksNoMore) {
    ScriptedDrive drive;
    drive.fail();
    EXPECT_TRUE(ATACommands::smart(drive, Variant::sixteen).empty());
    EXPECT_EQ(drive.sent.size(), 1u);
}

}  // namespace
}  // namespace drivekit
