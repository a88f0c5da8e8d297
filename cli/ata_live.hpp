#pragma once
// The live ATA read of a SATA or USB disk for the terminal commands: reach the disk's
// pass-through, read identity, attributes, self-test log and SMART status through
// ATASMARTLib, rate it by the ATA rules, and print the report with the raw table, the
// self-test log and the drive's own pass/fail status, as text or JSON.
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "cli/app_names.hpp"
#include "drivekit/core/json.hpp"
#include "drivekit/core/local_format.hpp"
#include "drivekit/discovery/drive.hpp"
#include "drivekit/health/ata_attribute.hpp"
#include "drivekit/health/ata_identity.hpp"
#include "drivekit/health/ata_smart_lib.hpp"
#include "drivekit/health/report.hpp"
#include "drivekit/health/self_test.hpp"
#include "drivekit/health/wording.hpp"

namespace cli {

/// What one live read of an ATA drive found, before any rating.
struct ATALiveReading {
    drivekit::Drive drive;
    /// How it was read: one sentence, as a report's `source`, and the method it names.
    std::string source;
    drivekit::ReadMethod method = drivekit::ReadMethod::ataSMARTLive;
    drivekit::ATAIdentity identity;
    /// Empty when the drive's SMART data can't be read (SMART turned off, say).
    std::vector<drivekit::ATAAttribute> attributes;
    /// Newest first.
    std::vector<drivekit::SelfTest::Entry> selfTests;
    drivekit::SMARTStatus smartStatus = drivekit::SMARTStatus::notSupported;
};

/// "/dev/sdb: This enclosure doesn't pass health requests through to the drive." for a
/// USB disk, "/dev/sda doesn't answer ATA health requests." for any other.
std::string noPassThroughSentence(const drivekit::Drive& drive);

/// ATASMARTLib's way in to the machine's disks.
drivekit::ATASMARTLib::Connect ataConnect(const Machine& machine);

/// Opens the disk once to tell, in one sentence on `err`, why it can't be read: missing
/// (exit 3), needs root (exit 5), or another failure (exit 6). Nothing when it opens.
std::optional<int> ataReachable(std::string_view name, const Machine& machine, std::ostream& err);

/// Reads the disk live. A disk that doesn't answer ATA PASS-THROUGH, or can't be opened,
/// is one sentence on `err` and the exit code. Unless `wake`, a disk that sleeps is asked
/// nothing more than that and left asleep: a sentence and `exitAsleep`.
std::variant<ATALiveReading, int> readATALive(std::string_view name, const Machine& machine,
                                              std::ostream& err, bool wake = false);

/// The reading rated by the ATA rules, with numbers in the messages for `locale`.
drivekit::HealthReport rateATAReading(const ATALiveReading& reading,
                                      const drivekit::Locale& locale);

/// The report as `printReport` prints it, then the drive's figures with its SMART status,
/// the attribute table (rows past their threshold marked "failing now") and the self-test log.
void printATAReport(const drivekit::HealthReport& report, drivekit::SMARTStatus smartStatus,
                    const drivekit::Locale& locale, std::ostream& out);
/// The report's JSON with "smartStatus" beside it.
drivekit::json::Object ataReportJSON(const drivekit::HealthReport& report,
                                     drivekit::SMARTStatus smartStatus);

/// The self-test log as rows: test, outcome, power-on hours, first bad sector.
void printSelfTestLog(const std::vector<drivekit::SelfTest::Entry>& entries,
                      const drivekit::Locale& locale, std::ostream& out);

}  // namespace cli
