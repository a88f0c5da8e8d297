// File names of shares, and the readings as a spreadsheet reads them back.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "reports/share_item.hpp"

namespace reports {
namespace {

TEST(ShareItem, SafeNamesKeepAFileNameOnOneLineInOneFolder) {
    EXPECT_EQ(ShareItem::safeName("a/b:c"), "a-b-c");
    EXPECT_EQ(ShareItem::safeName("a\\b"), "a-b");
    EXPECT_EQ(ShareItem::safeName("...hidden"), "hidden");
    EXPECT_EQ(ShareItem::safeName("   "), "Vantrel");
    EXPECT_EQ(ShareItem::safeName("My\ndrive\t \u00A0 two"), "My drive two");
    EXPECT_EQ(ShareItem::safeName(std::string(300, 'x')), std::string(180, 'x'));
    // Cut by character, not by byte: no half of a letter is left at the end.
    std::string accents;
    for (int i = 0; i < 200; ++i) accents += "\u00E9";
    EXPECT_EQ(ShareItem::safeName(accents).size(), 360u);
}

TEST(ShareItem, FileNamesCarryWhatDriveAndLocalDay) {
    ::setenv("TZ", "UTC", 1);
    ShareItem item;
    item.what = "Disk Health";
    item.driveName = "Samsung T7/2";
    item.date = drivekit::json::SystemTime(std::chrono::seconds(1773480600));  // 2026-03-14 09:30 UTC
    item.formats = {ShareFormat::png};
    item.make = [](const ShareOptions&) { return std::optional<std::string>("bytes"); };
    EXPECT_EQ(item.fileName(ShareFormat::png), "Vantrel Disk Health \u2013 Samsung T7-2 \u2013 2026-03-14.png");
    EXPECT_FALSE(item.file({ShareFormat::pdf, false}));  // not a format the card offers
    EXPECT_EQ(item.file({ShareFormat::png, false})->data, "bytes");
}

// The CSV as Python's csv module reads it: header, quoted names, UTF-8, empty cells.
TEST(ReadingsCSV, ReadsBackCellForCellInASpreadsheetParser) {
    if (std::system("python3 -c 'import csv' >/dev/null 2>&1") != 0) GTEST_SKIP() << "no python3";
    const auto reading = [](std::string id, std::int64_t seconds, drivekit::Tier tier, std::optional<int> score) {
        app::Reading r;
        r.driveID = std::move(id);
        r.date = drivekit::json::SystemTime(std::chrono::seconds(seconds));
        r.tier = tier;
        r.score = score;
        return r;
    };
    std::vector<app::Reading> readings{reading("S1", 1773480600, drivekit::Tier::healthy, 96),
                                       reading("S2", 1773484200, drivekit::Tier::limited, std::nullopt),
                                       reading("S3", 1773487800, drivekit::Tier::failing, 20)};
    readings[0].lifeLeft = 96;
    readings[0].temperatureC = 38;
    readings[0].writtenBytes = 27240842752000u;
    const std::map<std::string, std::string> names{{"S1", "2\"drive, \u00E9t\u00E9"}, {"S2", "Backup"}};
    const std::string csv = ReadingsCSV::text(readings, names);
    EXPECT_NE(csv.find(",\"2\"\"drive, \u00E9t\u00E9\",healthy,96,96,38,27240842752000\n"), std::string::npos) << csv;
    EXPECT_NE(csv.find(",limited,,,,\n"), std::string::npos) << csv;

    const auto folder = std::filesystem::temp_directory_path() / ("vantrel-csv-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "r.csv", std::ios::binary) << csv;
    const std::string script =
        "import csv,datetime,sys\n"
        "rows=list(csv.reader(open(sys.argv[1],encoding='utf-8',newline='')))\n"
        "assert rows[0]==['date','drive','status','health','life_left_percent','temperature_c','data_written_bytes'],rows[0]\n"
        "assert len(rows)==4,rows\n"
        "for r in rows[1:]: datetime.datetime.fromisoformat(r[0].replace('Z','+00:00'))\n"
        "assert rows[1][1]=='2\"drive, \\u00e9t\\u00e9',rows[1]\n"
        "assert rows[1][6]=='27240842752000'\n"
        "assert rows[2]==['2026-03-14T10:30:00Z','Backup','limited','','','',''],rows[2]\n"
        "assert rows[3][1]=='S3' and rows[3][3]=='20' and rows[3][4]=='',rows[3]\n";
    std::ofstream(folder / "check.py") << script;
    const std::string command = "python3 " + (folder / "check.py").string() + " " + (folder / "r.csv").string();
    EXPECT_EQ(std::system(command.c_str()), 0);
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace reports
