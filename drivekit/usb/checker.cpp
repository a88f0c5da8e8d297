#include "drivekit/usb/checker.hpp"

#include "drivekit/health/power_mode.hpp"

#include <algorithm>
#include <initializer_list>
#include <set>

#include "drivekit/core/text.hpp"
#include "drivekit/discovery/bridge.hpp"
#include "drivekit/discovery/discovery.hpp"
#include "drivekit/health/ata_smart_lib.hpp"
#include "drivekit/health/power_mode.hpp"
#include "drivekit/health/report.hpp"
#include "drivekit/health/sat_non_data.hpp"
#include "drivekit/usb/usb_interface.hpp"

#include <cerrno>

namespace drivekit::Checker {
namespace {

// The sentences of this unit, as the English catalogue words them.
constexpr std::string_view unsafeSentence = "Vantrel won't take over this drive because %s.";
// The Linux watcher reports arrivals but can't hold a mount back, so the busy sentence
// stops before the advice to plug the drive in under `vantrel watch`.
constexpr std::string_view busySentence =
    "Linux couldn't unmount the drive because something is using it:\n  %s\nClose those files "
    "or windows (or `cd` out of the drive in a terminal) and try again.";
constexpr std::string_view refusedSentence =
    "Linux couldn't unmount the drive: %s. Close any open files on it and try again.";
constexpr std::string_view noDiskSentence = "The disk wasn't found.";
constexpr std::string_view timeoutSentence = "Timed out waiting for the drive.";
constexpr std::string_view notUSBSentence =
    "Vantrel can't read health data from this kind of connection yet.";
constexpr std::string_view noUSBDeviceSentence = "No USB device found for this drive.";
constexpr std::string_view unknownErrorSentence = "Unknown error.";
constexpr std::string_view nvmeEnclosureSentence =
    "This is an NVMe enclosure (%s %s). NVMe-over-USB support is the next step.";
constexpr std::string_view bridgeRefusesSentence =
    "This enclosure (%s) doesn't pass health requests through to the drive.";
constexpr std::string_view enclosureRefusesSentence =
    "This enclosure doesn't pass health requests through to the drive.";
constexpr std::string_view interruptedSentence = "Interrupted.";
constexpr std::string_view stillMountedPrefix = "Still mounted after unmounting: ";
constexpr std::string_view asleepSentence =
    "The drive is asleep, and Vantrel doesn't wake a sleeping disk to read it: it was given "
    "back unread.";

// Progress lines.
constexpr std::string_view unmountingLine = "Unmounting %s…";
constexpr std::string_view waitingLine = "Waiting for the drive to come back…";
constexpr std::string_view enclosureLine = "Enclosure reports: %s %s";
constexpr std::string_view driveLine = "Drive: %s (ATA PASS-THROUGH %s)";
constexpr std::string_view backLine = "Back as %s.";
constexpr std::string_view backWithVolumesLine = "Back as %s, %s of %s volumes mounted.";
constexpr std::string_view stoppedWaitingLine =
    "Stopped waiting: the drive hasn't come back yet, and its volumes are not mounted again.";
constexpr std::string_view notMountedLine =
    "The drive is back, but Linux hadn't mounted it after %s s. If it doesn't appear, unplug "
    "it and plug it back in.";

constexpr double commandTimeout = 4.0;
constexpr std::int64_t pageBytes = 512;
constexpr std::uint8_t selfTestLogAddress = 6;
constexpr std::int64_t senseBytes = 252;
const Bytes requestSense = {0x03, 0x01, 0x00, 0x00, static_cast<std::uint8_t>(senseBytes), 0x00};
constexpr double pollSeconds = 0.5;
constexpr double settleSeconds = 5.0;
constexpr double mountAfterSeconds = 30.0;
constexpr double interruptedGraceSeconds = 10.0;
// The other LUNs of a reader come back with the checked one, give or take a probe.
constexpr double otherDiskGraceSeconds = 10.0;

std::string join(const std::vector<std::string>& parts, std::string_view separator) {
    std::string joined;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i > 0) joined += separator;
        joined += parts[i];
    }
    return joined;
}

