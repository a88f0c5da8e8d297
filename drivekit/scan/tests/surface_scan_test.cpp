// The scan engine against a simulated disk behind a recording SCSI drive: bad blocks at
// known places, slow regions, an enclosure that goes silent, methods refused, a user who
// stops it. Every case ends by checking that nothing but READ CAPACITY and READ (10/16)
// ever reached the drive.
#include "drivekit/scan/surface_scan.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <set>

#include "platform/demo/sim_ata_disk.hpp"
#include "platform/tests/support/doubles.hpp"

namespace drivekit::surface_scan {
namespace {

using FakeClock = platform::doubles::TestClock;

/// The simulated disk as a SCSI drive, with the time each read takes charged to the fake clock,
/// and the ways enclosures fail: going silent, refusing one READ form.
class SimDrive final : public SCSIDrive {
public:
    explicit SimDrive(FakeClock& clock) : clock_(clock) {}

    platform::SimATADisk disk;
    double readSeconds = 0.002;
    /// Reads that touch [slowFrom, slowTo) take `slowSeconds`.
    std::uint64_t slowFrom = 0, slowTo = 0;
    double slowSeconds = 0.8;
    /// After this many reads the enclosure answers nothing more.
    std::optional<int> silentAfterReads;
    bool refuses10 = false, refuses16 = false;
    /// Replaces both READ CAPACITY answers.
    std::optional<Bytes> capacityAnswer;
    /// Block 0 turns unreadable after this many reads.
    std::optional<int> blockZeroFailsAfterReads;

    std::vector<Bytes> cdbs;
    int reads = 0;

    Answer command(ByteView cdb, std::int64_t dataIn, double timeoutSeconds) override {
        cdbs.emplace_back(cdb.begin(), cdb.end());
        const std::uint8_t op = cdb[0];
        const bool isRead = op == 0x28 || op == 0x88;
        if (silent_) {
            clock_.advance(timeoutSeconds);
            return Unexpected(Failure{"no answer"});
        }
        if (isRead) {
            if (silentAfterReads && reads >= *silentAfterReads) {
                silent_ = true;
                clock_.advance(timeoutSeconds);
                return Unexpected(Failure{"no answer"});
            }
            ++reads;
            if (blockZeroFailsAfterReads && reads > *blockZeroFailsAfterReads) disk.unreadableBlocks.insert(0);
            const std::uint64_t lba = op == 0x28 ? be32(cdb, 2) : be64(cdb, 2);
            const std::uint64_t blocks = op == 0x28 ? be16(cdb, 7) : be32(cdb, 10);
            clock_.advance(lba < slowTo && lba + blocks > slowFrom ? slowSeconds : readSeconds);
            if ((op == 0x28 && refuses10) || (op == 0x88 && refuses16)) return Unexpected(Failure{"refused"});
        }
        if (capacityAnswer && (op == 0x25 || op == 0x9E)) return *capacityAnswer;
        auto reply = disk.execute(cdb);
        if (reply.status != 0) return Unexpected(Failure{"check condition"});
        if (static_cast<std::int64_t>(reply.data.size()) > dataIn) reply.data.resize(static_cast<std::size_t>(dataIn));
        return std::move(reply.data);
    }
    DiagnosticsLog& log() override { return log_; }
    bool stoppedAnswering() const override { return silent_; }

private:
    FakeClock& clock_;
    DiagnosticsLog log_;
    bool silent_ = false;
};

constexpr std::uint64_t chunk = 1024;  // 512 KB of 512-byte blocks

class SurfaceScanTest : public ::testing::Test {
protected:
    FakeClock clock;
    SimDrive drive{clock};
    std::vector<Result> progress;

    void SetUp() override { drive.disk.blocks = 40 * chunk + 100; }

    Result scan(Mode mode = Mode::full, ShouldStop stop = {}, std::optional<std::int64_t> maxBytes = {}) {
        return run(drive, mode, maxBytes, clock, stop, [this](const Result& r) { progress.push_back(r); });
    }

