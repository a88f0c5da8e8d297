#include <gtest/gtest.h>

#include "cli/drawing.hpp"

namespace cli {
namespace {

// The window opens only for words that are the window's; anything else stays a command,
// so a typo never opens a window instead of saying what is wrong.
TEST(HandOver, TheWindowTakesNoWordsOrItsOwnSwitchesOnly) {
    using Words = std::vector<std::string_view>;
    EXPECT_TRUE(asksForDesktop(Words{}));
    EXPECT_TRUE(asksForDesktop(Words{"--demo"}));
    EXPECT_TRUE(asksForDesktop(Words{"--demo=machine.json", "vantrel://drive/nvme0n1"}));
    EXPECT_TRUE(asksForDesktop(Words{"vantrel://drive/sda"}));
    EXPECT_FALSE(asksForDesktop(Words{"--demo", "list"}));
    EXPECT_FALSE(asksForDesktop(Words{"lst"}));
    EXPECT_FALSE(asksForDesktop(Words{"vantrel://drive/sda", "extra"}));
    EXPECT_TRUE(asksForDrawing(Words{"--demo", "report", "sda"}));
    EXPECT_FALSE(asksForDrawing(Words{"--demo"}));
}

// vantrel links no Qt: a command it kept that needs the bus would fail, and a root's list
// handed over would start Qt for nothing.
TEST(HandOver, TheBusTakesWhatNeedsItAndNothingARootListNeeds) {
    using Words = std::vector<std::string_view>;
    const auto installed = [] { return true; };
    const auto absent = [] { return false; };
    const bool root = true;
    for (const auto command : {"monitor", "history", "selftest", "eject", "mount"}) {
        EXPECT_TRUE(asksForBus(Words{command}, root, absent)) << command;
    }
    EXPECT_FALSE(asksForBus(Words{"list", "--json"}, root, installed));
    EXPECT_FALSE(asksForBus(Words{"check", "sda"}, root, absent));
    EXPECT_TRUE(asksForBus(Words{"check", "sda"}, root, installed));
    // A scan unmounts through the disk service only when it takes the drive.
    EXPECT_FALSE(asksForBus(Words{"scan", "sdb"}, root, installed));
    EXPECT_TRUE(asksForBus(Words{"scan", "sdb", "--capture"}, root, installed));
    EXPECT_TRUE(asksForBus(Words{"list", "--json"}, !root, absent));
    EXPECT_FALSE(asksForBus(Words{"--demo", "list"}, !root, absent));
    EXPECT_FALSE(asksForBus(Words{"readings", "--csv"}, !root, absent));
}

}  // namespace
}  // namespace cli