// The pattern with each "%s" replaced by the next of `values`, in order. Sentences are
// kept whole in the table above, so they read as the catalogue has them.
std::string fill(std::string_view pattern, std::initializer_list<std::string_view> values) {
    std::string filled;
    auto next = values.begin();
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern.compare(i, 2, "%s") == 0 && next != values.end()) {
            filled += *next++;
            ++i;
        } else {
            filled += pattern[i];
        }
    }
    return filled;
}

std::vector<std::string> mountPoints(const Drive& drive) {
    std::vector<std::string> points;
    for (const auto& volume : drive.volumes) {
        if (volume.mountPoint) points.push_back(*volume.mountPoint);
    }
    return points;
}

std::vector<std::string> mountPoints(const std::vector<Drive>& drives) {
    std::vector<std::string> points;
    for (const auto& drive : drives) {
        const auto own = mountPoints(drive);
        points.insert(points.end(), own.begin(), own.end());
    }
    return points;
}

// The whole disks behind the drives' volumes: each drive's own name, then the disks
// stacked on its partitions, sorted, in the order of the drives.
std::vector<std::string> disksToUnmount(const std::vector<Drive>& drives) {
    std::vector<std::string> disks;
    for (const auto& drive : drives) {
        std::set<std::string> others;
        for (const auto& volume : drive.volumes) {
            std::string whole = Discovery::wholeDiskName(volume.bsdName);
            if (whole != drive.bsdName) others.insert(std::move(whole));
        }
        disks.push_back(drive.bsdName);
        disks.insert(disks.end(), others.begin(), others.end());
    }
    return disks;
}

void mountBack(const std::vector<std::string>& disks, const USBSteps& steps) {
    for (auto it = disks.rbegin(); it != disks.rend(); ++it) steps.mountWhole(*it);
}

std::optional<Failure> unmountAll(const std::vector<Drive>& drives, const USBSteps& steps,
                                  const std::vector<std::string>& points) {
    std::vector<std::string> unmounted;
    for (const auto& disk : disksToUnmount(drives)) {
        const auto refused = steps.unmountWhole(disk);
        // A disk that refused may have unmounted some of its volumes before the one that
        // stayed: it is mounted back too.
        unmounted.push_back(disk);
        if (!refused) continue;
        mountBack(unmounted, steps);
        if (refused->kind != platform::UnmountFailure::Kind::refused) {
            return Failure::unmountFailed(*refused);
        }
        const auto holders = steps.openFileHolders(points);
        if (!holders.empty()) return Failure::busyWith(join(holders, "\n  "));
        return Failure::busyWith(unmountText(*refused));
    }
    return std::nullopt;
}

bool stopRequested(const USBSteps& steps) { return steps.interrupted && steps.interrupted(); }

Failure interruptedFailure() { return Failure::unsupportedBy(std::string(interruptedSentence)); }

// Refuses every command once the user asked to stop, so a read in progress ends after
// the command on the wire instead of running through every page.
class StopAware final : public SCSIDrive {
public:
    StopAware(SCSIDrive& drive, std::function<bool()> interrupted)
        : drive_(drive), interrupted_(std::move(interrupted)) {}

    Answer command(ByteView cdb, std::int64_t dataIn, double timeoutSeconds) override {
        if (interrupted_ && interrupted_()) return Unexpected(Failure{"Interrupted."});
        return drive_.command(cdb, dataIn, timeoutSeconds);
    }
    DiagnosticsLog& log() override { return drive_.log(); }
    bool stoppedAnswering() const override {
        return (interrupted_ && interrupted_()) || drive_.stoppedAnswering();
    }

private:
    SCSIDrive& drive_;
    std::function<bool()> interrupted_;
};