    void TearDown() override {
        for (const Bytes& cdb : drive.cdbs) {
            const bool allowed = cdb[0] == 0x25 || cdb[0] == 0x28 || cdb[0] == 0x88 ||
                                 (cdb[0] == 0x9E && cdb.size() == 16 && (cdb[1] & 0x1F) == 0x10);
            EXPECT_TRUE(allowed) << "sent opcode " << int(cdb[0]);
        }
        EXPECT_EQ(drive.disk.writeAttempts, 0);
        EXPECT_TRUE(drive.log().notesSuccesses());
    }
};

TEST_F(SurfaceScanTest, FullScanReportsTheFirstBadBlockOfEachFailedRead) {
    // A failed read is read again in 64 KB pieces, and the first piece that fails gives
    // its first block: two bad blocks in one read are one report, and a bad last block
    // is found in the short last read.
    drive.disk.unreadableBlocks = {5 * chunk + 300, 5 * chunk + 900, 17 * chunk + 1, 40 * chunk + 99};
    const Result r = scan();
    EXPECT_EQ(r.readsPlanned, 41);
    EXPECT_EQ(r.unreadable, (std::vector<std::uint64_t>{5 * chunk + 256, 17 * chunk, 40 * chunk}));
    EXPECT_EQ(r.failedReads, 3);
    EXPECT_EQ(r.bytesRead, (38 * chunk) * 512);
    ASSERT_TRUE(r.reads);
    EXPECT_EQ(text(*r.reads), "READ (10), 512 KB");
    EXPECT_EQ(r.map->tally()[3], 3);
    // The bad read at the end was held until the negotiated spot read again.
    EXPECT_EQ(drive.cdbs.back(), read10(0, chunk));
}

TEST_F(SurfaceScanTest, QuickModeSpreadsAtMost2048ReadsToTheVeryEnd) {
    drive.disk.blocks = 1'000'000'000'000ULL;  // beyond READ (10): negotiates READ (16)
    drive.disk.unreadableBlocks = {1'000'000'000'000ULL - 1};
    const Result r = scan(Mode::quick, {}, 8192);
    EXPECT_EQ(r.readsPlanned, 2048);
    EXPECT_EQ(r.readsDone, 2048);
    EXPECT_TRUE(r.reads->sixteen);
    EXPECT_EQ(r.unreadable, std::vector<std::uint64_t>{1'000'000'000'000ULL - 16});
    EXPECT_EQ(be64(drive.cdbs.back(), 2), 0u);  // the spot read again for the held failure
}

TEST_F(SurfaceScanTest, SlowRegionCountsSlowReadsButNotTheWarmUp) {
    drive.slowFrom = 0;  // read 0 is slow too: it is the warm-up, not a slow read
    drive.slowTo = 3 * chunk;
    const Result r = scan();
    EXPECT_EQ(r.slowReads, 2);
    EXPECT_NEAR(*r.warmUpMs, 800, 1e-6);
    EXPECT_EQ(r.map->state(1), ScanMap::State::slow);
    EXPECT_EQ(r.map->speed(3), 262);  // 524,288 bytes in 2 ms
}

TEST_F(SurfaceScanTest, EnclosureThatGoesSilentIsNeverReportedAsBadSectors) {
    drive.silentAfterReads = 10;
    const Result r = scan();
    EXPECT_EQ(r.stopped, "The enclosure stopped answering.");
    EXPECT_TRUE(r.unreadable.empty());
    EXPECT_EQ(r.failedReads, 0);
    EXPECT_EQ(r.readsDone, 10);
    EXPECT_EQ(r.map->tally()[3], 0);
    // No pieces, and no spot read, once it is silent.
    EXPECT_EQ(drive.cdbs.size(), 1u + 11u);
}

TEST_F(SurfaceScanTest, HeldFailuresBeforeASilenceAreDroppedToo) {
    drive.disk.unreadableBlocks = {20 * chunk + 5};
    drive.silentAfterReads = 22;  // the failed read and its first piece, then silence
    const Result r = scan();
    EXPECT_EQ(r.stopped, "The enclosure stopped answering.");
    EXPECT_EQ(r.failedReads, 0);
}

TEST_F(SurfaceScanTest, EnclosureSilentFromTheFirstRead) {
    drive.silentAfterReads = 0;
    const Result r = scan();
    EXPECT_EQ(r.stalledOn, (Reads{false, 524'288}));
    EXPECT_EQ(r.readsDone, 0);
    EXPECT_NE(r.stopped->find("This says nothing about the drive itself."), std::string::npos);
}

TEST_F(SurfaceScanTest, EightFailuresInARowStopOnlyWhenTheSpotStillReads) {
    for (std::uint64_t i = 10; i < 20; ++i) drive.disk.unreadableBlocks.insert(i * chunk);
    const Result r = scan();
    EXPECT_EQ(r.stopped, "Eight reads in a row failed, though the drive still reads elsewhere. The scan stopped there to spare it.");
    EXPECT_EQ(r.failedReads, 8);
    EXPECT_EQ(r.readsDone, 18);
}

TEST_F(SurfaceScanTest, EightFailuresWhoseSpotNoLongerReadsAreNotCounted) {
    for (std::uint64_t i = 10; i < 18; ++i) drive.disk.unreadableBlocks.insert(i * chunk);
    drive.blockZeroFailsAfterReads = 12;  // the negotiated spot goes bad mid-scan
    const Result r = scan();
    EXPECT_EQ(r.stopped, "The enclosure stopped answering.");
    EXPECT_EQ(r.failedReads, 0);
    EXPECT_TRUE(r.unreadable.empty());
    EXPECT_EQ(r.readsDone, 10);
}

TEST_F(SurfaceScanTest, RefusedMethodsFallBack) {
    drive.refuses10 = true;
    Result r = scan();
    EXPECT_EQ(r.reads, (Reads{true, 524'288}));
    EXPECT_TRUE(r.finished());

    drive.refuses10 = false;
    drive.refuses16 = true;
    drive.disk.blocks = 0x1'0000'0000ULL + 5;
    r = scan(Mode::quick, {}, 8192);
    EXPECT_EQ(r.reads, (Reads{false, 8192}));  // READ (16) was asked first and refused

    drive.refuses10 = true;
    drive.cdbs.clear();
    r = scan();
    EXPECT_EQ(r.readsDone, 0);
    EXPECT_EQ(r.bytesRead, 0u);
    EXPECT_NE(r.stopped->find("refused every way"), std::string::npos);
}

TEST_F(SurfaceScanTest, CancelStopsBeforeTheNextReadAndKeepsConfirmedFailures) {
    drive.disk.unreadableBlocks = {4 * chunk + 7};
    int asked = 0;
    const Result r = scan(Mode::full, [&] { return ++asked > 4; });  // reads 1-4, read 0 came with negotiation
    EXPECT_EQ(r.stopped, "Cancelled.");
    EXPECT_EQ(r.cancelled, true);
    EXPECT_EQ(r.readsDone, 5);
    EXPECT_EQ(r.unreadable, std::vector<std::uint64_t>{4 * chunk});
    EXPECT_FALSE(r.finished());
}

TEST_F(SurfaceScanTest, ProgressAtMostTwiceASecondAndOnceAtTheEnd) {
    drive.disk.blocks = 2048 * 16;
    const Result r = scan(Mode::quick, {}, 8192);  // 2048 reads of 2 ms: about 4 s
    EXPECT_LE(progress.size(), static_cast<std::size_t>(r.seconds / 0.5) + 2);
    EXPECT_GE(progress.size(), 5u);
    EXPECT_EQ(toJson(progress.back()), toJson(r));
}

TEST_F(SurfaceScanTest, CapacityThatCantBeTrusted) {
    Bytes rc10(8, 0xFF);  // last LBA 0xFFFFFFFF
    drive.capacityAnswer = rc10;
    Result r = scan();
    EXPECT_EQ(r.stopped, "The enclosure didn't say how big the drive is.");
    EXPECT_EQ(r.blockSize, 512);
    EXPECT_EQ(r.readsPlanned, 0);

    drive.capacityAnswer = Bytes{0, 0, 0x10, 0, 0, 0, 1, 0};  // 256-byte blocks
    EXPECT_TRUE(scan().stopped);
}

TEST(SurfaceScanJson, ResultRoundTripsWithKeysInOrder) {
    Result r;
    r.mode = Mode::quick;
    r.totalBlocks = 1000;
    r.readsPlanned = 2;
    r.unreadable = {7};
    r.stopped = "Cancelled.";
    r.cancelled = true;
    r.reads = Reads{true, 65'536};
    r.map = ScanMap::make(2);
    r.map->record(1, ScanMap::State::unreadable, std::nullopt);
    const json::Object j = toJson(r);
    EXPECT_EQ(j.begin().key(), "mode");
    const auto back = resultFromJson(j);
    ASSERT_TRUE(back);
    EXPECT_EQ(toJson(*back), j);
    EXPECT_FALSE(resultFromJson(json::Object::parse(R"({"mode":"slow"})")));
}

}  // namespace
}  // namespace drivekit::surface_scan
