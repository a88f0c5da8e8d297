// The service on a private bus, with the demo machine behind it and a stand-in polkit.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QThread>
#include <atomic>
#include <future>
#include <set>

#include "app/demo/demo_files.hpp"
#include "app/drive_check.hpp"
#include "app/linux/service_client.hpp"
#include "app/scan/scan_run.hpp"
#include "app/self_test_run.hpp"
#include "app/service/protocol.hpp"
#include "drivekit/discovery/discovery.hpp"
#include "platform/demo/memory_file_store.hpp"
#include "platform/linux/linux_proc_files.hpp"
#include "platform/tests/support/child_process.hpp"
#include "service/service.hpp"

namespace {

namespace Protocol = app::ServiceProtocol;
using platform::helpers::Child;
using Protocol::Error::checkFailed;
using Protocol::Error::invalidArgs;
using Protocol::Error::noSuchDrive;
using Protocol::Error::notAuthorized;
using Protocol::Error::unknownMethod;

QString qs(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

class StandInAuthority final : public service::Authority {
  public:
    void check(const QString&, std::string_view action, std::function<void(bool)> done) override {
        asked.push_back(std::string(action));
        done(allowed.contains(std::string(action)));
    }
    std::set<std::string> allowed;
    std::vector<std::string> asked;
};

// Answers like a careful check of the demo's USB drive, or waits for the caller to go.
struct StandInCheck {
    bool waitForStop = false;
    std::optional<app::Failure> failure;
    std::promise<void> stopped;

    service::USBCheck function() {
        return [this](const drivekit::Drive& drive, const std::function<bool()>& stop,
                      const drivekit::Checker::Log& log) -> drivekit::Result<drivekit::Checker::Reading, app::Failure> {
            log("Unmounting " + drive.bsdName + "…");
            if (waitForStop) {
                // Bounded, so a service that never stops fails the test instead of hanging it.
                for (int i = 0; i < 10'000 && !stop(); ++i) QThread::msleep(1);
                if (stop()) stopped.set_value();
                return drivekit::Unexpected(app::Failure{app::Failure::Kind::interrupted, drive.bsdName});
            }
            if (failure) return drivekit::Unexpected(*failure);
            drivekit::Checker::Reading reading;
            reading.identity.model = "Demo Disk";
            reading.attributes.push_back({});
            reading.attributes.back().id = 5;
            reading.source = "ATA SMART over USB";
            reading.smartStatus = drivekit::SMARTStatus::verified;
            return reading;
        };
    }
};

// Answers like a scan by capture of the demo's USB drive: the capture's steps around a scan
// that runs until its caller stops it; or, with `holdBeforeTake`, a stop before the take.
struct StandInScan {
    bool holdBeforeTake = false;

    service::USBScan function() {
        return [this](const drivekit::Drive& drive, drivekit::surface_scan::Mode mode, const std::function<bool()>& stop,
                      const drivekit::surface_scan::Progress& progress,
                      const drivekit::Checker::Log& steps) -> drivekit::Result<app::ScanAnswer, app::Failure> {
            const auto waitForStop = [&stop] {
                for (int i = 0; i < 10'000 && !stop(); ++i) QThread::msleep(1);
            };
            steps("Unmounting " + drive.bsdName + "…");
            if (holdBeforeTake) {
                waitForStop();
                return drivekit::Unexpected(app::Failure{app::Failure::Kind::interrupted, drive.bsdName});
            }
            steps("Taking over the USB device…");
            drivekit::surface_scan::Result result;
            result.mode = mode;
            result.readsPlanned = 100;
            result.readsDone = 7;
            progress(result);
            waitForStop();
            result.cancelled = true;
            steps("Back as " + drive.bsdName + ".");
            return app::ScanAnswer{result, {}};
        };
    }
};

class ServiceOnPrivateBus : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        static int argc = 1;
        static char name[] = "service_tests";
        static char* argv[] = {name, nullptr};
        if (!QCoreApplication::instance()) new QCoreApplication(argc, argv);
    }

    void SetUp() override {
        daemon_ = Child::start("/usr/bin/dbus-daemon", {"--config-file=" VANTREL_PRIVATE_BUS_CONF, "--print-address=1", "--nofork"});
        address_ = QString::fromStdString(daemon_.line().value_or(""));
        ASSERT_FALSE(address_.isEmpty());
        auto loaded = platform::DemoMachine::load(VANTREL_DEMO_DATA "/machine.json");
        ASSERT_TRUE(loaded);
        demo_ = std::move(loaded).value();
        machine_.emplace(app::demoMachine(*demo_, drivekit::Locale{"en_US"}));
        machine_->procFiles = std::make_shared<platform::LinuxProcFiles>();

        thread_.start();
        std::promise<bool> published;
        QMetaObject::invokeMethod(
            &context_,
            [&] {
                auto bus = QDBusConnection::connectToBus(address_, "service");
                service_ = std::make_unique<service::Service>(
                    bus, service::Service::Options{*machine_, authority_, check_.function(), approvals_, {},
                                                   scan_.function()});
                published.set_value(service_->publish() && bus.registerService(qs(Protocol::busName)));
            },
            Qt::QueuedConnection);
        ASSERT_TRUE(published.get_future().get());
    }

    void TearDown() override {
        QMetaObject::invokeMethod(&context_, [&] { service_.reset(); QDBusConnection::disconnectFromBus("service"); },
                                  Qt::BlockingQueuedConnection);
        thread_.quit();
        thread_.wait();
        for (const auto& name : clients_) QDBusConnection::disconnectFromBus(name);
        daemon_.stop();
    }

    QDBusConnection client(const QString& name = "client") {
        if (!clients_.contains(name)) clients_.insert(name);
        return QDBusConnection::connectToBus(address_, name);
    }

    static QDBusMessage callOf(const QString& member, const QVariantList& args) {
        auto message = QDBusMessage::createMethodCall(qs(Protocol::busName), qs(Protocol::objectPath),
                                                      qs(Protocol::interfaceName), member);
        message.setArguments(args);
        return message;
    }

    QDBusMessage call(const QString& member, const QVariantList& args = {}) {
        return client().call(callOf(member, args), QDBus::Block, 20'000);
    }

    static std::string errorOf(const QDBusMessage& reply) {
        return reply.type() == QDBusMessage::ErrorMessage ? reply.errorName().toStdString() : "";
    }

    static QByteArray bytesOf(const QDBusMessage& reply) {
        return reply.type() == QDBusMessage::ReplyMessage && reply.arguments().size() == 1
                   ? reply.arguments().front().toByteArray()
                   : QByteArray();
    }

    void allowAll() {
        for (auto action : {Protocol::Action::readHealth, Protocol::Action::selfTest, Protocol::Action::usbCheck,
                            Protocol::Action::writeAccounting}) {
            authority_.allowed.insert(std::string(Protocol::actionId(action)));
        }
    }

    Child daemon_;
    QString address_;
    std::set<QString> clients_;
    std::unique_ptr<platform::DemoMachine> demo_;
    std::optional<app::Machine> machine_;
    StandInAuthority authority_;
    StandInCheck check_;
    StandInScan scan_;
    platform::MemoryFileStore files_;
    service::Approvals approvals_{files_, "/var/lib/vantrel/usb-approvals.json"};
    QThread thread_;
    QObject context_;
    std::unique_ptr<service::Service> service_;

  public:
    ServiceOnPrivateBus() { context_.moveToThread(&thread_); }
};

const QVariant sixteen = QVariant::fromValue(uchar{16});

TEST_F(ServiceOnPrivateBus, EachOperationAsksItsOwnActionAndARefusalReadsNothing) {
    authority_.allowed.insert(std::string(Protocol::actionId(Protocol::Action::readHealth)));
    EXPECT_EQ(bytesOf(call("ATASmartData", {"sda", sixteen})).size(), 512);
    EXPECT_EQ(errorOf(call("StartSelfTest", {"sda", "extended", sixteen})), notAuthorized);
    EXPECT_EQ(errorOf(call("USBCheck", {"sdd", false})), notAuthorized);
    EXPECT_EQ(errorOf(call("ProcessWrites")), notAuthorized);
    EXPECT_EQ(authority_.asked, (std::vector<std::string>{"com.orlend.vantrel.read-health",
                                                          "com.orlend.vantrel.self-test",
                                                          "com.orlend.vantrel.usb-check",
                                                          "com.orlend.vantrel.write-accounting"}));
    authority_.allowed.clear();
    EXPECT_EQ(errorOf(call("NVMeHealthLog", {"nvme0n1"})), notAuthorized);
}

TEST_F(ServiceOnPrivateBus, NamesOutsideDiscoveryAndMalformedCallsAreRefusedBeforeAnyoneIsAsked) {
    allowAll();
    for (const char* name : {"../sda", "/dev/mem", "sda/../../mem", "", "SDA", "sda "}) {
        EXPECT_EQ(errorOf(call("ATAIdentify", {name, sixteen})), invalidArgs) << name;
    }
    // Well-formed names that aren't whole disks discovery shows: a partition, a loop
    // device, an md array, a disk that isn't there.
    for (const char* name : {"sda1", "loop0", "md127", "sdz", "nvme0n1p1"}) {
        EXPECT_EQ(errorOf(call("ATAIdentify", {name, sixteen})), noSuchDrive) << name;
    }
    // A drive of the wrong kind for the method.
    EXPECT_EQ(errorOf(call("NVMeHealthLog", {"sda"})), noSuchDrive);
    EXPECT_EQ(errorOf(call("ATAIdentify", {"nvme0n1", sixteen})), noSuchDrive);
    EXPECT_EQ(errorOf(call("USBCheck", {"sda", false})), noSuchDrive);

    EXPECT_EQ(errorOf(call("WriteSectors", {"sda"})), unknownMethod);
    EXPECT_EQ(errorOf(call("ATAIdentify", {"sda"})), invalidArgs);
    EXPECT_EQ(errorOf(call("ATAIdentify", {"sda", QVariant::fromValue(uchar{13})})), invalidArgs);
    EXPECT_EQ(errorOf(call("ATAIdentify", {"sda", 16})), invalidArgs);
    EXPECT_EQ(errorOf(call("StartSelfTest", {"sda", "conveyance", sixteen})), invalidArgs);
    EXPECT_EQ(errorOf(call("NVMeHealthLog", {"nvme0n1", "extra"})), invalidArgs);
    auto foreign = callOf("NVMeHealthLog", {"nvme0n1"});
    foreign = QDBusMessage::createMethodCall(qs(Protocol::busName), qs(Protocol::objectPath),
                                             "org.example.Other", "NVMeHealthLog");
    foreign << QString("nvme0n1");
    EXPECT_EQ(errorOf(client().call(foreign)), unknownMethod);
    // What the bus itself offers of every object still answers.
    const auto xml = client().call(QDBusMessage::createMethodCall(qs(Protocol::busName), qs(Protocol::objectPath),
                                                                  "org.freedesktop.DBus.Introspectable", "Introspect"));
    EXPECT_TRUE(xml.arguments().value(0).toString().contains("<method name=\"StartSelfTest\">"));
    EXPECT_TRUE(authority_.asked.empty());
}

TEST_F(ServiceOnPrivateBus, AUSBCheckReturnsItsReadingAndAnApprovedDriveIsNotAskedAgain) {
    authority_.allowed.insert(std::string(Protocol::actionId(Protocol::Action::usbCheck)));
    const auto first = call("USBCheck", {"sdd", false});
    ASSERT_EQ(first.type(), QDBusMessage::ReplyMessage) << first.errorMessage().toStdString();
    const auto answer = Protocol::decodeReading(first.arguments().front().toString().toStdString());
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->reading.identity.model, "Demo Disk");
    EXPECT_EQ(answer->lines, std::vector<std::string>{"Unmounting sdd…"});

    authority_.allowed.clear();
    authority_.asked.clear();
    EXPECT_EQ(call("USBCheck", {"sdd", false}).type(), QDBusMessage::ReplyMessage);
    EXPECT_TRUE(authority_.asked.empty());

    // A failed check says why, as the failure the caller words itself.
    check_.failure = app::Failure{app::Failure::Kind::captureRefused, "sdd", "This enclosure doesn't pass health requests through to the drive."};
    const auto failed = call("USBCheck", {"sdd", false});
    ASSERT_EQ(errorOf(failed), checkFailed);
    EXPECT_EQ(Protocol::decodeFailure(failed.errorMessage().toStdString()), check_.failure);
}

TEST_F(ServiceOnPrivateBus, ACallerThatLeavesMidCheckStopsItAndTheDriveIsGivenBack) {
    allowAll();
    check_.waitForStop = true;
    auto stopped = check_.stopped.get_future();
    client("leaving").asyncCall(callOf("USBCheck", {"sdd", false}));
    // Waits until the service holds the check, then leaves the bus.
    for (int i = 0; i < 10'000 && service_->running() == 0; ++i) QThread::msleep(1);
    ASSERT_EQ(service_->running(), 1);
    // The bus closes the connection once no QDBusConnection refers to it any more.
    QDBusConnection::disconnectFromBus("leaving");
    clients_.erase("leaving");
    EXPECT_EQ(stopped.wait_for(std::chrono::seconds(10)), std::future_status::ready);
}

// A user's machine: the demo's sysfs and mounts, its drives reached through the service.
app::Machine userMachine(platform::DemoMachine& demo, app::ServiceClient& service) {
    app::Machine machine{demo.sysfs(),        service.nvme(), drivekit::Locale{"en_US"},
                         service.openSCSI(),  &demo.mounts(), &demo.blockProbe(),
                         &demo.volumeSpace(), &demo.clock(),  demo.workingDirectory()};
    machine.serviceRefused = [&service](std::string_view name) { return service.refused(name); };
    return machine;
}

TEST_F(ServiceOnPrivateBus, AUserReadsTheSameFiguresThroughTheServiceAsRootDoes) {
    authority_.allowed.insert(std::string(Protocol::actionId(Protocol::Action::readHealth)));
    app::ServiceClient service(client(), address_);
    app::Machine user = userMachine(*demo_, service);

    const auto direct = app::readEveryDrive(*machine_, false);
    const auto viaService = app::readEveryDrive(user, false);
    ASSERT_EQ(direct.size(), viaService.size());
    for (std::size_t i = 0; i < direct.size(); ++i) {
        EXPECT_EQ(viaService[i].summary.toJSON(), direct[i].summary.toJSON()) << direct[i].drive.bsdName;
    }
    for (const char* name : {"sda", "nvme0n1"}) {
        const auto root = app::checkDrive(*machine_, {name});
        const auto other = app::checkDrive(user, {name});
        ASSERT_TRUE(root && other) << name;
        EXPECT_EQ(app::fullReport(other->read), app::fullReport(root->read)) << name;
    }

    // Starting a self-test is another action, which this user wasn't granted.
    const auto started = app::SelfTestRun::start(user, "sda", drivekit::SelfTest::Kind::short_, false);
    ASSERT_FALSE(started);
    EXPECT_EQ(started.error().kind, app::Failure::Kind::notAuthorized);

    authority_.allowed.clear();
    for (const char* name : {"sda", "nvme0n1"}) {
        const auto refused = app::checkDrive(user, {name});
        ASSERT_FALSE(refused) << name;
        EXPECT_EQ(refused.error().kind, app::Failure::Kind::notAuthorized) << name;
    }
}

TEST_F(ServiceOnPrivateBus, TheClientsCarefulCheckBringsBackTheReadingAndItsStopReachesTheService) {
    allowAll();
    app::ServiceClient service(client(), address_);
    const auto sdd = drivekit::Discovery::drive("sdd", app::sourcesOf(*machine_));
    ASSERT_TRUE(sdd);
    std::vector<std::string> lines;
    const auto read = service.check()(*sdd, false, {}, [&lines](const std::string& line) { lines.push_back(line); });
    ASSERT_TRUE(read);
    EXPECT_EQ(lines, std::vector<std::string>{"Unmounting sdd…"});

    check_.waitForStop = true;
    auto stopped = check_.stopped.get_future();
    const auto cut = service.check()(*sdd, false, [this] { return service_->running() > 0; }, {});
    ASSERT_FALSE(cut);
    EXPECT_EQ(cut.error().kind, app::Failure::Kind::interrupted);
    EXPECT_EQ(stopped.wait_for(std::chrono::seconds(10)), std::future_status::ready);

    const auto processes = service.writes({})->snapshot();
    ASSERT_TRUE(processes);
    EXPECT_FALSE(processes->empty());
}

// A disk for scans: `blocks` blocks of 512 bytes, one that doesn't read, each read taking
// `readMs`. It counts what reaches it, so a test sees whether the service read at all.
struct ScanDisk {
    std::uint64_t blocks = 4096;
    std::uint64_t bad = 3000;
    int readMs = 0;
    std::atomic<int> opened{0};
    std::atomic<int> reads{0};

    class Drive final : public drivekit::SCSIDrive {
      public:
        explicit Drive(ScanDisk& disk) : disk_(disk) {}
        Answer command(drivekit::ByteView cdb, std::int64_t dataIn, double) override {
            if (cdb[0] == 0x9E) {
                drivekit::Bytes capacity(32, 0);
                for (std::size_t i = 0; i < 8; ++i) capacity[7 - i] = static_cast<std::uint8_t>((disk_.blocks - 1) >> (8 * i));
                capacity[10] = 2;  // 512-byte blocks
                return capacity;
            }
            if (cdb[0] != 0x28 && cdb[0] != 0x88) return drivekit::Unexpected(Failure{"refused", true});
            ++disk_.reads;
            const bool long16 = cdb[0] == 0x88;
            const std::uint64_t lba = long16 ? drivekit::be64(cdb, 2) : drivekit::be32(cdb, 2);
            const std::uint64_t count = long16 ? drivekit::be32(cdb, 10) : drivekit::be16(cdb, 7);
            if (disk_.readMs > 0) QThread::msleep(static_cast<unsigned long>(disk_.readMs));
            if (lba <= disk_.bad && lba + count > disk_.bad) return drivekit::Unexpected(Failure{"medium error"});
            return drivekit::Bytes(static_cast<std::size_t>(dataIn), 0);
        }
        drivekit::DiagnosticsLog& log() override { return log_; }

      private:
        ScanDisk& disk_;
        drivekit::DiagnosticsLog log_;
    };

    app::OpenSCSI opener() {
        return [this](std::string_view) -> drivekit::Result<std::unique_ptr<drivekit::SCSIDrive>, int> {
            ++opened;
            return std::unique_ptr<drivekit::SCSIDrive>(std::make_unique<Drive>(*this));
        };
    }
};

class ScanThroughTheService : public ServiceOnPrivateBus {
  protected:
    void SetUp() override {
        ServiceOnPrivateBus::SetUp();
        machine_->openSCSI = disk_.opener();
        authority_.allowed.insert(std::string(Protocol::actionId(Protocol::Action::surfaceScan)));
    }

    // The user's side: the demo's sysfs, the scan in the service, scans.json in `files`.
    app::ScanRun::Outcome scanAsUser(app::ServiceClient& service, drivekit::surface_scan::Mode mode,
                                     const drivekit::surface_scan::ShouldStop& stop = {},
                                     const drivekit::surface_scan::Progress& progress = {}) {
        const app::ScanRun::Platform user{demo_->sysfs(), demo_->clock(), nullptr, nullptr, "/home/alice/.local/share/vantrel",
                                          userFiles_,     nullptr,        service.scan()};
        return app::ScanRun::run(user, "sda", mode, stop, progress);
    }

    ScanDisk disk_;
    platform::MemoryFileStore userFiles_;
};

TEST_F(ScanThroughTheService, AUsersScanReadsWhatRootsDoesAndIsSavedInTheUsersFolder) {
    app::ServiceClient service(client(), address_);
    const auto viaService = scanAsUser(service, drivekit::surface_scan::Mode::full);
    ASSERT_TRUE(viaService.result) << (viaService.serviceFailure ? viaService.serviceFailure->detail : "");

    platform::MemoryFileStore rootFiles;
    const app::ScanRun::Platform root{demo_->sysfs(), demo_->clock(), machine_->openSCSI, nullptr, {}, rootFiles};
    const auto direct = app::ScanRun::run(root, "sda", drivekit::surface_scan::Mode::full, {}, {});
    ASSERT_TRUE(direct.result);
    EXPECT_EQ(viaService.result->unreadable, direct.result->unreadable);
    EXPECT_EQ(viaService.result->unreadable, std::vector<std::uint64_t>{2944});  // the failing 64 KB piece
    EXPECT_EQ(viaService.result->readsPlanned, direct.result->readsPlanned);
    EXPECT_TRUE(viaService.result->finished());

    const auto saved = app::ScanStore::read(userFiles_, app::ScanStore::file("/home/alice/.local/share/vantrel"));
    ASSERT_EQ(saved.byDrive.size(), 1u);
    EXPECT_EQ(saved.byDrive.begin()->second.result.unreadable, viaService.result->unreadable);
}

TEST_F(ScanThroughTheService, ProgressArrivesAndACancelEndsTheScanWithWhatItRead) {
    disk_.blocks = std::uint64_t{1} << 24;  // 8 GB: far more reads than the test waits for
    disk_.readMs = 2;
    app::ServiceClient service(client(), address_);
    std::vector<drivekit::surface_scan::Result> seen;
    // Stops (as Ctrl-C does) once progress has come from the service during the scan.
    const auto outcome = scanAsUser(
        service, drivekit::surface_scan::Mode::full, [&seen] { return !seen.empty(); },
        [&seen](const drivekit::surface_scan::Result& soFar) { seen.push_back(soFar); });
    ASSERT_TRUE(outcome.result);
    ASSERT_GE(seen.size(), 2u);  // during the scan, and its end
    EXPECT_GT(seen.front().readsDone, 0);
    EXPECT_EQ(outcome.result->cancelled, std::optional<bool>(true));
    EXPECT_GE(outcome.result->readsDone, seen.front().readsDone);
    EXPECT_LT(outcome.result->readsDone, outcome.result->readsPlanned);
}

TEST_F(ScanThroughTheService, ACallerThatLeavesMidScanStopsIt) {
    disk_.blocks = std::uint64_t{1} << 24;
    disk_.readMs = 2;
    client("leaving").asyncCall(callOf("SurfaceScan", {"sda", "full"}));
    for (int i = 0; i < 10'000 && disk_.reads < 10; ++i) QThread::msleep(1);
    ASSERT_GE(disk_.reads, 10);
    // Another caller can neither watch nor stop it.
    EXPECT_EQ(errorOf(call("ScanProgress", {"sda"})), Protocol::Error::noScan);
    EXPECT_EQ(errorOf(call("CancelScan", {"sda"})), Protocol::Error::noScan);
    EXPECT_EQ(errorOf(call("SurfaceScan", {"sda", "quick"})), Protocol::Error::busy);
    QDBusConnection::disconnectFromBus("leaving");
    clients_.erase("leaving");
    for (int i = 0; i < 10'000 && service_->running() > 0; ++i) QThread::msleep(1);
    EXPECT_EQ(service_->running(), 0);
    const int after = disk_.reads;
    QThread::msleep(50);
    EXPECT_EQ(disk_.reads, after);
    EXPECT_LT(after, 16'384);  // far from the whole disk
}

TEST_F(ScanThroughTheService, WhatIsntAWholeDiskOrIsntAllowedReadsNothing) {
    EXPECT_EQ(errorOf(call("SurfaceScan", {"/dev/sda", "quick"})), invalidArgs);
    for (const char* name : {"sda1", "loop0"}) EXPECT_EQ(errorOf(call("SurfaceScan", {name, "quick"})), noSuchDrive) << name;
    EXPECT_TRUE(authority_.asked.empty());

    authority_.allowed.clear();
    EXPECT_EQ(errorOf(call("SurfaceScan", {"sda", "quick"})), notAuthorized);
    // Through the client, the refusal is the failure the command line words.
    app::ServiceClient service(client(), address_);
    const auto refused = app::ScanRun::failureOf(scanAsUser(service, drivekit::surface_scan::Mode::quick));
    EXPECT_EQ(refused ? refused->kind : app::Failure::Kind::readFailed, app::Failure::Kind::notAuthorized);
    EXPECT_EQ(disk_.opened, 0);
    EXPECT_EQ(disk_.reads, 0);
}

// A scan by capture in the service: only of a USB drive, refused before polkit is asked
// otherwise (the client refuses it first, as the capture would); its steps and progress reach the user as they come, each step once; a stop
// before the take ends it as the careful check ends, with nothing taken.
TEST_F(ScanThroughTheService, AScanByCaptureStreamsItsStepsAndProgressAndEndsLikeTheCheck) {
    EXPECT_EQ(errorOf(call("CaptureScan", {"sda", "quick"})), noSuchDrive);
    EXPECT_TRUE(authority_.asked.empty());

    app::ServiceClient service(client(), address_);
    app::Machine user = userMachine(*demo_, service);
    std::vector<std::string> steps;
    const app::ScanRun::Platform platform{demo_->sysfs(), demo_->clock(), nullptr, nullptr, "/home/alice/.local/share/vantrel",
                                          userFiles_,     nullptr,        service.scan(), &user,
                                          [&steps](const std::string& line) { steps.push_back(line); }};
    std::vector<drivekit::surface_scan::Result> seen;
    const auto scanned = app::ScanRun::run(
        platform, "sdd", drivekit::surface_scan::Mode::full, [&seen] { return !seen.empty(); },
        [&seen](const drivekit::surface_scan::Result& soFar) { seen.push_back(soFar); });
    ASSERT_TRUE(scanned.result) << (scanned.serviceFailure ? scanned.serviceFailure->detail : "");
    EXPECT_EQ(authority_.asked, std::vector<std::string>{std::string(Protocol::actionId(Protocol::Action::surfaceScan))});
    EXPECT_EQ(seen.at(0).readsDone, 7) << "progress came while the scan ran";
    EXPECT_EQ(steps, (std::vector<std::string>{"Unmounting sdd…", "Taking over the USB device…", "Back as sdd."}));
    EXPECT_EQ(app::ScanStore::read(userFiles_, app::ScanStore::file("/home/alice/.local/share/vantrel")).byDrive.size(), 1u);

    scan_.holdBeforeTake = true;
    const auto stopped = app::ScanRun::failureOf(
        app::ScanRun::run(platform, "sdd", drivekit::surface_scan::Mode::full, [] { return true; }, {}));
    EXPECT_EQ(stopped, (app::Failure{app::Failure::Kind::interrupted, "sdd"}));
}

TEST(ServiceReading, TravelsWhole) {
    drivekit::Checker::Reading reading;
    reading.enclosure = drivekit::ATACommands::Inquiry{"JMicron", "Tech"};
    reading.identity.model = "WDC WD40EFRX";
    reading.identity.rotationRate = 5400;
    reading.identity.sectors = 7814037168;
    reading.identity.sataLink = drivekit::SATALink{drivekit::SATALink::Speed::gen3, std::nullopt};
    reading.variant = drivekit::SAT::Variant::twelve;
    drivekit::ATAAttribute attribute;
    attribute.id = 194;
    attribute.raw = 0x0000002A00140028;
    reading.attributes = {attribute};
    reading.selfTests = {drivekit::SelfTest::Entry{1, drivekit::SelfTest::Outcome::fatalError, 300, 1234u}};
    reading.smartStatus = drivekit::SMARTStatus::failing;
    reading.source = "ATA SMART over USB (JMicron JMS578 bridge)";
    const auto back = Protocol::decodeReading(Protocol::encodeReading(reading, {"a", "b"}));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->lines, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(back->reading.identity, reading.identity);
    EXPECT_EQ(back->reading.attributes, reading.attributes);
    EXPECT_EQ(back->reading.selfTests, reading.selfTests);
    EXPECT_EQ(back->reading.enclosure, reading.enclosure);
    EXPECT_EQ(back->reading.variant, reading.variant);
    EXPECT_EQ(back->reading.smartStatus, reading.smartStatus);
    EXPECT_FALSE(Protocol::decodeReading(R"({"identity":{}})"));
}

}  // namespace