// The bridge by which sentences name the enclosure; nothing for a drive without USB
// facts or a maker nobody knows, which no name would help the user with.
std::optional<Bridge> namedBridge(const Drive& drive) {
    if (!drive.usb) return std::nullopt;
    Bridge bridge = bridgeOf(*drive.usb);
    if (!bridge.maker()) return std::nullopt;
    return bridge;
}

Failure noIdentity(const std::optional<Bridge>& bridge) {
    if (bridge && bridge->kind == Bridge::Kind::nvme) {
        return Failure::unsupportedBy(fill(nvmeEnclosureSentence, {bridge->vendor, bridge->chip}));
    }
    if (bridge) return Failure::unsupportedBy(fill(bridgeRefusesSentence, {bridge->displayName()}));
    return Failure::unsupportedBy(std::string(enclosureRefusesSentence));
}

std::optional<Bytes> readLog(SCSIDrive& drive, SAT::Variant variant, std::uint8_t address) {
    auto answer = drive.command(SAT::smartReadLog(variant, address), pageBytes, commandTimeout);
    if (!answer) return std::nullopt;
    return std::move(answer).value();
}

// The answer to SMART RETURN STATUS is the ATA registers in the sense data. A kernel
// hands the sense over with the command; on a captured Bulk-Only device the command ends
// in a failed status and the sense must be asked for, in descriptor format, which is the
// one that holds the registers.
// Through a bridge, an answer that ends in CHECK CONDITION leaves its registers in the
// sense data that REQUEST SENSE fetches next. A drive that answers neither form is read
// as an awake one.
std::optional<PowerMode> powerMode(SCSIDrive& drive) {
    for (const auto variant : SAT::attemptOrder) {
        auto answer = drive.command(SAT::checkPowerMode(variant), 0, commandTimeout);
        if (!answer) answer = drive.command(requestSense, senseBytes, commandTimeout);
        if (!answer) {
            if (drive.stoppedAnswering()) return std::nullopt;
            continue;
        }
        if (auto mode = PowerModes::fromAnswer(*answer)) return mode;
    }
    return std::nullopt;
}

SMARTStatus smartStatus(SCSIDrive& drive, SAT::Variant variant) {
    auto answer = drive.command(SAT::smartReturnStatus(variant), 0, commandTimeout);
    if (!answer) answer = drive.command(requestSense, senseBytes, commandTimeout);
    if (!answer) return SMARTStatus::notSupported;
    return ATASMARTLib::statusFromAnswer(*answer).value_or(SMARTStatus::notSupported);
}

}  // namespace

Failure Failure::unsafeDrive(std::vector<std::string> why) {
    Failure failure;
    failure.kind = Kind::unsafe;
    failure.reasons = std::move(why);
    return failure;
}

Failure Failure::unsupportedBy(std::string sentence) {
    Failure failure;
    failure.kind = Kind::unsupported;
    failure.detail = std::move(sentence);
    return failure;
}

Failure Failure::busyWith(std::string what) {
    Failure failure;
    failure.kind = Kind::busy;
    failure.detail = std::move(what);
    return failure;
}

Failure Failure::unmountFailed(platform::UnmountFailure why) {
    Failure failure;
    failure.kind = Kind::unmount;
    failure.unmount = std::move(why);
    return failure;
}

Failure Failure::inUseBy(std::vector<std::string> sentences) {
    Failure failure;
    failure.kind = Kind::inUse;
    failure.detail = join(sentences, "\n");
    return failure;
}

Failure Failure::asleepDrive() {
    Failure failure;
    failure.kind = Kind::asleep;
    return failure;
}

Failure Failure::captureFailed(CaptureFailure why) {
    Failure failure;
    failure.kind = Kind::capture;
    failure.capture = std::move(why);
    return failure;
}

std::string Failure::text() const {
    switch (kind) {
        case Kind::unsafe:
            return fill(unsafeSentence, {join(reasons, ", and ")});
        case Kind::unsupported:
            return detail;
        case Kind::busy:
            return fill(busySentence, {detail});
        case Kind::unmount:
            return unmountText(unmount);
        case Kind::capture:
            return capture.text();
        case Kind::inUse:
            return detail;
        case Kind::asleep:
            return std::string(asleepSentence);
    }
    return detail;
}

