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
    EXPECT_TRUE(asksForDesktop(Words{"--login"}));
    EXPECT_FALSE(asksForDesktop(Words{"--demo", "list"}));
    EXPECT_FALSE(asksForDesktop(Words{"lst"}));
    EXPECT_FALSE(asksForDesktop(Words{"vantrel://drive/sda", "extra"}));
    EXPECT_TRUE(asksForDrawing(Words{"--demo", "report", "sda"}));
    EXPECT_FALSE(asksForDrawing(Words{"--demo"}));
}

}  // namespace
}  // namespace cli
