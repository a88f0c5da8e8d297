// `vantrel writes` over an injected platform: the stored history when there is one, one
// live interval otherwise, and the sentence when this user can't count.
#include "cli/writes_command.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <sstream>

#include "cli/exit_codes.hpp"
#include "drivekit/core/json.hpp"
#include "platform/tests/support/doubles.hpp"

namespace cli {
namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;


// dd starts after the first snapshot and writes 1 MB; the drive counts 1.5 MB.
struct Processes final : app::WritesSource {
    int calls = 0;
    std::optional<std::vector<drivekit::ProcessWrites>> snapshot() override {
        if (++calls == 1) return std::vector<drivekit::ProcessWrites>{{1, 5, "/usr/lib/systemd/systemd", 100, "", false}};
        return std::vector<drivekit::ProcessWrites>{{1, 5, "/usr/lib/systemd/systemd", 100, "", false},
                                                    {77, 1'763'200'001'000'000, "/usr/bin/dd", 1'000'000, "", false}};
    }
};

class WritesCommandTest : public ::testing::Test {
  protected:
    WritesCommandTest() {
        std::string pattern = (fs::temp_directory_path() / "vantrel-writes-cli-XXXXXX").string();
        folder = ::mkdtemp(pattern.data());
    }
    ~WritesCommandTest() override { fs::remove_all(folder); }

    int run(std::vector<std::string_view> args, std::shared_ptr<app::WritesSource> source) {
        std::uint64_t drive = 10'000'000;
        WritesPlatform platform{std::move(source), clock,
                                [&](std::chrono::milliseconds length) {
                                    clock.wall += length;
                                    drive += 1'500'000;
                                    return true;
                                },
                                [&]() { return std::optional(std::pair<std::string, std::uint64_t>{"nvme0n1", drive}); },
                                folder, drivekit::WriteCalendar::zone("UTC")};
        return runWrites(args, platform, out, err);
    }

    fs::path folder;
    platform::doubles::TestClock clock{std::chrono::system_clock::time_point(seconds(1'763'200'000))};
    std::ostringstream out;
    std::ostringstream err;
};

TEST_F(WritesCommandTest, countsOneLiveIntervalWithoutAHistory) {
    ASSERT_EQ(run({"--json"}, std::make_shared<Processes>()), exitOK);
    const auto doc = drivekit::json::parse(out.str());
    ASSERT_TRUE(doc) << out.str();
    EXPECT_EQ((*doc)["source"], "live");
    EXPECT_EQ((*doc)["systemDrive"], "nvme0n1");
    EXPECT_EQ((*doc)["driveWritten"], 1'500'000);
    // What the drive wrote beyond dd is the system's.
    EXPECT_EQ((*doc)["owners"][0]["owner"], "tool:/usr/bin/dd");
    EXPECT_EQ((*doc)["owners"][0]["bytes"], 1'000'000);
    EXPECT_EQ((*doc)["owners"][1]["owner"], "system");
    EXPECT_EQ((*doc)["owners"][1]["bytes"], 500'000);
    EXPECT_NE(err.str().find("Counting every program's writes for 5 seconds..."), std::string::npos);
}

TEST_F(WritesCommandTest, readsTheStoredHistoryForThePeriodAsked) {
    const std::int64_t now = 1'763'200'000;
    std::ofstream(folder / "writes-slots.json")
        << R"({"v":1,"owners":["app:org.gnome.Nautilus","tool:/usr/bin/rsync"],"buckets":[)"
        << R"({"t":)" << now - 25 * 3600 << R"(,"b":[1,999]},{"t":)" << now - 3600 << R"(,"b":[0,3000,1,1000]}]})";
    std::ofstream(folder / "writes-days.json")
        << R"({"v":1,"owners":["web"],"buckets":[{"t":)" << now - 5 * 86400 << R"(,"b":[0,7]}]})";
    ASSERT_EQ(run({}, nullptr), exitOK);
    EXPECT_EQ(out.str(),
              "Written in the last 24 hours: 4 KB\n"
              "      3 KB   75.0%  Nautilus              org.gnome.Nautilus\n"
              "      1 KB   25.0%  rsync                 /usr/bin/rsync\n");
    out.str("");
    ASSERT_EQ(run({"--since", "7d", "--json"}, nullptr), exitOK);
    const auto doc = drivekit::json::parse(out.str());
    ASSERT_TRUE(doc);
    EXPECT_EQ((*doc)["source"], "history");
    EXPECT_EQ((*doc)["total"], 4000 + 999 + 7);
}

TEST_F(WritesCommandTest, saysWhyWithoutRootAndRefusesBadPeriods) {
    EXPECT_EQ(run({}, nullptr), exitNoPermission);
    EXPECT_NE(err.str().find("needs root"), std::string::npos) << err.str();
    EXPECT_EQ(run({"--since", "2w"}, nullptr), exitUsage);
    EXPECT_EQ(run({"--seconds", "0"}, nullptr), exitUsage);
    EXPECT_EQ(run({"--since"}, nullptr), exitUsage);
}

}  // namespace
}  // namespace cli