std::string unmountText(const platform::UnmountFailure& failure) {
    switch (failure.kind) {
        case platform::UnmountFailure::Kind::refused:
            return fill(refusedSentence, {failure.reason});
        case platform::UnmountFailure::Kind::noDisk:
            return std::string(noDiskSentence);
        case platform::UnmountFailure::Kind::timeout:
            break;
    }
    return std::string(timeoutSentence);
}

std::vector<std::string> unsafeReasons(const Drive& drive) {
    if (drive.transport != Transport::usb) return {};
    return captureBlockers(drive);
}

std::optional<Failure> take(const Drive& drive, const USBSteps& steps, const Log& log, const Work& work,
                            const std::function<void()>& onRelease) {
    if (drive.transport != Transport::usb) {
        return Failure::unsupportedBy(std::string(notUSBSentence));
    }
    if (auto reasons = unsafeReasons(drive); !reasons.empty()) {
        return Failure::unsafeDrive(std::move(reasons));
    }
    if (!steps.isRoot()) {
        return Failure::captureFailed(CaptureFailure::of(CaptureFailure::Kind::notRoot));
    }
    if (!drive.usb) return Failure::unsupportedBy(std::string(noUSBDeviceSentence));

    // Everything behind the drive's USB interface goes away with it: each disk there is
    // unmounted by this sequence or the check is refused.
    InterfaceUse use;
    use.target.locationID = drive.usb->locationID;
    if (steps.interfaceUse) {
        if (auto found = steps.interfaceUse(drive)) use = std::move(*found);
    }
    if (!use.refusals.empty()) return Failure::inUseBy(use.refusals);
    std::vector<Drive> drives{drive};
    drives.insert(drives.end(), use.others.begin(), use.others.end());
    if (!use.others.empty()) {
        std::vector<std::string> names;
        for (const auto& other : use.others) names.push_back(other.bsdName);
        log(USBInterface::sharedLine(names));
    }

    const std::vector<std::string> points = mountPoints(drives);
    const std::vector<std::string> disks = disksToUnmount(drives);
    if (!points.empty()) {
        const std::vector<std::string> holders = steps.openFileHolders(points);
        if (!holders.empty()) return Failure::busyWith(join(holders, "\n  "));
        log(fill(unmountingLine, {drive.bsdName}));
        if (stopRequested(steps)) return interruptedFailure();
        if (auto failure = unmountAll(drives, steps, points)) return failure;
        std::vector<std::string> still;
        for (const auto& each : drives) {
            const auto more = steps.stillMounted(each.bsdName);
            still.insert(still.end(), more.begin(), more.end());
        }
        if (!still.empty()) {
            mountBack(disks, steps);
            return Failure::busyWith(std::string(stillMountedPrefix) + join(still, ", "));
        }
    }
    // No mount point here proves nothing about other namespaces, virtual machines or
    // programs with the raw disk open: the kernel's exclusive open does.
    if (steps.exclusiveUse) {
        std::vector<std::string> names;
        for (const auto& each : drives) names.push_back(each.bsdName);
        if (auto sentences = steps.exclusiveUse(names); !sentences.empty()) {
            if (!points.empty()) mountBack(disks, steps);
            return Failure::inUseBy(std::move(sentences));
        }
    }

    const std::uint32_t location = drive.usb->locationID;
    std::optional<Failure> outcome;
    log(std::string(takingOverLine));
    if (stopRequested(steps)) {
        // Nothing was taken yet: the volumes go back at once, without waiting for a device.
        if (!points.empty()) mountBack(disks, steps);
        return interruptedFailure();
    }
    auto captured = steps.capture(use.target);
    if (!captured) {
        outcome = Failure::captureFailed(captured.error());
        if (onRelease) onRelease();
    } else {
        CapturedUSBDrive& capture = **captured;
        outcome = work(capture);
        // Work cut short says why it ended, not what the missing answers would suggest.
        if (outcome && stopRequested(steps)) outcome = interruptedFailure();
        log(std::string(givingBackLine));
        capture.release();
        if (onRelease) onRelease();
    }
    log(std::string(waitingLine));
    steps.waitForReturn(location, use.target.lun, expectedVolumes(drive), log);
    // The other disks of the interface came back with the drive; what this check
    // unmounted of them goes back too (a volume mounted already is left alone). They are
    // found by their LUN: a name may now belong to another of them.
    if (!points.empty()) {
        for (std::size_t i = 0; i < use.others.size(); ++i) {
            if (mountPoints(use.others[i]).empty()) continue;
            if (steps.mountBackAt && i < use.otherLUNs.size()) {
                steps.mountBackAt(location, use.otherLUNs[i]);
            } else {
                steps.mountWhole(use.others[i].bsdName);
            }
        }
    }
    return outcome;
}

