#pragma once
// The sentences that say how a drive stands and how it was read, one table per family, in
// the English of the catalogue and as they are true on Linux. The health document
// (`DocumentWording`), the drive page (`app::SummaryWording`) and the report's own source
// take their texts from here, so a sentence changes in one place and the two views of one
// drive can't drift apart. "%@", "%lld" and "%d" mark where a value goes
// (`fillPlaceholders`). Each table lists its rows in `all`, so tests can read every one.
#include <array>
#include <string_view>

namespace drivekit::Sentences {

/// The sentence at the head of a report or a drive page.
struct Title {
    static constexpr std::string_view healthy = "This drive is healthy.";
    static constexpr std::string_view watch = "Worth watching.";
    static constexpr std::string_view warning = "This drive needs care.";
    static constexpr std::string_view failing = "This drive needs attention.";
    static constexpr std::string_view readOnly = "This drive is read-only.";
    static constexpr std::string_view failed = "This drive has failed.";
    static constexpr std::string_view sdCard = "SD cards don't report health data.";
    static constexpr std::string_view limited = "Limited health info for this drive.";
    // The drive page calls the internal SSD the user's own.
    static constexpr std::string_view ownHealthy = "Your SSD is healthy.";
    static constexpr std::string_view ownWarning = "Your SSD needs care.";
    static constexpr std::string_view ownFailing = "Your SSD needs attention.";
    static constexpr std::string_view ownFailed = "Your SSD has failed.";
    static constexpr std::string_view ownReadOnly = "Your SSD is read-only.";

    static constexpr std::array all{healthy,    watch,      warning,    failing,
                                    readOnly,   failed,     sdCard,     limited,
                                    ownHealthy, ownWarning, ownFailing, ownFailed,
                                    ownReadOnly};
};

/// The one line under the title of a drive that was read. The document writes the life
/// used in plain digits, the drive page as a percent of the user's locale.
struct Line {
    static constexpr std::string_view keepBackups = "Keep your backups current.";
    static constexpr std::string_view lifeUsedDigits = "It has used %lld% of its rated life.";
    static constexpr std::string_view lifeUsed = "It has used %@ of its rated life.";
    static constexpr std::string_view lifeLeft = "It has %@ of its rated life left.";
    static constexpr std::string_view lifeLeftDigits = "It has %lld% of its rated life left.";
    static constexpr std::string_view atCurrentUsage = "%@ at your current usage.";
    static constexpr std::string_view nothingToDo = "Nothing to do.";
    static constexpr std::string_view unreadable =
        "Vantrel couldn't read this drive's health data.";

    static constexpr std::array all{keepBackups, lifeUsedDigits, lifeUsed,     lifeLeft,
                                    lifeLeftDigits, atCurrentUsage, nothingToDo, unreadable};
};

/// Why a drive has no rating. The document's reasons end in "no health score"; the drive
/// page's are followed by what Vantrel still tracks.
struct Limited {
    static constexpr std::string_view sdCard =
        "SD cards don’t report health data, so there’s no health score.";
    static constexpr std::string_view usbNVMeBridge =
        "Its USB enclosure has an NVMe bridge, which doesn’t pass the drive’s health data to "
        "this computer, so there’s no health score.";
    static constexpr std::string_view usb =
        "Vantrel hasn’t read this drive’s health data over USB, so there’s no health score.";
    static constexpr std::string_view other =
        "Vantrel couldn’t read this drive’s health data, so there’s no health score.";
    /// Added for share views.
    static constexpr std::string_view shareSuffix = " Below is what Linux can see of it.";

    static constexpr std::string_view pageNVMeBridge =
        "Its enclosure has an NVMe bridge, and Vantrel reads health over USB from SATA drives "
        "only.";
    static constexpr std::string_view pageUSBCheck =
        "`vantrel check` reads it over USB: Vantrel borrows the drive for a few seconds.";
    static constexpr std::string_view pageNotReported = "Linux doesn't report this drive's health.";
    static constexpr std::string_view pageStillTracks =
        "Vantrel still tracks its read and write errors.";
    static constexpr std::string_view pageAsleep =
        "The drive is asleep, and Vantrel doesn't wake a sleeping disk to read it.";
    static constexpr std::string_view pageSDCard =
        "Vantrel tracks its read and write errors, its speed and its free space.";

