#include "app/store/drive_store.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <condition_variable>
#include <deque>
#include <fstream>
#include <mutex>

#include "app/store/store_events.hpp"
#include "app/store/tests/fake_timers.hpp"

namespace app {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

DriveSummary drive(std::string id, drivekit::DriveKind kind = drivekit::DriveKind::usb) {
    DriveSummary d;
    d.id = d.bsdName = d.name = std::move(id);
    d.kind = kind;
    d.tier = drivekit::Tier::healthy;
    d.score = 90;
    return d;
}

// Reads finish when the test says, in any order.
struct HeldReads {
    struct Read {
        std::vector<DriveSummary> drives;
        std::function<void(std::vector<DriveSummary>)> back;
    };
    std::deque<Read> waiting;
    bool immediate = false;

    Background background() {
        return [this](auto read, auto back) {
            if (immediate) {
                back(read());
            } else {
                waiting.push_back({read(), std::move(back)});
            }
        };
    }
    void finish(std::size_t index) {
        Read read = std::move(waiting.at(index));
        waiting.erase(waiting.begin() + static_cast<std::ptrdiff_t>(index));
        read.back(std::move(read.drives));
    }
};

class DriveStoreTest : public ::testing::Test {
  protected:
    testing::FakeTimers timers;
    HeldReads reads;
    std::vector<std::vector<DriveSummary>> machine{{drive("sdb")}};
    int passesRead = 0;
    std::vector<std::string> lines;
    std::vector<PassReport> passes;
    EjectOutcome ejectAnswer;
    std::vector<std::string> ejectedJobs;
    fs::path folder = fs::path(::testing::TempDir()) /
                      ("store-" + std::to_string(::getpid()) + "-" +
                       ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::unique_ptr<DriveStore> store;
    std::function<void(DriveStore::Services&)> extra;

    void SetUp() override { make(Prefs{}); }
    void TearDown() override {
        store.reset();
        fs::remove_all(folder);
    }
    void make(Prefs prefs, std::function<std::optional<IOStats>(const std::string&)> io = {},
              std::function<bool()> windowVisible = {}) {
        DriveStore::Services services;
        services.read = [this](const PassRequest&) {
            const auto index = static_cast<std::size_t>(passesRead++);
            return machine[std::min(index, machine.size() - 1)];
        };
        services.background = reads.background();
        services.timers = &timers;
        services.paths = StatePaths{folder / "data", folder / "config"};
        services.log = [this](const std::string& line) { lines.push_back(line); };
        services.ioStats = std::move(io);
        services.windowVisible = std::move(windowVisible);
        services.eject = [this](const EjectJob& job) {
            ejectedJobs.push_back(job.name);
            return ejectAnswer;
        };
        services.work = [](auto work, auto then) {
            work();
            then();
        };
        if (extra) extra(services);
        store = std::make_unique<DriveStore>(std::move(services), std::move(prefs));
        store->onPass = [this](const PassReport& report) { passes.push_back(report); };
    }
};

TEST_F(DriveStoreTest, APassOvertakenByALaterOneIsDroppedWhole) {
    machine = {{drive("old")}, {drive("new")}};
    store->refresh();
    timers.advance(1s);
    store->refresh();
    timers.advance(6s);
    reads.finish(1);
    reads.finish(0);
    ASSERT_EQ(store->allDrives().size(), 1u);
    EXPECT_EQ(store->allDrives()[0].id, "new");
    ASSERT_EQ(passes.size(), 2u);
    EXPECT_TRUE(passes[0].shown);
    EXPECT_FALSE(passes[1].shown);
    EXPECT_EQ(lines, (std::vector<std::string>{"refresh 2 took 6.0 s; shown",
                                               "refresh 1 took 7.0 s; dropped, a later one was shown"}));
    // The dropped pass wrote nothing: only the new drive has a reading.
    const auto readings = StateFiles::readReadings(folder / "data" / "readings.json");
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0].driveID, "new");
}

TEST_F(DriveStoreTest, ABurstOfEventsCostsOnePassAndOneSettlingPass) {
    reads.immediate = true;
    for (int i = 0; i < 10; ++i) {
        store->scheduleRefresh();
        timers.advance(50ms);
    }
    // The last event came at 0.45 s; its pass is due at 1.15 s.
    timers.advance(649ms);
    EXPECT_EQ(passesRead, 0);
    timers.advance(1ms);
    EXPECT_EQ(passesRead, 1);
    timers.advance(2999ms);
    EXPECT_EQ(passesRead, 1);
    timers.advance(1ms);
    EXPECT_EQ(passesRead, 2);
    timers.advance(1h);
    EXPECT_EQ(passesRead, 2);

    // An event while a debounced pass reads: that pass still shows, but only the newer
    // burst gets a settling pass.
    reads.immediate = false;
    store->scheduleRefresh();
    timers.advance(700ms);
    store->scheduleRefresh();
    reads.finish(0);
    timers.advance(700ms);
    reads.finish(0);
    timers.advance(3s);
    EXPECT_EQ(reads.waiting.size(), 1u);
    reads.finish(0);
    timers.advance(1h);
    EXPECT_EQ(passesRead, 5);
}