Result<Reading, Failure> check(const Drive& drive, const USBSteps& steps, const Log& log,
                               const std::function<void()>& onRelease) {
    std::optional<Reading> reading;
    const auto read = [&](CapturedUSBDrive& capture) -> std::optional<Failure> {
        StopAware guarded(capture, steps.interrupted);
        // CHECK POWER MODE is the one ATA command that doesn't spin a disk up.
        if (!steps.wake && powerMode(guarded) == PowerMode::standby) return Failure::asleepDrive();
        auto got = readHealth(guarded, drive, log);
        if (!got) return std::move(got).error();
        reading = std::move(got).value();
        return std::nullopt;
    };
    if (auto failure = take(drive, steps, log, read, onRelease)) return Unexpected(std::move(*failure));
    if (reading) return std::move(*reading);
    return Unexpected(Failure::unsupportedBy(std::string(unknownErrorSentence)));
}

Result<Reading, Failure> readHealth(SCSIDrive& drive, const Drive& described, const Log& log) {
    const std::optional<Bridge> bridge = namedBridge(described);
    Reading reading;
    reading.enclosure = ATACommands::inquiry(drive);
    if (reading.enclosure) {
        log(fill(enclosureLine, {reading.enclosure->vendor, reading.enclosure->product}));
    }
    auto identified = ATACommands::ataIdentify(drive);
    if (!identified) {
        for (const auto& line : drive.log().lines()) log("  " + line);
        return Unexpected(noIdentity(bridge));
    }
    reading.identity = std::move(identified->identity);
    reading.variant = identified->variant;
    log(fill(driveLine, {reading.identity.model, std::to_string(SAT::length(reading.variant))}));
    reading.attributes = ATACommands::smart(drive, reading.variant);
    if (const auto page = readLog(drive, reading.variant, selfTestLogAddress)) {
        reading.selfTests = SelfTest::parseLog(*page);
    }
    reading.smartStatus = smartStatus(drive, reading.variant);
    reading.source = bridge ? ReadingSource::ataOverUSB() + " (" + bridge->displayName() + ")"
                            : ReadingSource::ataOverUSB();
    return reading;
}

int expectedVolumes(const Drive& drive) {
    const auto mounted = std::count_if(drive.volumes.begin(), drive.volumes.end(),
                                       [](const Volume& v) { return v.mountPoint.has_value(); });
    if (drive.volumes.empty()) return 0;
    return std::max(1, static_cast<int>(mounted));
}

bool isBack(int mounted, int expected,
            std::optional<std::chrono::steady_clock::time_point> firstMountAt,
            std::chrono::steady_clock::time_point now, double settle) {
    if (mounted >= expected) return true;
    if (mounted < 1 || !firstMountAt) return false;
    return std::chrono::duration<double>(now - *firstMountAt).count() >= settle;
}

