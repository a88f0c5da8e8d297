#include "app/self_test_run.hpp"

#include "app/drive_check.hpp"
#include "app/scan/scan_run.hpp"
#include "drivekit/discovery/discovery.hpp"
#include "drivekit/health/ata_smart_lib.hpp"

namespace app::SelfTestRun {

using namespace drivekit;

namespace {

struct Opened {
    ATASMARTLib::Session session;
    std::optional<SelfTest::Progress> progress;
};

Result<Opened, Failure> open(const Machine& machine, const std::string& name) {
    if (auto refused = refuseName(machine, name)) return Unexpected(*refused);
    Failure f;
    f.device = name;
    // Self-tests are an ATA command set: for the disks a SATA port or a USB bridge carries.
    const auto drive = Discovery::drive(name, sourcesOf(machine));
    if (!drive || (drive->transport != Transport::sata && drive->transport != Transport::usb &&
                   ScanRun::routeFor(name) != ScanRun::Route::scsi)) {
        f.kind = Failure::Kind::noSelfTests;
        return Unexpected(f);
    }
    if (!machine.openSCSI) {
        f.kind = Failure::Kind::noSCSI;
        return Unexpected(f);
    }
    auto opened = machine.openSCSI(name);
    if (!opened) return Unexpected(openFailure(opened.error(), name));
    auto session = ATASMARTLib::Session::begin(std::move(opened).value());
    if (!session) return Unexpected(identifyFailure(session.error(), *drive));
    Opened result{std::move(session).value(), std::nullopt};
    if (const auto& page = result.session.smartData()) result.progress = SelfTest::Progress::fromSmartData(*page);
    return result;
}

}  // namespace

Result<State, Failure> state(const Machine& machine, const std::string& name) {
    auto opened = open(machine, name);
    if (!opened) return Unexpected(opened.error());
    Opened& o = opened.value();
    return State{o.progress, o.session.selfTestLog()};
}

Result<Started, Failure> start(const Machine& machine, const std::string& name, SelfTest::Kind kind,
                               bool abort) {
    auto opened = open(machine, name);
    if (!opened) return Unexpected(opened.error());
    Opened& o = opened.value();
    Failure f;
    f.device = name;
    if (o.progress && o.progress->outcome == SelfTest::Outcome::inProgress && !abort) {
        f.kind = Failure::Kind::selfTestRunning;
        f.percent = o.progress->percentDone;
        return Unexpected(f);
    }
    if (!o.session.startSelfTest(kind)) {
        const bool refused = machine.serviceRefused && machine.serviceRefused(name);
        f.kind = refused ? Failure::Kind::notAuthorized : Failure::Kind::selfTestNotStarted;
        return Unexpected(f);
    }
    std::optional<int> estimate;
    if (o.progress) estimate = kind == SelfTest::Kind::extended ? o.progress->extendedMinutes : o.progress->shortMinutes;
    return Started{kind, estimate};
}

}  // namespace app::SelfTestRun
