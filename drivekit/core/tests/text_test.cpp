#include "drivekit/core/text.hpp"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "drivekit/core/bytes.hpp"
#include "drivekit/core/name_pattern.hpp"

namespace drivekit {
namespace {

using std::string_literals::operator""s;

Bytes bytesOf(std::string_view s) {
    return Bytes(s.begin(), s.end());
}

constexpr std::string_view kFFFD = "\xEF\xBF\xBD";

TEST(Text, TrimmedRemovesWhitespaceAndControlsAtBothEndsOnly) {
    EXPECT_EQ(text::trimmed("  \t Samsung SSD 980 PRO \r\n"), "Samsung SSD 980 PRO");
    EXPECT_EQ(text::trimmed("\0\0WD  Blue\0\0\0"s), "WD  Blue");
    // No-break space, ideographic space, byte order mark, zero width space, DEL, C1 NEL.
    EXPECT_EQ(text::trimmed("\xC2\xA0\xE3\x80\x80\xEF\xBB\xBF"
                            "a\xC2\xA0"
                            "b\xE2\x80\x8B\x7F\xC2\x85"),
              "a\xC2\xA0"
              "b");
    EXPECT_EQ(text::trimmed(" \0 \x01\x1F "s), "");
    EXPECT_EQ(text::trimmed(""), "");
    // Letters beyond ASCII are kept, at the ends too.
    EXPECT_EQ(text::trimmed(" \xC3\xA9t\xC3\xA9 "), "\xC3\xA9t\xC3\xA9");
    // An invalid byte is not whitespace: trimming stops at it, and the text stays as it is.
    EXPECT_EQ(text::trimmed(" abc\xFF "), "abc\xFF");
    EXPECT_EQ(text::trimmed("\x80 x"), "\x80 x");
}

TEST(Text, RepairedUTF8ReplacesEachMaximalInvalidSubsequence) {
    const auto repaired = [](std::string_view s) { return text::repairedUTF8(bytesOf(s)); };
    const std::string r(kFFFD);

    const std::string valid = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\0z"s;  // a é € 😀 NUL z
    EXPECT_EQ(repaired(valid), valid);
    EXPECT_EQ(repaired("abc\xFF"
                       "def"),
              "abc" + r + "def");
    EXPECT_EQ(repaired("x\xE2\x82"), "x" + r);  // truncated at the end: one
    EXPECT_EQ(repaired("\xE2\x82"
                       "A"),
              r + "A");                                      // broken by ASCII: one, A kept
    EXPECT_EQ(repaired("\xC0\xAF"), r + r);                  // overlong
    EXPECT_EQ(repaired("\xED\xA0\x80"), r + r + r);          // a surrogate
    EXPECT_EQ(repaired("\xF4\x90\x80\x80"), r + r + r + r);  // past U+10FFFF
    EXPECT_EQ(repaired("\x80\xBF"), r + r);                  // lone continuation bytes
    EXPECT_EQ(repaired(""), "");
}

TEST(Text, PrintableEscapesWhatDrivesATerminalAndKeepsText) {
    // A window-title change, a screen clear and a forged second line.
    EXPECT_EQ(text::printable("Disk\x1b]0;owned\x07\x1b[2J\r\nroot# "),
              R"(Disk\x1b]0;owned\x07\x1b[2J\x0d\x0aroot# )");
    EXPECT_EQ(text::printable(std::string_view("a\0b\x7f", 4)), R"(a\x00b\x7f)");
    // C1 controls (CSI as U+009B), a right-to-left override and a line separator.
    EXPECT_EQ(text::printable("\xC2\x9B" "31m" "\xE2\x80\xAE" "gpj.exe" "\xE2\x80\xA8"),
              R"(\u009b31m\u202egpj.exe\u2028)");
    // Valid text stays, broken bytes become U+FFFD; a lone ESC byte split off a
    // multi-byte character can't hide inside it.
    EXPECT_EQ(text::printable("Größe 容量 🙂"), "Größe 容量 🙂");
    EXPECT_EQ(text::printable("\xC3\x1b[0m\xFF"), "\xEF\xBF\xBD\\x1b[0m\xEF\xBF\xBD");
}

TEST(Text, FieldIsRepairedTrimmedAndEmptyPastTheBuffer) {
    // A serial padded with blanks and NULs, as drives fill short fields.
    Bytes identify(30, 0);
    const std::string serial = "S4EWNX0R123456  ";
    std::copy(serial.begin(), serial.end(), identify.begin() + 4);
    EXPECT_EQ(text::field(identify, 4, 20), "S4EWNX0R123456");
    EXPECT_EQ(text::field(identify, 24, 40), "");  // the model of a 30-byte identify
    EXPECT_EQ(text::field(identify, 30, 0), "");
    EXPECT_EQ(text::field(identify, 31, 0), "");
    EXPECT_EQ(text::field(identify, SIZE_MAX, 2), "");  // no wrap-round to the front
    EXPECT_EQ(text::field(identify, 4, SIZE_MAX), "");

    Bytes blanks(40);
    for (std::size_t i = 0; i < blanks.size(); ++i) blanks[i] = i % 3 ? ' ' : '\0';
    EXPECT_EQ(text::field(blanks, 0, 40), "");

    const Bytes firmware = bytesOf("  Fir\xFFmware  ");
    EXPECT_EQ(text::field(firmware, 0, firmware.size()), "Fir" + std::string(kFFFD) + "mware");
}

TEST(Bytes, ReadsPastTheEndGiveZeroWhateverTheOffset) {
    const Bytes data = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A};
    EXPECT_EQ(le16(data, 0), 0x0201u);
    EXPECT_EQ(le32(data, 8), 0x0A09u);  // half the field is past the end
    EXPECT_EQ(be32(data, 8), 0x090A0000u);
    EXPECT_EQ(le64(data, SIZE_MAX), 0u);  // no wrap-round to the front
    EXPECT_EQ(be64(data, SIZE_MAX - 1), 0u);
    // A 16-byte counter reads as its low 8 bytes.
    EXPECT_EQ(readLE(data, 0, 16), 0x0807060504030201u);
}

// The drive tables rely on these: case ignored for ASCII only (a Turkish process locale
// must not change a match), \b and \w, a whole match that a longer name fails, and a
// broken pattern that matches nothing instead of everything.
TEST(NamePattern, MatchesTheWayTheDriveTablesExpect) {
    const NamePattern anywhere(R"(\bCT[0-9]+MX500|KINGSTON ?S\w?V300)", NamePattern::Span::anywhere);
    EXPECT_TRUE(anywhere.matches("CT500MX500SSD1"));
    EXPECT_TRUE(anywhere.matches("crucial ct1000mx500ssd4"));
    EXPECT_TRUE(anywhere.matches("KINGSTON SUV300S37A240G"));
    EXPECT_FALSE(anywhere.matches("XCT500MX500SSD1"));

    const NamePattern whole(R"(SAMSUNG HM(0[468]0H|120I))", NamePattern::Span::whole);
    EXPECT_TRUE(whole.matches("samsung hm080h"));
    EXPECT_FALSE(whole.matches("SAMSUNG HM080HI"));
    EXPECT_FALSE(whole.matches("X SAMSUNG HM080H"));

    const char* saved = std::setlocale(LC_CTYPE, nullptr);
    const std::string before = saved ? saved : "C";
    if (std::setlocale(LC_CTYPE, "tr_TR.UTF-8") != nullptr) {
        EXPECT_TRUE(NamePattern("INTEL SSDSC", NamePattern::Span::whole).matches("intel ssdsc"));
    }
    std::setlocale(LC_CTYPE, before.c_str());

    const NamePattern broken("(unclosed", NamePattern::Span::anywhere);
    EXPECT_FALSE(broken.matches("(unclosed"));
    EXPECT_FALSE(broken.valid());
}

// A name is turned away before the expression compiles when it lacks one of a branch's
// texts, so each must be in every match of its branch: a letter that may repeat or be
// absent, or one inside a group, bracket or escape, must not be counted.
TEST(NamePattern, RequiresOnlyTextEveryMatchHolds) {
    using Texts = std::vector<std::vector<std::string>>;
    EXPECT_EQ(NamePattern::requiredTexts(R"(Crucial_CT|\bCT[0-9]+(MX|BX)SSD|\bMicron[_ ])"),
              (Texts{{"crucial_ct"}, {"ct", "ssd"}, {"micron"}}));
    EXPECT_EQ(NamePattern::requiredTexts("TEAM ?L5|ab+cd|xy{2}z|SD(5|6)"),
              (Texts{{"team", "l5"}, {"ab", "cd"}, {"x", "z"}, {"sd"}}));
    EXPECT_EQ(NamePattern::requiredTexts(R"(^S[]89]F\.x.*-(2|3)$)"), (Texts{{"s", "f", "x", "-"}}));
    EXPECT_EQ(NamePattern::requiredTexts("WD Blue|"), (Texts{{"wd blue"}, {}}));  // the empty branch takes any name
    // The texts only ever turn names away: every name the expression matches still does.
    const NamePattern tables(R"(KINGSTON ?(SUV300|SV310)|ADATA[ _]SU(630|800)|\bNT-(64|128)\b)", NamePattern::Span::anywhere);
    for (const char* name : {"KINGSTONSUV300S37A", "ADATA_SU800", "nt-64 disk"}) {
        EXPECT_TRUE(tables.matches(name)) << name;
    }
    EXPECT_FALSE(tables.matches("QEMU HARDDISK"));
}

}  // namespace
}  // namespace drivekit