void waitForReturn(std::uint32_t locationID, int expected, double timeoutSeconds, const Log& log,
                   const ReturnWatch& watch) {
    using std::chrono::duration;
    const auto start = watch.clock->steadyNow();
    const auto deadline = start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                      duration<double>(timeoutSeconds));
    std::optional<std::chrono::steady_clock::time_point> firstMountAt;
    bool mountAsked = false;
    std::optional<std::chrono::steady_clock::time_point> stopBy;
    while (watch.clock->steadyNow() < deadline) {
        const bool stop = watch.interrupted && watch.interrupted();
        const auto drive = watch.find(locationID);
        // Interrupted: no more waiting for volumes. The device was given back before the
        // wait began; the drive gets a few seconds to reappear so that what this check
        // unmounted is mounted again, and otherwise the line says it isn't.
        if (stop) {
            const auto now = watch.clock->steadyNow();
            if (!stopBy) stopBy = now + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                            duration<double>(interruptedGraceSeconds));
            if (drive) {
                const bool none = std::none_of(drive->volumes.begin(), drive->volumes.end(),
                                               [](const Volume& v) { return v.mountPoint.has_value(); });
                if (none && expected > 0) {
                    for (const auto& line : watch.mountWhole(drive->bsdName)) log(line);
                }
                return;
            }
            if (now >= *stopBy) {
                log(std::string(stoppedWaitingLine));
                return;
            }
            watch.sleep(pollSeconds);
            continue;
        }
        if (drive) {
            const int mounted = static_cast<int>(std::count_if(
                drive->volumes.begin(), drive->volumes.end(),
                [](const Volume& v) { return v.mountPoint.has_value(); }));
            const auto now = watch.clock->steadyNow();
            if (mounted > 0 && !firstMountAt) firstMountAt = now;
            if (isBack(mounted, expected, firstMountAt, now, settleSeconds)) {
                if (expected == 0) {
                    log(fill(backLine, {drive->bsdName}));
                } else {
                    log(fill(backWithVolumesLine, {drive->bsdName, std::to_string(mounted),
                                                   std::to_string(expected)}));
                }
                return;
            }
            if (!mountAsked && duration<double>(now - start).count() >= mountAfterSeconds) {
                mountAsked = true;
                // A volume that won't be mounted back won't come back by waiting.
                if (const auto refused = watch.mountWhole(drive->bsdName); !refused.empty()) {
                    for (const auto& line : refused) log(line);
                    return;
                }
            }
        }
        watch.sleep(pollSeconds);
    }
    log(fill(notMountedLine, {std::to_string(static_cast<int>(timeoutSeconds))}));
}

std::vector<std::string> holderLines(const std::vector<platform::FileHolder>& holders) {
    std::vector<std::string> lines;
    std::set<int> seen;
    for (const auto& holder : holders) {
        if (!seen.insert(holder.pid).second) continue;
        const std::string pid = std::to_string(holder.pid);
        if (holder.workingFolder) {
            lines.push_back(holder.command + " (PID " + pid + ") has its working folder at " + holder.path);
        } else {
            lines.push_back(holder.command + " (PID " + pid + ") has " + holder.path + " open");
        }
    }
    return lines;
}

namespace {

// The drive at that USB location on that LUN, from a fresh look. Behind one interface
// every LUN shares the location; without sysfs, the location alone tells.
std::optional<Drive> driveAt(const Machine& machine, std::uint32_t location, std::uint8_t lun) {
    for (auto& drive : machine.externalDrives()) {
        if (!drive.usb || drive.usb->locationID != location) continue;
        if (machine.sysfs != nullptr) {
            const auto disks = USBInterface::of(drive.bsdName, *machine.sysfs);
            if (disks && disks->target.lun != lun) continue;
        }
        return std::move(drive);
    }
    return std::nullopt;
}

}  // namespace

