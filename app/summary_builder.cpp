#include "app/summary_builder.hpp"

#include <algorithm>
#include <utility>

#include "drivekit/core/text.hpp"
#include "drivekit/discovery/discovery.hpp"
#include "drivekit/health/bridge_words.hpp"
#include "drivekit/health/placeholders.hpp"

namespace app::SummaryBuilder {

using namespace drivekit;

namespace {

constexpr std::string_view kEnclosureHidesModel = "Not reported by the enclosure";
// The line under the link when the device could run faster than it does here.
constexpr std::string_view kLinkNote = "The drive supports %@.";
constexpr std::string_view kSMARTStatusLabel = "S.M.A.R.T. status";

Discovery::DisplayName nameOf(const Drive& drive, const std::optional<HealthReport>& report) {
    if (report && !report->model.empty()) return Discovery::displayName(drive.named(report->model));
    return Discovery::displayName(drive);
}

// The drive tells no model worth showing and goes by the name of one of its volumes.
// An SD card goes by its volume's name even when it reports its own (the card's name
// register, "SD64G"): that model is still shown.
bool isModelHidden(const Drive& drive, const Discovery::DisplayName& name) {
    if (name.isModel) return false;
    if (drive.transport == Transport::sdCard && !drive.model.empty() && drive.model != Drive{}.model) {
        return false;
    }
    return std::any_of(drive.volumes.begin(), drive.volumes.end(),
                       [&](const Volume& volume) { return volume.name == name.name; });
}

std::string identity(const Drive& drive, const std::optional<HealthReport>& report) {
    if (report && report->serial) {
        std::string serial = text::trimmed(*report->serial);
        if (!serial.empty()) return serial;
    }
    return drive.bsdName;
}

std::string shownModel(const Drive& drive, const std::optional<HealthReport>& report,
                       bool modelHidden) {
    if (modelHidden) return std::string(kEnclosureHidesModel);
    if (report && !report->model.empty()) return report->model;
    return drive.model;
}

// A volume without a label is called after where it is mounted.
std::string volumeName(const Volume& volume) {
    if (volume.name && !volume.name->empty()) return *volume.name;
    const std::string& path = *volume.mountPoint;
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos || slash + 1 == path.size()) return path;
    return path.substr(slash + 1);
}

void takeMountFacts(DriveSummary& summary, const Drive& drive, const Surroundings& around) {
    summary.volumes.clear();
    std::optional<std::size_t> main;
    for (const auto& volume : drive.volumes) {
        if (!volume.mountPoint || volume.mountPoint->empty()) continue;
        VolumeInfo info;
        info.name = volumeName(volume);
        info.mountPoint = *volume.mountPoint;
        info.fileSystem = volume.fileSystem;
        if (around.freeSpace) info.space = around.freeSpace(info.mountPoint);
        // The start-up drive is told by its root volume, any other by its first mounted one.
        if (!main || (drive.hostsBootVolume && info.mountPoint == "/")) {
            main = summary.volumes.size();
        }
        summary.volumes.push_back(std::move(info));
    }
    summary.mountPoint.reset();
    summary.volumeName.reset();
    summary.space.reset();
    if (main) {
        const VolumeInfo& info = summary.volumes[*main];
        summary.mountPoint = info.mountPoint;
        summary.volumeName = info.name;
        summary.space = info.space;
    }
    summary.hasVolumes = !drive.volumes.empty();
    summary.hostsBootVolume = drive.hostsBootVolume;

    summary.disksOnTop.clear();
    for (const auto& disk : around.disksOnTop) {
        if (disk == drive.bsdName) continue;
        if (std::find(summary.disksOnTop.begin(), summary.disksOnTop.end(), disk) !=
            summary.disksOnTop.end()) {
            continue;
        }
        summary.disksOnTop.push_back(disk);
    }
}

// What every summary holds, read or not.
DriveSummary commonPart(const Drive& drive, const Reading& reading, const Surroundings& around) {
    DriveSummary summary;
    summary.bsdName = drive.bsdName;
    summary.id = identity(drive, reading.report);
    const auto name = nameOf(drive, reading.report);
    summary.name = name.name;
    summary.modelHidden = isModelHidden(drive, name);
    summary.model = shownModel(drive, reading.report, summary.modelHidden);
    summary.kind = driveKindFor(drive.transport);
    summary.capacityBytes = drive.sizeBytes;
    summary.isRAIDMember = drive.isRAIDMember;
    summary.raid = drive.raid;
    if (drive.link) {
        summary.link = drive.link->current;
        summary.ceilingMBps = drive.link->ceilingMBps;
        if (drive.link->capable)
            summary.linkNote = fillPlaceholders(kLinkNote, {*drive.link->capable});
    }
    summary.transferMode = TransferMode::make(
        drive, reading.report ? reading.report->sataLink : std::nullopt, around.locale);
    if (summary.kind == DriveKind::usb) {
        summary.usbKey = usbKey(drive);
        summary.usbSignature = usbSignature(drive);
        if (drive.usb) summary.usbProductName = drive.usb->productName;
        if (const auto bridge = enclosureBridge(drive)) summary.usbNVMeBridge = bridge->isNVMe;
    }
    summary.smartStatus = reading.smartStatus;
    takeMountFacts(summary, drive, around);
    return summary;
}

std::vector<std::string> flaggedSignals(const std::vector<Finding>& findings) {
    std::vector<std::string> words;
    for (const auto& finding : findings) {
        if (finding.verdict == Verdict::healthy || finding.verdict == Verdict::unknown) continue;
        if (!finding.signal) continue;
        std::string word(SignalText::raw(*finding.signal));
        if (std::find(words.begin(), words.end(), word) == words.end()) words.push_back(word);
    }
    return words;
}

void fillFromReport(DriveSummary& summary, const Drive& drive, const Reading& reading,
                    const Surroundings& around) {
    const HealthReport& report = *reading.report;
    summary.tier = tierFor(report.verdict());
    summary.score = report.score;
    for (const auto& finding : report.findings) summary.findings.push_back(finding.message);
    summary.lifeLeft = report.lifeRemainingPercent;
    if (reading.nvme) {
        summary.lifeUsed = reading.nvme->percentageUsed;
        summary.spare = reading.nvme->availableSpare;
        summary.dataErrors = reading.nvme->mediaErrors;
    } else if (report.ata) {
        summary.spare = report.ata->spare;
        summary.dataErrors = report.ata->dataErrors();
    }
    summary.forecast = report.forecast;
    summary.temperatureC = report.temperatureC;
    summary.powerOnHours = report.powerOnHours;
    summary.dataWrittenBytes = report.dataWrittenBytes;
    summary.readOnly = report.isReadOnly;
    summary.flaggedSignals = flaggedSignals(report.findings);
    summary.selfTests = report.selfTests;
    summary.liveUSBHealth =
        reading.method == ReadMethod::ataSMARTLive && drive.transport == Transport::usb;

    summary.title = SummaryWording::title(summary.tier, summary.kind, report.isReadOnly);
    summary.line = DocumentWording::line(summary.tier, summary.lifeUsed, summary.lifeLeft,
                                        summary.forecast, report.findings, around.locale);
    for (const auto& detail : report.details) {
        summary.healthLog.push_back(DriveField{detail.label, detail.value, "", detail.key});
    }

    const DriveInsight::Facts facts{summary.modelHidden, around.locale};
    if (reading.nvme) {
        summary.insight = DriveInsight::nvme(*reading.nvme, drive, facts);
    } else if (report.ata) {
        summary.insight = DriveInsight::ata(report, drive, facts);
    } else {
        summary.insight = DriveInsight::limited(drive, facts);
    }
}

void fillLimited(DriveSummary& summary, const Drive& drive, bool asleep,
                 const Surroundings& around) {
    summary.tier = Tier::limited;
    summary.title = SummaryWording::title(Tier::limited, summary.kind, false);
    if (asleep) summary.asleep = true;
    summary.line = SummaryWording::limitedLine(summary.kind, summary.usbNVMeBridge.value_or(false),
                                               asleep);
    summary.insight =
        DriveInsight::limited(drive, DriveInsight::Facts{summary.modelHidden, around.locale});
}

}  // namespace

