#include "cli/drive_reads.hpp"

#include <chrono>

#include "cli/ata_live.hpp"

namespace cli {

namespace {

// A command that reads one named drive may run on a machine that lists no mounts and
// probes no devices: then nothing is mounted and no file system is known.
class NothingMounted final : public platform::Mounts {
  public:
    std::vector<platform::Mount> list() const override { return {}; }
};

class NothingProbed final : public platform::BlockProbe {
  public:
    platform::BlockContent probe(std::string_view, unsigned, unsigned) const override { return {}; }
};

const NothingMounted nothingMounted;
const NothingProbed nothingProbed;

}  // namespace

app::ReadContext readContext(const Machine& machine) {
    drivekit::Discovery::Sources sources{
        machine.sysfs, machine.mounts ? *machine.mounts : nothingMounted,
        machine.probe ? *machine.probe : nothingProbed, machine.workingDirectory, machine.locale};
    app::ReadContext context{std::move(sources), machine.nvme, nullptr, nullptr, true,
                             machine.concurrentReads};
    if (machine.openSCSI) context.connect = ataConnect(machine);
    if (machine.space) {
        const platform::VolumeSpace& space = *machine.space;
        context.freeSpace = [&space](std::string_view mountPoint) -> std::optional<app::FreeSpace> {
            const auto figures = space.space(mountPoint);
            if (!figures) return std::nullopt;
            return app::FreeSpace{figures->free, figures->total};
        };
    }
    return context;
}

std::vector<app::DriveRead> readMachineDrives(const Machine& machine, bool wake) {
    app::ReadContext context = readContext(machine);
    context.wake = wake;
    return app::readDrives({}, true, context);
}

std::optional<drivekit::Drive> discoveredDrive(std::string_view bsdName, const Machine& machine) {
    return drivekit::Discovery::drive(bsdName, readContext(machine).discovery);
}

std::optional<app::DriveRead> readMachineDrive(std::string_view bsdName, const Machine& machine) {
    const app::ReadContext context = readContext(machine);
    const auto drive = drivekit::Discovery::drive(bsdName, context.discovery);
    if (!drive) return std::nullopt;
    return app::readDrive(*drive, {}, true, context);
}

std::optional<app::DriveRead> summarizeMachineDrive(std::string_view bsdName,
                                                    app::SummaryBuilder::Reading reading,
                                                    const Machine& machine) {
    const app::ReadContext context = readContext(machine);
    const auto drive = drivekit::Discovery::drive(bsdName, context.discovery);
    if (!drive) return std::nullopt;
    return app::summarized(*drive, std::move(reading), context);
}

drivekit::HealthDocument documentOf(const app::DriveRead& read, const Machine& machine) {
    const auto now = machine.clock ? machine.clock->now() : std::chrono::system_clock::now();
    return drivekit::HealthDocument::make(
        app::documentSource(read), std::chrono::time_point_cast<std::chrono::seconds>(now), false);
}

}  // namespace cli