    static constexpr std::array all{sdCard,         usbNVMeBridge,   usb,
                                    other,          shareSuffix,     pageNVMeBridge,
                                    pageUSBCheck,   pageNotReported, pageStillTracks,
                                    pageAsleep,     pageSDCard};
};

/// How the data was read, or for a drive that wasn't, what stands in its place.
struct ReadSource {
    static constexpr std::string_view nvmeThunderbolt =
        "NVMe SMART over Thunderbolt, read live without unmounting anything.";
    static constexpr std::string_view nvmeInternal = "NVMe SMART, read live from the internal SSD.";
    static constexpr std::string_view ataLiveUSB =
        "ATA SMART through Linux's own USB storage driver, read live without unmounting "
        "anything.";
    static constexpr std::string_view ataLiveSATA =
        "ATA SMART through Linux's own SATA driver, read live without unmounting anything.";
    static constexpr std::string_view ataHandOver =
        "ATA SMART over USB, read through the enclosure's bridge. Vantrel unmounts the drive for "
        "a few seconds while it reads, then Linux mounts it again.";
    /// The short forms a report keeps as its source.
    static constexpr std::string_view nvmeShort = "NVMe SMART";
    static constexpr std::string_view ataOverUSBShort = "ATA SMART over USB";

    // A drive that wasn't read, in the document.
    static constexpr std::string_view connectedOverUSB = "Connected over USB";
    static constexpr std::string_view throughIts = " through its ";
    static constexpr std::string_view usbNVMeBridge =
        "Its enclosure has an NVMe bridge, and Vantrel reads health over USB from SATA drives "
        "only.";
    static constexpr std::string_view usbNotRead =
        "Linux doesn't read this drive's health itself. `vantrel check` can: it borrows the "
        "drive for a few seconds.";
    static constexpr std::string_view sdCard =
        "The card in the computer's built-in SD reader. SD cards don't share health data with "
        "this computer.";
    static constexpr std::string_view other = "Linux doesn't report this drive's health.";

    // A drive that wasn't read, on its page.
    static constexpr std::string_view pageConnectedThrough = "Connected over USB through its %@.";
    static constexpr std::string_view pageConnected = "Connected over USB.";
    static constexpr std::string_view pageUntilYouRunIt =
        "Until you run it, Vantrel watches Linux's error counters for this drive, along with its "
        "speed and free space.";
    static constexpr std::string_view pageInstead =
        "Instead, Vantrel watches Linux's error counters for this drive, along with its speed and "
        "free space.";
    static constexpr std::string_view pageWatches =
        "Vantrel watches Linux's error counters for this drive, along with its speed and free "
        "space.";
    static constexpr std::string_view pageSDCard =
        "The card in the computer's built-in SD reader. SD cards don't share health data with "
        "this computer, so Vantrel watches Linux's error counters for it, along with its speed "
        "and free space.";
    static constexpr std::string_view pageHiddenUSB =
        "This enclosure doesn’t report the drive’s model, so Vantrel names it after its volume.";
    static constexpr std::string_view pageHidden =
        "This drive doesn’t report its model, so Vantrel names it after its volume.";

    static constexpr std::array all{
        nvmeThunderbolt,   nvmeInternal,  ataLiveUSB,         ataLiveSATA,   ataHandOver,
        nvmeShort,         ataOverUSBShort, connectedOverUSB, throughIts,    usbNVMeBridge,
        usbNotRead,        sdCard,        other,              pageConnectedThrough,
        pageConnected,     pageUntilYouRunIt, pageInstead,    pageWatches,   pageSDCard,
        pageHiddenUSB,     pageHidden};
};

/// The labels of the health indicator rows, shared by the health document and the drive
/// page, so that one figure has one name in both.
struct IndicatorLabel {
    static constexpr std::string_view lifeLeft = "Life left";
    static constexpr std::string_view availableSpare = "Available spare";
    static constexpr std::string_view mediaErrors = "Media and data integrity errors";
    static constexpr std::string_view criticalWarnings = "Critical warnings";
    static constexpr std::string_view temperature = "Temperature";
    static constexpr std::string_view unsafeShutdowns = "Unsafe shutdowns";
    static constexpr std::string_view errorLogEntries = "Error log entries";
    static constexpr std::string_view reallocatedSectors = "Reallocated sectors";
    static constexpr std::string_view reallocationEvents = "Reallocation events";
    static constexpr std::string_view pendingSectors = "Pending sectors";
    static constexpr std::string_view offlineUncorrectable = "Offline uncorrectable";
    static constexpr std::string_view reportedUncorrectable = "Reported uncorrectable";
    static constexpr std::string_view programFails = "Program fail count";
    static constexpr std::string_view eraseFails = "Erase fail count";
    static constexpr std::string_view commandTimeouts = "Command timeouts";
    static constexpr std::string_view spinRetries = "Spin-up retries";
    static constexpr std::string_view lastSelfTest = "Last self-test";
    static constexpr std::string_view crcErrors = "Interface CRC errors";
    static constexpr std::string_view reservedSpace = "Available reserved space";
    static constexpr std::string_view dataWritten = "Data written";

    static constexpr std::array all{lifeLeft, availableSpare, mediaErrors, criticalWarnings, temperature, unsafeShutdowns, errorLogEntries, reallocatedSectors, reallocationEvents, pendingSectors, offlineUncorrectable, reportedUncorrectable, programFails, eraseFails, commandTimeouts, spinRetries, lastSelfTest, crcErrors, reservedSpace, dataWritten};
};

}  // namespace drivekit::Sentences
