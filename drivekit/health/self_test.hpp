#pragma once
// An ATA drive's own self-tests: how a test ended, whether one is running and how far it
// got (from the SMART data page), and the results the drive keeps in its self-test log.
// Pure decoding of bytes plus the words for each outcome; starting a test belongs to the
// live reader. Nothing here throws: short or malformed pages give nothing.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivekit/core/bytes.hpp"
#include "drivekit/core/json.hpp"

namespace drivekit::SelfTest {

/// The tests the program starts, with the drive's number for each. (`short_` because the
/// plain word is a C++ keyword.)
enum class Kind : std::uint8_t { short_ = 1, extended = 2 };

/// How a test ended, with its raw value; the status nibble of a log entry maps onto it
/// (nibbles 9 to 14 are `unknown`).
enum class Outcome : std::uint8_t {
    passed = 0,
    abortedByHost = 1,
    interruptedByReset = 2,
    fatalError = 3,
    unknownFailure = 4,
    electricalFailure = 5,
    servoFailure = 6,
    readFailure = 7,
    handlingDamage = 8,
    inProgress = 15,
    unknown = 255,
};

/// The outcome named by the high four bits of a self-test status byte.
Outcome outcomeFromStatus(std::uint8_t statusByte) noexcept;
/// The outcome of a raw value; nothing for a value that names none.
std::optional<Outcome> outcomeFromRaw(int raw) noexcept;
/// The test found a fault in the drive (fatal error through handling damage).
bool failed(Outcome outcome) noexcept;
/// The short label in the user's language: "Passed", "Cancelled", "Failed: read", ...
std::string label(Outcome outcome);
/// For a failed outcome, the sentence of the finding that reports it.
std::optional<std::string> failureSentence(Outcome outcome);

/// One entry of the self-test log; a JSON record with exactly these keys.
struct Entry {
    /// The test number as the drive logged it: 1 short, 2 extended, ...
    std::uint8_t kind = 0;
    Outcome outcome = Outcome::unknown;
    int powerOnHours = 0;
    std::optional<std::uint32_t> failingLBA;

    /// "Short", "Extended", "Conveyance", "Selective" or "Other", for a list.
    std::string kindLabel() const;
    /// "Short test", ..., "Other test", for a row of a report.
    std::string testName() const;

    /// {"kind", "outcome", "powerOnHours", "failingLBA"}, the outcome as its raw value and
    /// `failingLBA` left out when absent.
    json::Object toJSON() const;
    /// Nothing when a key is missing, of the wrong type or out of range.
    static std::optional<Entry> fromJSON(const json::Object& object);

    bool operator==(const Entry&) const = default;
};

/// The self-test execution status of the SMART data page, with the drive's own estimate
/// of how long each test takes.
struct Progress {
    Outcome outcome = Outcome::unknown;
    /// 0 to 100; 100 for anything but a running test.
    int percentDone = 100;
    std::optional<int> shortMinutes;
    std::optional<int> extendedMinutes;

    /// Reads the 512-byte SMART READ DATA page; nothing when it is too short to hold the
    /// status and the time estimates.
    static std::optional<Progress> fromSmartData(ByteView smartData);

    bool operator==(const Progress&) const = default;
};

/// The entries of the SMART self-test log (log address 6), newest first. Empty for a
/// short page or one whose newest-entry index is out of range; unused slots are skipped.
std::vector<Entry> parseLog(ByteView log);

}  // namespace drivekit::SelfTest
