#include "drivekit/core/json.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
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
    document["schemaVersion"] = 1;
    document["reading"] = {{"method", "nvmeSMART"}, {"description", "NVMe SMART"}};
    document["checkedAt"] = "2026-11-15T14:00:00Z";
    document["benchmark"] = {{"runs", 3}};
    document["volumes"] = {"a/b"};
    EXPECT_EQ(json::dump(document, json::Layout::prettySorted),
              "{\n"
              "  \"benchmark\": {\n"
              "    \"runs\": 3\n"
              "  },\n"
              "  \"checkedAt\": \"2026-11-15T14:00:00Z\",\n"
              "  \"reading\": {\n"
              "    \"description\": \"NVMe SMART\",\n"
              "    \"method\": \"nvmeSMART\"\n"
              "  },\n"
              "  \"schemaVersion\": 1,\n"
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
    EXPECT_EQ(json::parseIsoDate("2026-11-16T00:00:00+10:00"), moment);
    EXPECT_EQ(json::parseIsoDate("2026-11-15T14:00:00.250Z"), moment + milliseconds{250});
    EXPECT_EQ(json::parseIsoDate("2026-11-15T14:00:00.123456789123Z"),
              moment + nanoseconds{123456789});

    for (const char* bad :
         {"", "2026-11-15", "2026-11-15T14:00:00", "2026-11-15 14:00:00Z", "2026-02-30T00:00:00Z",
          "2026-13-01T00:00:00Z", "2026-11-15T24:00:00Z", "2026-11-15T14:60:00Z",
          "2026-11-15T14:00:00.Z", "2026-11-15T14:00:00Zjunk", "2026-11-15T14:00:00+2:00",
          "2026-11-15T14:00:00+24:00", "9999-01-01T00:00:00Z", "20261115T140000Z"}) {
        EXPECT_FALSE(json::parseIsoDate(bad).has_value()) << bad;
    }
}

class JsonFiles : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "vantrel-json-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
    }
    void TearDown() override {
        std::error_code ignored;
        fs::permissions(folder_, fs::perms::owner_all, ignored);
        fs::remove_all(folder_, ignored);
    }
    static std::string contents(const fs::path& path) {
        std::ifstream in(path, std::ios::binary);
        std::stringstream all;
        all << in.rdbuf();
        return all.str();
    }
    std::vector<std::string> names() const {
        std::vector<std::string> out;
        for (const auto& entry : fs::directory_iterator(folder_))
            out.push_back(entry.path().filename());
        std::sort(out.begin(), out.end());
        return out;
    }
    fs::path folder_;
};

TEST_F(JsonFiles, AtomicWriteReplacesTheWholeFileAndLeavesNoTemporary) {
    const fs::path target = folder_ / "readings.json";
    ASSERT_TRUE(json::writeAtomically(target, std::string(100'000, 'x')));
    ASSERT_TRUE(json::writeAtomically(target, R"({"a":1})"));
    EXPECT_EQ(contents(target), R"({"a":1})");
    EXPECT_EQ(names(), std::vector<std::string>{"readings.json"});
    EXPECT_EQ(json::readFile(target)->at("a"), 1);

    ASSERT_TRUE(json::writeAtomically(target, ""));
    EXPECT_EQ(contents(target), "");
    EXPECT_FALSE(json::readFile(target).has_value());  // empty is damaged
}

TEST_F(JsonFiles, ConcurrentWritersLeaveOneWholeFile) {
    const fs::path target = folder_ / "shared-state.json";
    std::vector<std::thread> writers;
    for (int t = 0; t < 8; ++t) {
        writers.emplace_back([&target, t] {
            const std::string body =
                "[" + std::string(static_cast<std::size_t>(10'000 + t), '0').replace(0, 1, "1") +
                "]";
            for (int i = 0; i < 20; ++i) json::writeAtomically(target, body);
        });
    }
    for (auto& writer : writers) writer.join();
    const std::string last = contents(target);
    EXPECT_GE(last.size(), 10'002u);
    EXPECT_LE(last.size(), 10'009u);
    EXPECT_EQ(last.back(), ']');
    EXPECT_EQ(names(), std::vector<std::string>{"shared-state.json"});
}

TEST_F(JsonFiles, FailedWritesReturnFalseAndKeepTheOldFile) {
    const fs::path target = folder_ / "known-drives.json";
    ASSERT_TRUE(json::writeAtomically(target, R"({"old":true})"));

    // The folder is missing.
    EXPECT_FALSE(json::writeAtomically(folder_ / "missing" / "known-drives.json", "{}"));
    // The target is a folder: the rename fails after the temporary was written.
    fs::create_directory(folder_ / "taken.json");
    fs::create_directory(folder_ / "taken.json" / "inside");
    EXPECT_FALSE(json::writeAtomically(folder_ / "taken.json", "{}"));
    // The disk refuses part-way through the data (the file size limit stands in for a full
    // disk).
    {
        rlimit saved{};
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
        const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit small = saved;
        small.rlim_cur = 4096;
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
        const bool wrote = json::writeAtomically(target, std::string(100'000, ' ') + "{}");
        setrlimit(RLIMIT_FSIZE, &saved);
        std::signal(SIGXFSZ, previousHandler);
        EXPECT_FALSE(wrote);
    }

    EXPECT_EQ(contents(target), R"({"old":true})");
    EXPECT_EQ(names(), (std::vector<std::string>{"known-drives.json", "taken.json"}));
}

TEST_F(JsonFiles, MissingOrDamagedFilesReadAsAbsent) {
    EXPECT_FALSE(json::readFile(folder_ / "absent.json").has_value());
    EXPECT_FALSE(json::readFile(folder_).has_value());  // a folder

    const fs::path damaged = folder_ / "writes-days.json";
    std::ofstream(damaged) << R"({"days":[{"date":"2026-11-2)";
    EXPECT_FALSE(json::readFile(damaged).has_value());

    const fs::path good = folder_ / "writes-slots.json";
    std::ofstream(good) << R"({"slots":[]})";
    ASSERT_TRUE(json::readFile(good).has_value());
    EXPECT_TRUE(json::readFile(good)->at("slots").is_array());
}

}  // namespace
}  // namespace drivekit
