#include "drivekit/health/wording.hpp"

#include <gtest/gtest.h>

#include <cctype>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "drivekit/health/report.hpp"
#include "drivekit/health/sentences.hpp"

namespace drivekit {
namespace {

const Locale en{"en_US"};

// The string literals of a C++ source, comments, character literals and digit separators
// skipped; a raw string is taken whole.
std::vector<std::string> stringLiterals(const std::string& source) {
    std::vector<std::string> literals;
    std::size_t i = 0;
    while (i < source.size()) {
        if (source.compare(i, 2, "//") == 0) {
            i = source.find('\n', i);
        } else if (source.compare(i, 2, "/*") == 0) {
            i = source.find("*/", i);
            if (i != std::string::npos) i += 2;
        } else if (source.compare(i, 3, "R\"(") == 0) {
            const auto end = source.find(")\"", i + 3);
            literals.push_back(source.substr(i + 3, end - i - 3));
            i = end == std::string::npos ? end : end + 2;
        } else if (source[i] == '\'' && i > 0 && std::isalnum(static_cast<unsigned char>(source[i - 1]))) {
            ++i;  // a digit separator: 1'000
        } else if (source[i] == '\'' || source[i] == '"') {
            const char quote = source[i];
            std::string text;
            for (++i; i < source.size() && source[i] != quote; ++i) {
                if (source[i] == '\\') ++i;
                if (i < source.size()) text += source[i];
            }
            if (quote == '"') literals.push_back(std::move(text));
            ++i;
        } else {
            ++i;
        }
    }
    return literals;
}

Finding finding(Verdict verdict, std::string message) {
    return Finding{verdict, std::move(message), Finding::Signal::drive};
}

TEST(DocumentWording, LineTellsTheWorstFindingOrTheFigures) {
    using DocumentWording::line;
    const std::optional<LifeForecast> forecast = LifeForecast{5.0, 9.0};
    EXPECT_EQ(line(Tier::healthy, 12, std::nullopt, forecast, {}, en),
              "It has used 12% of its rated life. 5–9 years left at your current usage. Nothing "
              "to do.");
    // A healthy tier is not told by a finding.
    const std::vector<Finding> watch{
        finding(Verdict::watch, "The drive is reporting a temperature warning.")};
    EXPECT_EQ(line(Tier::healthy, std::nullopt, std::nullopt, std::nullopt, watch, en), "Nothing to do.");
    EXPECT_EQ(line(Tier::watch, 12, std::nullopt, forecast, watch, en),
              "The drive is reporting a temperature warning. Keep your backups current.");
    const std::vector<Finding> warnings{finding(Verdict::unknown, "unread"),
                                        finding(Verdict::warning, "First warning."),
                                        finding(Verdict::warning, "Second warning.")};
    EXPECT_EQ(line(Tier::warning, 12, std::nullopt, forecast, warnings, en), "First warning.");
    // A watch tier without a rated finding tells the figures, without "Nothing to do."
    EXPECT_EQ(line(Tier::watch, 104, std::nullopt, std::nullopt, {}, en), "It has used 104% of its rated life.");
    // Nothing to say at all.
    EXPECT_EQ(line(Tier::limited, std::nullopt, std::nullopt, std::nullopt, {}, en),
              "Vantrel couldn't read this drive's health data.");
}

// Every sentence a user can read says the Linux truth. The tables are read row by row;
// then every string literal of the product's sources, which catches a sentence kept
// outside a table. (The demo machine's printed documents are checked by the command
// line's tests.)
TEST(Sentences, NoneNamesTheMac) {
    const std::regex mac(R"(\bmacOS\b|\bMac\b|\bMac's\b|IOReturn)");
    const auto walk = [&](const auto& table, const char* name) {
        for (const std::string_view row : table) {
            EXPECT_FALSE(std::regex_search(std::string(row), mac)) << name << ": " << row;
        }
    };
    walk(Sentences::Title::all, "Title");
    walk(Sentences::Line::all, "Line");
    walk(Sentences::Limited::all, "Limited");
    walk(Sentences::ReadSource::all, "ReadSource");
    walk(Sentences::IndicatorLabel::all, "IndicatorLabel");

    const auto root = std::filesystem::path(VANTREL_TEST_DATA).parent_path().parent_path();
    int files = 0;
    std::size_t literals = 0;
    for (const char* layer : {"app", "cli", "desktop", "drivekit", "platform", "reports"}) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root / layer)) {
            const auto& path = entry.path();
            if (path.string().find("/tests/") != std::string::npos) continue;
            if (path.extension() != ".cpp" && path.extension() != ".hpp") continue;
            std::ifstream in(path);
            const std::string source{std::istreambuf_iterator<char>(in), {}};
            ++files;
            const auto found = stringLiterals(source);
            literals += found.size();
            for (const auto& literal : found) {
                // The regular expression only where it could match: it is slow.
                if (literal.find("Mac") == std::string::npos &&
                    literal.find("macOS") == std::string::npos &&
                    literal.find("IOReturn") == std::string::npos) {
                    continue;
                }
                EXPECT_FALSE(std::regex_search(literal, mac)) << path << ": " << literal;
            }
        }
    }
    EXPECT_GT(files, 100);
    EXPECT_GT(literals, 2000u);
}

TEST(DocumentWording, PrettyNamesAndVolumes) {
    using DocumentWording::prettyName;
    EXPECT_EQ(prettyName("1TB"), "1TB");  // nothing would remain
    EXPECT_EQ(prettyName("Portable SSD 1.5 TB"), "Portable SSD");
    EXPECT_EQ(prettyName("Disk 2  TB"), "Disk 2  TB");  // at most one blank before the unit
    EXPECT_EQ(prettyName("Model X.5TB"), "Model X.");   // a fraction needs digits before it

    const std::vector<Volume> volumes{
        {"sda1", "Data", "/", "ext4"},
        {"sda2", "Recovery", std::nullopt, "vfat"},
        {"sda3", "Preboot", std::nullopt, "apfs"},
        {"sda4", std::nullopt, "/mnt", "xfs"},
        {"sda5", "", "/srv", "xfs"},
        {"sda6", "Backup", "/backup", "ext4"},
    };
    const auto named = DocumentWording::volumeNames(volumes);
    ASSERT_EQ(named.size(), 2u);
    EXPECT_EQ(named[0].name, "Data");
    EXPECT_EQ(named[1].name, "Backup");
}

TEST(SerialMask, KeepsTheLastFewCharacters) {
    using SerialMask::shown;
    EXPECT_EQ(shown(std::string(" \n\t"), false), std::nullopt);
    // Inner blanks don't count: 6 characters keep 3.
    EXPECT_EQ(shown(std::string("AB  CD12"), false), "••••D12");
    EXPECT_EQ(shown(std::string("A"), false), "••••");
    // Characters, not bytes.
    EXPECT_EQ(shown(std::string("ÄÖÜßéè"), false), "••••ßéè");
    // Kept whole: trimmed only, inner blanks stay.
    EXPECT_EQ(shown(std::string("  AB CD12\n"), true), "AB CD12");
}

}  // namespace
}  // namespace drivekit
