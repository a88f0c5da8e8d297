#include "app/read_all.hpp"

#include <algorithm>
#include <map>
#include <mutex>
#include <utility>

#include "drivekit/health/health_rules.hpp"
#include "drivekit/health/nvme_reader.hpp"
#include "drivekit/health/report.hpp"

namespace app {

using namespace drivekit;

namespace {

// The stores on top of the drive's volumes, as whole devices: a partitioned md array
// counts once, by the array.
std::vector<std::string> disksOnTop(const Drive& drive, const ReadContext& context) {
    std::vector<std::string> disks;
    for (const auto& name : Discovery::stackedOn(drive.bsdName, context.discovery.sysfs)) {
        disks.push_back(Discovery::wholeDiskName(name));
    }
    return disks;
}

// The mount table as it was read once before the pass: discovery describes the drives
// from the very table the look after the reads compares with, and the kernel's table is
// read once less.
class MountsRead final : public platform::Mounts {
  public:
    explicit MountsRead(std::vector<platform::Mount> table) : table_(std::move(table)) {}
    std::vector<platform::Mount> list() const override { return table_; }

  private:
    std::vector<platform::Mount> table_;
};

SummaryBuilder::Surroundings surroundings(const Drive& drive, const ReadContext& context) {
    return SummaryBuilder::Surroundings{disksOnTop(drive, context), context.freeSpace,
                                        context.usbCheckAvailable, context.discovery.locale};
}

}  // namespace

Result<SummaryBuilder::Reading, NVMeReader::Failure> readNVMe(const Drive& drive,
                                                              platform::NVMeAdmin& nvme,
                                                              const Locale& locale) {
    auto health = NVMeReader::read(drive.bsdName, nvme);
    if (!health) return Unexpected(health.error());
    SummaryBuilder::Reading reading;
    reading.method = ReadMethod::nvmeSMART;
    reading.report = HealthRules::evaluate(*health, drive, locale);
    reading.smartStatus = SMARTStatusRules::nvme(health->criticalWarning);
    reading.nvme = std::move(health).value();
    return reading;
}

Result<SummaryBuilder::Reading, ATASMARTLib::IdentifyFailure> readATA(
    std::unique_ptr<SCSIDrive> connection, const Drive& drive, bool wake, const Locale& locale) {
    SummaryBuilder::Reading reading;
    if (!wake && PowerModes::query(*connection) == PowerMode::standby) {
        reading.asleep = true;
        return reading;
    }
    auto session = ATASMARTLib::Session::begin(std::move(connection));
    if (!session) return Unexpected(session.error());
    const auto attributes = session.value().attributes().value_or(std::vector<ATAAttribute>{});
    const auto selfTests = session.value().selfTestLog();
    reading.method = ReadMethod::ataSMARTLive;
    reading.smartStatus = session.value().smartStatus();
    reading.report = HealthRules::evaluate(session->identity(), attributes, drive,
                                           ReadingSource::ataLive(drive.transport), selfTests, locale);
    return reading;
}

namespace {

// What one drive reads as; nothing for a drive that isn't shown.
std::optional<SummaryBuilder::Reading> readingOf(const Drive& drive, const USBReports& reports, bool live,
                                                 const ReadContext& context) {
    const auto kept =
        drive.transport == Transport::usb ? reports.find(usbKey(drive)) : reports.end();
    SummaryBuilder::Reading reading;
    switch (SummaryBuilder::readStep(drive, kept != reports.end(), live)) {
        case SummaryBuilder::ReadStep::nvme:
            if (auto nvme = readNVMe(drive, context.nvme, context.discovery.locale)) reading = std::move(nvme).value();
            break;
        case SummaryBuilder::ReadStep::storedUSBReport:
            reading = kept->second;
            break;
        case SummaryBuilder::ReadStep::liveATA:
            if (auto connection = context.connect ? context.connect(drive.bsdName) : nullptr) {
                auto ata = readATA(std::move(connection), drive, context.wake, context.discovery.locale);
                if (ata) reading = std::move(ata).value();
            }
            break;
        case SummaryBuilder::ReadStep::none:
            break;
        case SummaryBuilder::ReadStep::notShown:
            return std::nullopt;
    }
    return reading;
}

}  // namespace

std::optional<DriveRead> readDrive(const Drive& drive, const USBReports& reports, bool live,
                                   const ReadContext& context) {
    auto reading = readingOf(drive, reports, live, context);
    if (!reading) return std::nullopt;
    return summarized(drive, std::move(*reading), context);
}

std::optional<DriveRead> summarized(const Drive& drive, SummaryBuilder::Reading reading,
                                    const ReadContext& context) {
    if (SummaryBuilder::readStep(drive, false, false) == SummaryBuilder::ReadStep::notShown) {
        return std::nullopt;
    }
    DriveSummary summary = SummaryBuilder::summarize(drive, reading, surroundings(drive, context));
    return DriveRead{drive, std::move(reading), std::move(summary)};
}

std::vector<DriveReading> readReadings(const USBReports& reports, bool live, const ReadContext& context) {
    const auto mountedBefore = context.discovery.mounts.list();
    const MountsRead mountsRead(mountedBefore);
    const Discovery::Sources first{context.discovery.sysfs, mountsRead, context.discovery.probe,
                                   context.discovery.workingDirectory, context.discovery.locale};
    std::vector<DriveReading> readings;
    if (context.concurrent) {
        // Each drive is read on the thread that described it, as soon as it is known.
        std::mutex lock;
        std::map<std::string, SummaryBuilder::Reading, std::less<>> done;
        auto drives = Discovery::allDrivesConcurrently(first, [&](const Drive& drive) {
            auto reading = readingOf(drive, reports, live, context);
            if (!reading) return;
            const std::lock_guard hold(lock);
            done.emplace(drive.bsdName, std::move(*reading));
        });
        for (auto& drive : drives) {
            if (auto found = done.find(drive.bsdName); found != done.end()) {
                readings.push_back(DriveReading{std::move(drive), std::move(found->second)});
            }
        }
    } else {
        for (auto& drive : Discovery::allDrives(first)) {
            if (auto reading = readingOf(drive, reports, live, context)) {
                readings.push_back(DriveReading{std::move(drive), std::move(*reading)});
            }
        }
    }
    // Only a mount table that changed during the reads asks for a second pass.
    if (context.discovery.mounts.list() == mountedBefore) return readings;
    const auto fresh = Discovery::allDrives(context.discovery);
    for (auto& one : readings) {
        const auto same = std::find_if(fresh.begin(), fresh.end(), [&](const Drive& drive) {
            return drive.bsdName == one.drive.bsdName;
        });
        if (same == fresh.end()) continue;
        one.drive.volumes = same->volumes;
        one.drive.hostsBootVolume = same->hostsBootVolume;
        one.drive.hostsCurrentDirectory = same->hostsCurrentDirectory;
    }
    return readings;
}

std::vector<DriveRead> readDrives(const USBReports& reports, bool live, const ReadContext& context) {
    std::vector<DriveRead> reads;
    for (auto& one : readReadings(reports, live, context)) {
        if (auto read = summarized(one.drive, std::move(one.reading), context)) reads.push_back(std::move(*read));
    }
    return reads;
}

std::vector<DriveSummary> readAll(const USBReports& reports, bool live,
                                  const ReadContext& context) {
    std::vector<DriveSummary> summaries;
    for (auto& read : readDrives(reports, live, context)) {
        summaries.push_back(std::move(read.summary));
    }
    return summaries;
}

bool needsCare(const SummaryBuilder::Reading& reading) {
    if (reading.smartStatus == SMARTStatus::failing) return true;
    if (!reading.report) return false;
    const Verdict verdict = reading.report->verdict();
    return verdict != Verdict::unknown && verdict >= Verdict::warning;
}

bool needsCare(const DriveRead& read) {
    const Tier tier = read.summary.tier;
    return needsCare(read.reading) || tier == Tier::warning || tier == Tier::failing ||
           tier == Tier::failed;
}

HealthDocument::Source documentSource(const Drive& drive, const SummaryBuilder::Reading& reading) {
    const bool wasRead = reading.report.has_value();
    return HealthDocument::Source{drive, reading.report, wasRead ? reading.nvme : std::nullopt,
                                  wasRead ? reading.method : ReadMethod::none, reading.smartStatus};
}

HealthDocument::Source documentSource(const DriveRead& read) { return documentSource(read.drive, read.reading); }

}  // namespace app