TEST_F(DriveStoreTest, ThePollerWaitsAMinuteWhenCheckMinutesIsZero) {
    reads.immediate = true;
    Prefs prefs;
    prefs.checkMinutes = 0;
    make(prefs);
    store->start();
    EXPECT_EQ(passesRead, 1);
    timers.advance(59s);
    EXPECT_EQ(passesRead, 1);
    timers.advance(1s);
    EXPECT_EQ(passesRead, 2);
    // A new period applies from the next wait.
    prefs.checkMinutes = 10;
    store->setPrefs(prefs);
    timers.advance(60s);
    EXPECT_EQ(passesRead, 3);
    timers.advance(9min + 59s);
    EXPECT_EQ(passesRead, 3);
    timers.advance(1s);
    EXPECT_EQ(passesRead, 4);
}

TEST_F(DriveStoreTest, TheSamplerMeasuresOnlyWhileWatchedAndNeverAcrossAStaleGap) {
    reads.immediate = true;
    std::uint64_t bytes = 0;
    make(Prefs{}, [&](const std::string&) { return std::optional<IOStats>(IOStats{bytes, 0}); });
    store->refresh();
    store->beginLive();
    EXPECT_TRUE(store->sampling());
    for (int i = 0; i < 3; ++i) {
        bytes += 1'000'000;
        timers.advance(1s);
    }
    ASSERT_TRUE(store->speed("sdb"));
    EXPECT_DOUBLE_EQ(store->speed("sdb")->read, 1'000'000);
    EXPECT_EQ(store->history("sdb")->at(59), (Speed{1'000'000, 0}));
    EXPECT_EQ(store->history("sdb")->at(57), Speed{});

    // No viewer: the sampler stops; a new viewer's first tick makes no sample.
    store->endLive();
    EXPECT_FALSE(store->sampling());
    bytes += 50'000'000;
    timers.advance(1h);
    store->beginLive();
    bytes += 2'000'000;
    timers.advance(1s);
    EXPECT_DOUBLE_EQ(store->speed("sdb")->read, 1'000'000);
    bytes += 2'000'000;
    timers.advance(1s);
    EXPECT_DOUBLE_EQ(store->speed("sdb")->read, 2'000'000);
}