ReadStep readStep(const Drive& drive, bool hasStoredUSBReport, bool live) {
    switch (drive.transport) {
        case Transport::internalNVMe:
        case Transport::externalNVMe:
            return ReadStep::nvme;
        case Transport::usb:
            if (hasStoredUSBReport) return ReadStep::storedUSBReport;
            return live ? ReadStep::liveATA : ReadStep::none;
        case Transport::sata:
            return live ? ReadStep::liveATA : ReadStep::none;
        case Transport::sdCard:
            return ReadStep::none;
        case Transport::other:
            return ReadStep::notShown;
    }
    return ReadStep::notShown;
}

DriveSummary summarize(const Drive& drive, const Reading& reading, const Surroundings& around) {
    DriveSummary summary = commonPart(drive, reading, around);
    const bool read = reading.report.has_value() && reading.method != ReadMethod::none;
    if (read) {
        fillFromReport(summary, drive, reading, around);
    } else {
        fillLimited(summary, drive, reading.asleep, around);
    }
    summary.readSource = SummaryWording::readSource(drive, read ? reading.method : ReadMethod::none,
                                                    summary.modelHidden, around.usbCheckAvailable);
    if (drive.raid) summary.line += DocumentWording::raidSentence(*drive.raid);
    if (summary.smartStatus != SMARTStatus::notSupported) {
        summary.healthLog.push_back(DriveField{std::string(kSMARTStatusLabel),
                                               SMARTStatusText::label(summary.smartStatus), "",
                                               std::string(kSMARTStatusLabel)});
    }
    return summary;
}

}  // namespace app::SummaryBuilder