USBSteps steps(const Machine& machine) {
    USBSteps s;
    s.isRoot = [&machine] { return machine.usb.privileged(); };
    s.openFileHolders = [&machine](const std::vector<std::string>& points) {
        return holderLines(machine.holders.holding(points));
    };
    s.unmountWhole = [&machine](const std::string& disk) -> std::optional<platform::UnmountFailure> {
        const auto unmounted = machine.volumes.unmountWhole(disk, unmountTimeout);
        if (unmounted) return std::nullopt;
        return unmounted.error();
    };
    s.mountWhole = [&machine](const std::string& disk) { machine.volumes.mountWhole(disk); };
    s.stillMounted = [&machine](const std::string& disk) {
        const auto drive = machine.describe(disk);
        return drive ? mountPoints(*drive) : std::vector<std::string>{};
    };
    s.capture = [&machine](const platform::USBTarget& target) {
        return CapturedUSBDrive::capture(machine.usb, target, machine.captureOptions);
    };
    if (machine.sysfs != nullptr) {
        s.interfaceUse = [&machine](const Drive& drive) -> std::optional<InterfaceUse> {
            const platform::Sysfs& sysfs = *machine.sysfs;
            const auto found = USBInterface::of(drive.bsdName, sysfs);
            if (!found) return std::nullopt;
            InterfaceUse use;
            use.target = found->target;
            // The location discovery gave is the one the drive was named by.
            use.target.locationID = drive.usb ? drive.usb->locationID : found->target.locationID;
            for (std::size_t i = 1; i < found->disks.size(); ++i) {
                const auto other = machine.describe(found->disks[i]);
                if (!other) continue;
                for (auto& reason : captureBlockers(*other)) {
                    use.refusals.push_back(fill(unsafeSentence, {reason}) + " (/dev/" + other->bsdName + ")");
                }
                const auto where = USBInterface::of(other->bsdName, sysfs);
                use.otherLUNs.push_back(where ? where->target.lun : 0);
                use.others.push_back(*other);
            }
            for (const auto& holder : USBInterface::holders(found->disks, sysfs)) {
                use.refusals.push_back(USBInterface::holderSentence(holder));
            }
            if (machine.blockUse != nullptr) {
                const auto swaps = machine.blockUse->activeSwaps();
                for (const auto& disk : found->disks) {
                    for (const auto& device : USBInterface::blockDevices(disk, sysfs)) {
                        if (std::find(swaps.begin(), swaps.end(), device) != swaps.end()) {
                            use.refusals.push_back(USBInterface::swapSentence(device));
                        }
                    }
                }
            }
            return use;
        };
    }
    if (machine.blockUse != nullptr && machine.sysfs != nullptr) {
        s.exclusiveUse = [&machine](const std::vector<std::string>& disks) {
            std::vector<std::string> sentences;
            for (const auto& disk : disks) {
                for (const auto& device : USBInterface::blockDevices(disk, *machine.sysfs)) {
                    if (const auto opened = machine.blockUse->openExclusively(device); !opened && opened.error() == EBUSY) {
                        sentences.push_back(USBInterface::exclusiveSentence(device));
                    }
                }
            }
            return sentences;
        };
    }
    s.waitForReturn = [&machine](std::uint32_t location, std::uint8_t lun, int expected,
                                 const Log& log) {
        ReturnWatch watch;
        watch.find = [&machine, lun](std::uint32_t wanted) { return driveAt(machine, wanted, lun); };
        watch.mountWhole = [&machine](const std::string& disk) { return machine.volumes.mountWhole(disk); };
        watch.clock = &machine.clock;
        watch.sleep = machine.sleep;
        watch.interrupted = machine.interrupted;
        waitForReturn(location, expected, returnTimeout, log, watch);
    };
    s.mountBackAt = [&machine](std::uint32_t location, std::uint8_t lun) {
        const auto deadline = machine.clock.steadyNow() +
                              std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                  std::chrono::duration<double>(otherDiskGraceSeconds));
        while (true) {
            if (const auto drive = driveAt(machine, location, lun)) {
                machine.volumes.mountWhole(drive->bsdName);
                return;
            }
            if (machine.clock.steadyNow() >= deadline) return;
            machine.sleep(pollSeconds);
        }
    };
    s.interrupted = machine.interrupted;
    return s;
}

}  // namespace drivekit::Checker
