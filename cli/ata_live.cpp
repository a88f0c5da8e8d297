#include "cli/ata_live.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <iomanip>
#include <limits>

#include "cli/exit_codes.hpp"
#include "cli/report_text.hpp"
#include "cli/scsi_disks.hpp"
#include "drivekit/core/text.hpp"
#include "drivekit/health/health_rules.hpp"
#include "drivekit/health/report_json.hpp"
#include "platform/linux/errno_text.hpp"

namespace cli {

using namespace drivekit;

namespace {

std::string dev(std::string_view name) {
    return "/dev/" + std::string(name);
}

void row(std::ostream& out, std::string_view label, std::string_view value) {
    out << "  " << std::left << std::setw(34) << label << value << '\n';
}

// Where a failing row's mark starts: after the widest raw value, 48 bits in decimal.
constexpr std::size_t rawColumnEnd = 2 + 3 + 2 + 27 + 1 + 6 + 2 + 5 + 2 + 5 + 2 + 9 + 2 + 15 + 2;

void printAttributes(const std::vector<ATAAttribute>& attributes, std::ostream& out) {
    out << "\nSMART attributes\n";
    if (attributes.empty()) {
        out << "  The drive returned no SMART attributes.\n";
        return;
    }
    out << text::format("  %3s  %-27s %-6s  %5s  %5s  %9s  %s\n", "ID", "Name", "Flags", "Value",
                        "Worst", "Threshold", "Raw");
    for (const auto& a : attributes) {
        std::string line = text::format("  %3u  %-27s 0x%04X  %5u  %5u  %9u  %llu", a.id,
                                        a.name().c_str(), a.flags, a.value, a.worst, a.threshold,
                                        static_cast<unsigned long long>(a.raw));
        if (a.isFailingNow())
            line += std::string(rawColumnEnd > line.size() ? rawColumnEnd - line.size() : 1, ' ') +
                    "failing now";
        out << line << '\n';
    }
}

}  // namespace

std::string noPassThroughSentence(const Drive& drive) {
    if (drive.transport == Transport::usb) {
        return dev(drive.bsdName) +
               ": This enclosure doesn't pass health requests through to the drive.";
    }
    return dev(drive.bsdName) + " doesn't answer ATA health requests.";
}

ATASMARTLib::Connect ataConnect(const Machine& machine) {
    return [&machine](std::string_view name) -> std::unique_ptr<SCSIDrive> {
        if (!machine.openSCSI) return nullptr;
        auto opened = machine.openSCSI(name);
        if (!opened) return nullptr;
        return std::move(opened).value();
    };
}

std::optional<int> ataReachable(std::string_view name, const Machine& machine, std::ostream& err) {
    if (!machine.openSCSI) {
        err << "vantrel: " << dev(name) << " can't take SCSI commands on this computer.\n";
        return exitNotSupported;
    }
    const auto opened = machine.openSCSI(name);
    if (opened) return std::nullopt;
    switch (opened.error()) {
        case ENOENT:
        case ENXIO:
        case ENODEV:
            err << "vantrel: no such device: " << dev(name) << ".\n";
            return exitNoDevice;
        case EACCES:
        case EPERM:
            err << "vantrel: Reading the health of " << dev(name)
                << " needs root: run it with sudo.\n";
            return exitNoPermission;
        default:
            err << "vantrel: " << dev(name)
                << " can't be opened: " << platform::errnoText(opened.error()) << ".\n";
            return exitReadFailed;
    }
}

std::variant<ATALiveReading, int> readATALive(std::string_view name, const Machine& machine,
                                              std::ostream& err, bool wake) {
    if (auto refused = ataReachable(name, machine, err)) return *refused;
    const auto connect = ataConnect(machine);
    if (!wake && ATASMARTLib::powerMode(connect, name) == PowerMode::standby) {
        err << "vantrel: " << dev(name)
            << " is asleep, and Vantrel doesn't wake a sleeping disk. Add --wake to read it.\n";
        return exitAsleep;
    }

    ATALiveReading reading;
    reading.drive = scsiDiskDrive(name, machine.sysfs);
    reading.source = ReadingSource::ataLive(reading.drive.transport);

    auto identity = ATASMARTLib::identify(connect, name);
    if (!identity) {
        using Kind = ATASMARTLib::IdentifyFailure::Kind;
        const auto& failure = identity.error();
        if (failure.kind == Kind::notCapable) {
            err << "vantrel: " << noPassThroughSentence(reading.drive) << '\n';
            return exitNotSupported;
        }
        err << "vantrel: " << dev(name) << ": " << failure.text() << ".\n";
        return failure.kind == Kind::unusable ? exitNotSupported : exitReadFailed;
    }
    reading.identity = std::move(identity).value();
    reading.attributes =
        ATASMARTLib::attributes(connect, name).value_or(std::vector<ATAAttribute>{});
    reading.selfTests = ATASMARTLib::selfTestLog(connect, name);
    reading.smartStatus = SMARTStatusRules::ata(connect, name);
    return reading;
}

HealthReport rateATAReading(const ATALiveReading& reading, const Locale& locale) {
    return HealthRules::evaluate(reading.identity, reading.attributes, reading.drive,
                                 reading.source, reading.selfTests, locale);
}

void printATAReport(const HealthReport& report, SMARTStatus smartStatus, const Locale& locale,
                    std::ostream& out) {
    printReport(report, locale, out);
    out << "\nFigures\n";
    row(out, "S.M.A.R.T. status", SMARTStatusText::label(smartStatus));
    if (report.powerOnHours)
        row(out, "Power-on hours", LocalFormat::count(*report.powerOnHours, locale));
    if (report.temperatureC)
        row(out, "Temperature", LocalFormat::celsius(*report.temperatureC, locale));
    if (report.lifeRemainingPercent) {
        row(out, "Life left", LocalFormat::percent(*report.lifeRemainingPercent, locale));
    }
    if (report.dataWrittenBytes) {
        constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
        const auto bytes = static_cast<std::int64_t>(std::min(*report.dataWrittenBytes, most));
        row(out, "Data written", ByteSize::decimal(bytes, locale));
    }
    printAttributes(report.attributes, out);
    out << "\nSelf-test log\n";
    printSelfTestLog(report.selfTests, locale, out);
}

json::Object ataReportJSON(const HealthReport& report, SMARTStatus smartStatus) {
    json::Object object = ReportJSON::encode(report);
    object["smartStatus"] = std::string(SMARTStatusText::raw(smartStatus));
    return object;
}

void printSelfTestLog(const std::vector<SelfTest::Entry>& entries, const Locale& locale,
                      std::ostream& out) {
    if (entries.empty()) {
        out << "  None logged.\n";
        return;
    }
    for (const auto& entry : entries) {
        std::string line = text::format("  %-17s %-35s", entry.testName().c_str(),
                                        SelfTest::label(entry.outcome).c_str());
        line += LocalFormat::count(entry.powerOnHours, locale) + " hours";
        if (entry.failingLBA)
            line += ", first bad sector " + LocalFormat::count(*entry.failingLBA, locale);
        out << line << '\n';
    }
}

}  // namespace cli
