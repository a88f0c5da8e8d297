#include "platform/diagnostics_log.hpp"

#include <thread>

#include <gtest/gtest.h>

namespace platform {
namespace {

using Lines = std::vector<std::string>;

TEST(DiagnosticsLog, KeepsTheNewestLinesOnceFull) {
    DiagnosticsLog log(3);
    for (const char* line : {"a", "b", "c", "d"}) log.note(line);
    EXPECT_EQ(log.lines(), (Lines{"b", "c", "d"}));
    for (const char* line : {"e", "f", "g"}) log.note(line);
    EXPECT_EQ(log.lines(), (Lines{"e", "f", "g"}));
    EXPECT_EQ(log.dropped(), 4u);
}

TEST(DiagnosticsLog, SuccessLinesCanBeSwitchedOffWithoutFormatting) {
    DiagnosticsLog log;
    log.noteSuccess([] { return std::string("read ok"); });

    log.setNotesSuccesses(false);
    bool called = false;
    log.noteSuccess([&] {
        called = true;
        return std::string("never");
    });
    log.note("read failed");
    EXPECT_FALSE(called);
    EXPECT_EQ(log.lines(), (Lines{"read ok", "read failed"}));
}

TEST(DiagnosticsLog, TakesLinesFromManyThreads) {
    DiagnosticsLog log(50);
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t) {
        writers.emplace_back([&log] {
            for (int i = 0; i < 100; ++i) log.note("line");
        });
    }
    for (auto& w : writers) w.join();
    EXPECT_EQ(log.lines().size(), 50u);
    EXPECT_EQ(log.dropped(), 350u);
}

}  // namespace
}  // namespace platform