TEST_F(DriveStoreTest, AHiddenWindowWithAViewerResumesWithTheMeanOverTheGap) {
    reads.immediate = true;
    std::uint64_t bytes = 0;
    bool visible = true;
    make(Prefs{}, [&](const std::string&) { return std::optional<IOStats>(IOStats{0, bytes}); },
         [&] { return visible; });
    store->refresh();
    store->beginLive();
    timers.advance(1s);
    visible = false;
    bytes += 3'600'000'000;
    timers.advance(1h);
    EXPECT_FALSE(store->speed("sdb"));
    visible = true;
    timers.advance(1s);
    ASSERT_TRUE(store->speed("sdb"));
    EXPECT_DOUBLE_EQ(store->speed("sdb")->write, 3'600'000'000.0 / 3601);
}

TEST_F(DriveStoreTest, TheFirstPassMakesNoArrivalTheNextOneDoes) {
    reads.immediate = true;
    machine = {{drive("sdb")}, {drive("sdb"), drive("sdc"), drive("sdd")}};
    store->refresh();
    EXPECT_FALSE(store->arrival());
    EXPECT_EQ(store->selectedID(), "sdb");
    store->refresh();
    ASSERT_TRUE(store->arrival());
    EXPECT_EQ(store->arrival()->driveID, "sdc");
    EXPECT_TRUE(fs::exists(folder / "data" / "shared" / "shared-state.json"));
    EXPECT_EQ(StateFiles::readKnownDrives(folder / "data" / "shared" / "known-drives.json").entries.size(), 3u);
}

TEST_F(DriveStoreTest, PanelWidgetsLearnTheLowSpaceLimitAtStartAndWhenItChanges) {
    reads.immediate = true;
    const auto settings = folder / "data" / "shared" / "widget-settings.json";
    store->start();
    EXPECT_EQ(StateFiles::readWidgetLowSpacePercent(settings), 10);
    // A damaged file is put right by the next change, whatever the value.
    std::ofstream(settings) << "{\"lowSpacePercent\": \"ten\"}";
    Prefs prefs = store->prefs();
    prefs.lowSpacePercent = 25;
    store->setPrefs(prefs);
    EXPECT_EQ(StateFiles::readWidgetLowSpacePercent(settings), 25);
}

TEST_F(DriveStoreTest, ARefusalStaysThroughPassesAndASecondClickTriesAgain) {
    machine = {{drive("sdb"), drive("sdc")}, {drive("sdb"), drive("sdc")}, {drive("sdc")}};
    reads.immediate = true;
    store->refresh();
    int ejectedNotes = 0;
    store->onEjected = [&](const EjectJob&) { ++ejectedNotes; };

    ejectAnswer = EjectOutcome{EjectOutcome::Kind::busy};
    store->eject("sdb");
    store->refresh();
    ASSERT_EQ(store->ejectStates().count("sdb"), 1u);
    EXPECT_EQ(store->ejectStates().at("sdb").kind, EjectState::Kind::refused);
    EXPECT_EQ(lines.back(), "Eject refused: a file on the drive is open.");

    // Ejected: its pass no longer lists the drive, and the state goes with it.
    ejectAnswer = EjectOutcome{EjectOutcome::Kind::ejected};
    store->eject("sdb");
    EXPECT_EQ(ejectedJobs.size(), 2u);
    EXPECT_EQ(ejectedNotes, 1);
    EXPECT_EQ(passesRead, 3);
    EXPECT_TRUE(store->ejectStates().empty());
}

TEST_F(DriveStoreTest, AnEjectDuringAUSBCheckChangesNothingButTheLine) {
    DriveSummary usb = drive("sdb");
    usb.usbKey = "33619968-1000";
    machine = {{usb}};
    reads.immediate = true;
    store->refresh();

    store->setUSBCheck("33619968-1000", true);
    store->eject("sdb");
    EXPECT_TRUE(ejectedJobs.empty());
    EXPECT_EQ(store->ejectStates().at("sdb"),
              (EjectState{EjectState::Kind::refused, "A health check is using this drive. Cancel it first."}));

    store->setUSBCheck("33619968-1000", false);
    store->eject("sdb");
    EXPECT_EQ(ejectedJobs.size(), 1u);
}

// Disks and the mount table each on their own thread: both bursts land on the store's
// thread as one debounced pass with its settling pass, each event logged.
TEST_F(DriveStoreTest, EventsOfBothSourcesMakeOnePassAndItsSettlingPass) {
    struct Once final : platform::DiskEvents {
        platform::DiskEvent event;
        bool sent = false;
        explicit Once(platform::DiskEvent e) : event(std::move(e)) {}
        std::vector<platform::DiskEvent> wait(std::chrono::milliseconds) override {
            if (sent) return {};
            sent = true;
            return {event};
        }
    };
    reads.immediate = true;
    std::mutex lock;
    std::condition_variable arrived;
    std::vector<std::function<void()>> handed;
    {
        StoreEvents events(*store, [this](const std::string& line) { lines.push_back(line); },
                           [&](std::function<void()> call) {
                               std::lock_guard guard(lock);
                               handed.push_back(std::move(call));
                               arrived.notify_all();
                           });
        events.add(std::make_unique<Once>(platform::DiskEvent{platform::DiskEvent::Action::added, "sdc"}));
        events.add(std::make_unique<Once>(platform::DiskEvent{platform::DiskEvent::Action::mountsChanged, ""}));
        std::unique_lock guard(lock);
        ASSERT_TRUE(arrived.wait_for(guard, 10s, [&] { return handed.size() == 2; }));
    }
    for (auto& call : handed) call();
    timers.advance(DriveStore::kDebounce + DriveStore::kSettle);
    EXPECT_EQ(passesRead, 2);
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(lines, (std::vector<std::string>{"event: added sdc", "event: mounts changed"}));
}

// The careful check of a USB drive, run when the test says, answering what it is told.
class USBReadTest : public DriveStoreTest {
  protected:
    std::deque<std::pair<std::function<void()>, std::function<void()>>> held;
    std::function<drivekit::Result<SummaryBuilder::Reading, Failure>(const std::function<bool()>&,
                                                                    const std::function<void(const std::string&)>&)>
        answer = [](auto&&, auto&&) { return SummaryBuilder::Reading{}; };
    std::set<std::string> present{"sdb"};

    void SetUp() override {
        reads.immediate = true;
        extra = [this](DriveStore::Services& services) {
            services.usbCheck = [this](const std::string&, const std::function<bool()>& stop,
                                       const std::function<void(const std::string&)>& progress) {
                return answer(stop, progress);
            };
            services.runCheck = [this](auto work, auto done) { held.emplace_back(std::move(work), std::move(done)); };
            services.driveFound = [this](const std::string& name) { return present.contains(name); };
            services.persistsApprovals = true;
        };
        Prefs prefs;
        prefs.approvedUSB = {"152D:0578:500"};
        make(prefs);
    }
    void finish() {
        auto [work, done] = std::move(held.front());
        held.pop_front();
        work();
        done();
    }
    static DriveSummary usb(std::string name = "sdb") {
        DriveSummary d = drive(std::move(name));
        d.usbKey = "0x02100000-500";
        d.usbSignature = "152D:0578:500";
        return d;
    }
};

TEST_F(USBReadTest, WhatCantBeTakenIsRefusedAndASecondStartChangesNothing) {
    DriveSummary bridge = usb();
    bridge.usbNVMeBridge = true;
    DriveSummary member = usb();
    member.isRAIDMember = true;
    DriveSummary keyless = usb();
    keyless.usbKey.reset();
    for (const auto& refused : {bridge, member, keyless, usb("sdz")}) EXPECT_FALSE(store->startUSBRead(refused, false));
    EXPECT_FALSE(store->usbReadState("0x02100000-500"));

    ASSERT_TRUE(store->startUSBRead(usb(), false));
    EXPECT_FALSE(store->startUSBRead(usb(), false));
    EXPECT_EQ(held.size(), 1u);
    EXPECT_EQ(store->usbReadState("0x02100000-500"), (USBRead::State{USBRead::Step::unmounting, std::nullopt}));
}

TEST_F(USBReadTest, AFailedCheckLeavesItsProblemAndARetryThatReadsClearsIt) {
    std::optional<USBRead::State> during;
    answer = [&](auto&&, const std::function<void(const std::string&)>& progress)
        -> drivekit::Result<SummaryBuilder::Reading, Failure> {
        progress(std::string(drivekit::Checker::takingOverLine));
        during = store->usbReadState("0x02100000-500");
        return drivekit::Unexpected(Failure{Failure::Kind::captureRefused, "sdb", "no pass-through"});
    };
    ASSERT_TRUE(store->startUSBRead(usb(), false));
    finish();
    EXPECT_EQ(during, (USBRead::State{USBRead::Step::reading, std::nullopt}));
    const auto failed = store->usbReadState("0x02100000-500");
    ASSERT_TRUE(failed && failed->problem);
    EXPECT_EQ(*failed->problem, (USBRead::CheckProblem{USBRead::Step::reading, "Vantrel can't read sdb over USB",
                                                       "Vantrel still tracks its read and write errors.", std::nullopt}));

    answer = [](auto&&, auto&&) { return SummaryBuilder::Reading{}; };
    ASSERT_TRUE(store->retryUSBRead("0x02100000-500"));
    finish();
    EXPECT_FALSE(store->usbReadState("0x02100000-500"));
    EXPECT_FALSE(store->retryUSBRead("0x02100000-500"));
}

TEST_F(USBReadTest, ACancelledCheckEndsWithoutAProblemAndRemembersWhereItWas) {
    answer = [](const std::function<bool()>& stop, auto&&) -> drivekit::Result<SummaryBuilder::Reading, Failure> {
        EXPECT_TRUE(stop());
        return drivekit::Unexpected(Failure{Failure::Kind::interrupted, "sdb"});
    };
    ASSERT_TRUE(store->startUSBRead(usb(), false));
    store->cancelUSBRead("0x02100000-500");
    finish();
    EXPECT_FALSE(store->usbReadState("0x02100000-500"));
    EXPECT_EQ(store->cancelledUSBRead("0x02100000-500"), USBRead::Step::unmounting);
}

TEST_F(USBReadTest, ACheckOnArrivalThatWasntAllowedTheDriveForgetsItsApproval) {
    answer = [](auto&&, auto&&) -> drivekit::Result<SummaryBuilder::Reading, Failure> {
        return drivekit::Unexpected(Failure{Failure::Kind::notAuthorized, "sdb"});
    };
    ASSERT_TRUE(store->startUSBRead(usb(), true));
    finish();
    const auto state = store->usbReadState("0x02100000-500");
    ASSERT_TRUE(state && state->problem);
    EXPECT_EQ(state->problem->title, "Linux kept sdb this time");
    EXPECT_FALSE(store->prefs().approvedUSB.contains("152D:0578:500"));
}

TEST_F(USBReadTest, ADriveHandedOverIsRememberedInThePreferencesFile) {
    DriveSummary other = usb();
    other.usbSignature = "0BDA:9210:1000";
    ASSERT_TRUE(store->startUSBRead(other, false));
    finish();
    const auto kept = StateFiles::readPrefs(folder / "config" / "prefs.json").approvedUSB;
    EXPECT_EQ(kept, (std::set<std::string>{"0BDA:9210:1000", "152D:0578:500"}));
}

}  // namespace
}  // namespace app
