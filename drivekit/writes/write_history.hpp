#pragma once
// Who wrote how much, at two grains: ten-minute slots for the last two days, and whole
// local days as far back as the user keeps. Buckets are keyed by the owner's key text, so
// that a key a newer program wrote and this one doesn't know is carried along untouched.
#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "drivekit/core/result.hpp"
#include "drivekit/writes/write_calendar.hpp"
#include "drivekit/writes/write_ledger.hpp"
#include "drivekit/writes/write_owner.hpp"

namespace drivekit {

struct WriteBucket {
    WriteTime start;
    std::map<std::string, std::uint64_t> bytes;

    bool operator==(const WriteBucket&) const = default;
};

struct WriteHistory {
    static constexpr double kSlotSeconds = 600.0;
    /// Slots younger than this stay slots; older ones are summed into their day.
    static constexpr double kSlotsKeptSeconds = 172'800.0;

    std::vector<WriteBucket> slots;  // sorted by start
    std::vector<WriteBucket> days;   // sorted by start; a day starts at local midnight

    /// The start of the slot that holds `time`: its hour's start, plus whole ten-minute
    /// steps; the time itself when the calendar can't place it.
    static WriteTime slotStart(WriteTime time, const WriteCalendar& calendar);

    /// Adds the interval's bytes to the slot that holds its end (also when it began in
    /// the slot before). An interval of no bytes changes nothing.
    void add(const WriteInterval& interval, const WriteCalendar& calendar);

    /// Moves slots that are two days old into their local day, and drops days from before
    /// the start of today less `daysToKeep`. True when anything moved or went.
    bool compact(WriteTime now, const WriteCalendar& calendar, int daysToKeep);

    /// Bytes by owner over the slots that start at `since` or later. Keys that aren't an
    /// owner are left out.
    std::map<WriteOwner, std::uint64_t> totals(WriteTime since) const;
    /// The same over slots and days: days count whole from the local day that holds
    /// `since`, for periods longer than the slots keep.
    std::map<WriteOwner, std::uint64_t> totalsWithDays(WriteTime since, const WriteCalendar& calendar) const;

    /// Both lists sorted by start (files written by hand or by another program).
    void sort();
};

namespace WriteBucketsFile {

struct Problem {
    enum class Kind { newerVersion, damaged };
    Kind kind = Kind::damaged;
    /// The file's version, for `newerVersion`.
    std::int64_t version = 0;
};

/// {"v":1,"owners":[...],"buckets":[{"t":seconds,"b":[index,bytes,...]}]}: owner keys
/// are stored once and referred to by index, since the same keys repeat in every bucket.
std::string encode(const std::vector<WriteBucket>& buckets);
Result<std::vector<WriteBucket>, Problem> decode(std::string_view bytes);

}  // namespace WriteBucketsFile

}  // namespace drivekit
