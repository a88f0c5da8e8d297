#pragma once
// SurfaceScan: reads a drive through any SCSIDrive and tells what it found: how much it
// read, how fast, which blocks would not read, which reads were slow. It sends READ
// CAPACITY, READ (10) and READ (16) and nothing else, ever.
//
// The care is in telling a failing drive from a failing enclosure: USB bridges refuse
// commands and hang, and neither may be reported as bad sectors. So the read method is
// negotiated first, and failed reads are held back until the drive proves it still
// answers (a later read, or the negotiated spot read again); failures held when the
// enclosure goes silent are dropped, not counted.
//
// Nothing here raises: whatever ends a scan early is in `Result::stopped`. Time comes
// from the injected clock only.
#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "drivekit/core/bytes.hpp"
#include "drivekit/core/json.hpp"
#include "drivekit/scan/scan_map.hpp"
#include "platform/clock.hpp"
#include "platform/scsi_drive.hpp"

namespace drivekit::surface_scan {

enum class Mode { quick, full };
const char* modeName(Mode mode) noexcept;  // "quick", "full"

/// A read method: READ (16) or READ (10), and the bytes of each read.
struct Reads {
    bool sixteen = false;
    int chunkBytes = 0;
    bool operator==(const Reads&) const = default;
};
/// "READ (16), 512 KB".
std::string text(const Reads& reads);

/// A place where a read worked.
struct Spot {
    std::uint64_t lba = 0;
    std::uint32_t blocks = 0;
    bool operator==(const Spot&) const = default;
};

struct FirstRead {
    std::int64_t bytes = 0;
    double seconds = 0;
};

struct Negotiated {
    Reads reads;
    Spot spot;
    /// The proving read, when it was at block 0: it then counts as the scan's read 0.
    std::optional<FirstRead> first;
};

struct Negotiation {
    enum class Outcome { found, stoppedAnswering, refused };
    Outcome outcome = Outcome::refused;
    Negotiated found;  // with `found`
    Reads stalledOn;   // with `stoppedAnswering`: the method in use when it went silent
};

struct Result {
    Mode mode = Mode::full;
    std::uint64_t totalBlocks = 0;
    int blockSize = 512;
    std::int64_t readsPlanned = 0;
    std::int64_t readsDone = 0;  // highest read number finished, plus one
    std::uint64_t bytesRead = 0;
    std::vector<std::uint64_t> unreadable;  // first bad block of each failed read, capped
    std::int64_t slowReads = 0;
    double slowestMs = 0;  // over all reads but read 0
    double seconds = 0;
    std::optional<std::string> stopped;
    std::int64_t failedReads = 0;  // every failure, also those past the cap
    std::optional<double> warmUpMs;
    std::optional<ScanMap> map;
    std::optional<Reads> reads;
    std::optional<Reads> stalledOn;
    std::optional<bool> cancelled;

    bool finished() const noexcept { return readsPlanned >= 1 && readsDone >= readsPlanned; }
    double fraction() const noexcept {
        return readsPlanned > 0 ? static_cast<double>(readsDone) / static_cast<double>(readsPlanned) : 0;
    }
    std::int64_t unreadableCount() const noexcept {
        return std::max<std::int64_t>(failedReads, static_cast<std::int64_t>(unreadable.size()));
    }
};

inline constexpr std::size_t unreadableKept = 100;
inline constexpr std::int64_t quickMostReads = 2048;
inline constexpr double slowReadMs = 500.0;

/// Asked before each read; true ends the scan as cancelled.
using ShouldStop = std::function<bool()>;
/// Gets the result so far, at most twice a second and once at the end.
using Progress = std::function<void(const Result&)>;

/// Runs a whole scan. `maxBytes` is the largest transfer the device takes, if known.
/// Blocks the calling thread; `shouldStop` and `progress` are called on it.
Result run(SCSIDrive& drive, Mode mode, std::optional<std::int64_t> maxBytes,
           const platform::Clock& clock, const ShouldStop& shouldStop, const Progress& progress);

Negotiation negotiate(SCSIDrive& drive, std::uint64_t totalBlocks, std::uint32_t blockSize,
                      std::optional<std::int64_t> maxBytes, double timeout,
                      const platform::Clock& clock);

/// The blocks tried during negotiation: the start, the middle, the last chunk.
std::vector<std::uint64_t> askedAt(std::uint64_t totalBlocks, std::uint64_t chunkBlocks);
std::int64_t readCount(Mode mode, std::uint64_t totalBlocks, std::uint64_t chunkBlocks);

/// The command block of one read, or nothing when READ (10) can't express it.
std::optional<Bytes> command(const Reads& reads, std::uint64_t lba, std::uint32_t blocks);
Bytes read10(std::uint32_t lba, std::uint16_t blocks);
Bytes read16(std::uint64_t lba, std::uint32_t blocks);

/// True when the read came back whole.
bool readsInFull(SCSIDrive& drive, const Reads& reads, Spot at, std::uint32_t blockSize);
/// Reads a range again in pieces of at most 64 KB: the first block of the first piece
/// that fails, or nothing when all read.
std::optional<std::uint64_t> firstUnreadable(SCSIDrive& drive, const Reads& reads, Spot at,
                                             std::uint32_t blockSize);

json::Object toJson(const Result& result);
json::Object toJson(const Reads& reads);
json::Object toJson(const ScanMap& map);
/// Nothing when the record isn't a scan result.
std::optional<Result> resultFromJson(const json::Object& value);

}  // namespace drivekit::surface_scan
