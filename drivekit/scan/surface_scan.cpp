#include "drivekit/scan/surface_scan.hpp"

#include "drivekit/core/text.hpp"
#include "drivekit/usb/read_capacity.hpp"

#include <array>
#include <chrono>

namespace drivekit::surface_scan {
namespace {

constexpr double readTimeout = 10.0;
constexpr double negotiationTimeout = 30.0;
constexpr double capacityTimeout = 4.0;
constexpr int largeChunk = 524'288;
constexpr int smallChunk = 65'536;
constexpr int leastChunk = 4096;
constexpr int largestPiece = 65'536;
constexpr int failuresThatStop = 8;
constexpr double progressInterval = 0.5;
constexpr std::uint64_t read10Blocks = 0xFFFF;
constexpr std::uint64_t read10Reach = 0xFFFF'FFFF;

const std::string sizeUnknown = "The enclosure didn't say how big the drive is.";
const std::string silentAtFirst =
    "The enclosure stopped answering Vantrel’s first read, so the drive wasn’t scanned. "
    "This says nothing about the drive itself.";
const std::string refusedAll =
    "The enclosure refused every way Vantrel reads a drive, so it can't be scanned through "
    "this enclosure. This says nothing about the drive itself.";
const std::string cancelledText = "Cancelled.";
const std::string eightInARow =
    "Eight reads in a row failed, though the drive still reads elsewhere. The scan stopped "
    "there to spare it.";
const std::string stoppedAnsweringText = "The enclosure stopped answering.";

using Steady = std::chrono::steady_clock::time_point;

double since(const platform::Clock& clock, Steady start) {
    return std::chrono::duration<double>(clock.steadyNow() - start).count();
}

struct Capacity {
    std::uint64_t totalBlocks = 0;
    std::uint32_t blockSize = 0;
};

std::optional<Capacity> readCapacity(SCSIDrive& drive) {
    // A one-block medium or blocks under 512 bytes are no disk to scan: ask the other form.
    const auto usable = [](const std::optional<ReadCapacity::Capacity>& c) -> std::optional<Capacity> {
        if (!c || c->blocks < 2 || c->blockLength < 512) return std::nullopt;
        return Capacity{c->blocks, c->blockLength};
    };
    if (const auto answer = drive.command(ReadCapacity::command16(), 32, capacityTimeout)) {
        if (auto capacity = usable(ReadCapacity::decode(*answer, true))) return capacity;
    }
    if (const auto answer = drive.command(ReadCapacity::command10(), 8, capacityTimeout)) {
        if (auto capacity = usable(ReadCapacity::decode(*answer, false))) return capacity;
    }
    return std::nullopt;
}

std::uint32_t blocksAt(std::uint64_t lba, std::uint64_t chunk, std::uint64_t totalBlocks) {
    return static_cast<std::uint32_t>(std::min(chunk, totalBlocks - lba));
}

bool read10Fits(std::uint64_t lba, std::uint64_t blocks) {
    return blocks <= read10Blocks && lba + blocks <= read10Reach;
}

/// Writes READ (10), or READ (16) when not `ten`, into `cdb` and gives its length.
std::size_t putRead(std::span<std::uint8_t, 16> cdb, std::uint64_t lba, std::uint32_t blocks, bool ten) {
    if (ten) {
        cdb[0] = 0x28;
        putBE(cdb, 2, lba, 4);
        putBE(cdb, 7, blocks, 2);
        return 10;
    }
    cdb[0] = 0x88;
    putBE(cdb, 2, lba, 8);
    putBE(cdb, 10, blocks, 4);
    return 16;
}

Bytes readCommand(std::uint64_t lba, std::uint32_t blocks, bool ten) {
    std::array<std::uint8_t, 16> cdb{};
    const std::size_t length = putRead(cdb, lba, blocks, ten);
    return Bytes(cdb.begin(), cdb.begin() + static_cast<std::ptrdiff_t>(length));
}

/// Sends one read; true when exactly the bytes asked came back.
bool sendRead(SCSIDrive& drive, const Reads& reads, Spot at, std::uint32_t blockSize, double timeout) {
    // Built on the stack: millions of reads must not allocate a command block each.
    std::array<std::uint8_t, 16> cdb{};
    const std::size_t length =
        putRead(cdb, at.lba, at.blocks, !reads.sixteen && read10Fits(at.lba, at.blocks));
    const auto want = static_cast<std::int64_t>(at.blocks) * blockSize;
    // Only the length counts: the data are never looked at.
    const auto answer = drive.commandLength(std::span(cdb.data(), length), want, timeout);
    return answer && *answer == want;
}

struct Held {
    std::int64_t read = 0;
    std::uint64_t lba = 0;
    double seconds = 0;
};

struct Tally {
    Result result;
    std::vector<std::uint64_t> regionBytes;
    std::vector<double> regionSeconds;
    int failuresInARow = 0;

    void time(std::int64_t read, double seconds) {
        result.readsDone = std::max(result.readsDone, read + 1);
        const double ms = seconds * 1000;
        if (read == 0) {
            result.warmUpMs = ms;
        } else {
            result.slowestMs = std::max(result.slowestMs, ms);
        }
    }

    void good(std::int64_t read, std::uint64_t bytes, double seconds) {
        time(read, seconds);
        const bool slow = read != 0 && seconds * 1000 > slowReadMs;
        if (slow) ++result.slowReads;
        result.bytesRead += bytes;
        failuresInARow = 0;
        ScanMap& map = *result.map;
        const int cell = map.region(read);
        if (map.count() == 0) return;
        const auto index = static_cast<std::size_t>(cell);
        regionBytes[index] += bytes;
        regionSeconds[index] += seconds;
        const std::optional<double> speed =
            regionSeconds[index] > 0
                ? std::optional(static_cast<double>(regionBytes[index]) / regionSeconds[index] / 1e6)
                : std::nullopt;
        map.record(cell, slow ? ScanMap::State::slow : ScanMap::State::fine, speed);
    }

    void failed(const Held& held) {
        time(held.read, held.seconds);
        ++result.failedReads;
        ++failuresInARow;
        if (result.unreadable.size() < unreadableKept) result.unreadable.push_back(held.lba);
        result.map->record(result.map->region(held.read), ScanMap::State::unreadable, std::nullopt);
    }
};

/// Turns the drive log's success lines off for the length of a scan, so that the ring
/// keeps its failures, and on again on every way out.
class QuietLog {
public:
    explicit QuietLog(DiagnosticsLog& log) : log_(log) { log_.setNotesSuccesses(false); }
    ~QuietLog() { log_.setNotesSuccesses(true); }
    QuietLog(const QuietLog&) = delete;
    QuietLog& operator=(const QuietLog&) = delete;

private:
    DiagnosticsLog& log_;
};

int ms(double seconds) { return static_cast<int>(seconds * 1000); }
unsigned long long ull(std::uint64_t value) { return value; }

}  // namespace

const char* modeName(Mode mode) noexcept { return mode == Mode::quick ? "quick" : "full"; }

std::string text(const Reads& reads) {
    return text::format("READ (%d), %d KB", reads.sixteen ? 16 : 10, reads.chunkBytes >> 10);
}

Bytes read10(std::uint32_t lba, std::uint16_t blocks) { return readCommand(lba, blocks, true); }
Bytes read16(std::uint64_t lba, std::uint32_t blocks) { return readCommand(lba, blocks, false); }

std::optional<Bytes> command(const Reads& reads, std::uint64_t lba, std::uint32_t blocks) {
    if (reads.sixteen) return read16(lba, blocks);
    if (!read10Fits(lba, blocks)) return std::nullopt;
    return read10(static_cast<std::uint32_t>(lba), static_cast<std::uint16_t>(blocks));
}

bool readsInFull(SCSIDrive& drive, const Reads& reads, Spot at, std::uint32_t blockSize) {
    return sendRead(drive, reads, at, blockSize, readTimeout);
}

std::optional<std::uint64_t> firstUnreadable(SCSIDrive& drive, const Reads& reads, Spot at,
                                             std::uint32_t blockSize) {
    const std::uint64_t piece =
        std::max<std::uint64_t>(1, static_cast<std::uint64_t>(std::min(reads.chunkBytes, largestPiece)) / blockSize);
    const std::uint64_t end = at.lba + at.blocks;
    for (std::uint64_t lba = at.lba; lba < end; lba += piece) {
        const Spot part{lba, blocksAt(lba, piece, end)};
        if (!readsInFull(drive, reads, part, blockSize)) {
            drive.log().note(text::format("scan: read at block %llu failed; again in pieces: block %llu unreadable",
                                         ull(at.lba), ull(lba)));
            return lba;
        }
    }
    drive.log().note(text::format("scan: read at block %llu failed; again in pieces: all read", ull(at.lba)));
    return std::nullopt;
}

std::vector<std::uint64_t> askedAt(std::uint64_t totalBlocks, std::uint64_t chunkBlocks) {
    chunkBlocks = std::max<std::uint64_t>(chunkBlocks, 1);
    if (totalBlocks <= chunkBlocks) return {0};
    std::vector<std::uint64_t> places;
    for (const std::uint64_t lba : {std::uint64_t{0}, (totalBlocks - chunkBlocks) / 2, totalBlocks - chunkBlocks}) {
        if (std::find(places.begin(), places.end(), lba) == places.end()) places.push_back(lba);
    }
    return places;
}

std::int64_t readCount(Mode mode, std::uint64_t totalBlocks, std::uint64_t chunkBlocks) {
    chunkBlocks = std::max<std::uint64_t>(chunkBlocks, 1);
    const std::uint64_t whole = totalBlocks / chunkBlocks + (totalBlocks % chunkBlocks != 0 ? 1 : 0);
    const std::uint64_t most = mode == Mode::quick ? static_cast<std::uint64_t>(quickMostReads) : INT64_MAX;
    return static_cast<std::int64_t>(std::min(whole, most));
}

Negotiation negotiate(SCSIDrive& drive, std::uint64_t totalBlocks, std::uint32_t blockSize,
                      std::optional<std::int64_t> maxBytes, double timeout,
                      const platform::Clock& clock) {
    std::vector<int> chunks;
    if (!maxBytes || *maxBytes >= largeChunk) chunks.push_back(largeChunk);
    if (!maxBytes || *maxBytes >= smallChunk) chunks.push_back(smallChunk);
    if (chunks.empty()) chunks.push_back(*maxBytes >= leastChunk ? static_cast<int>(*maxBytes) : smallChunk);

    // READ (10) first where it reaches the whole drive: old bridges know nothing else.
    const bool tenFirst = totalBlocks <= read10Reach;
    for (const bool sixteen : {!tenFirst, tenFirst}) {
        for (const int chunkBytes : chunks) {
            const Reads reads{sixteen, chunkBytes};
            const std::uint64_t chunk = std::max<std::uint64_t>(1, static_cast<std::uint64_t>(chunkBytes) / blockSize);
            for (const std::uint64_t lba : askedAt(totalBlocks, chunk)) {
                const Spot spot{lba, blocksAt(lba, chunk, totalBlocks)};
                if (!sixteen && !read10Fits(spot.lba, spot.blocks)) continue;
                const Steady start = clock.steadyNow();
                const bool whole = sendRead(drive, reads, spot, blockSize, timeout);
                const double seconds = since(clock, start);
                if (whole) {
                    drive.log().note(text::format("scan reads with %s (answered in %d ms)", text(reads).c_str(), ms(seconds)));
                    Negotiation found{Negotiation::Outcome::found, {reads, spot, std::nullopt}, {}};
                    if (lba == 0) {
                        found.found.first = FirstRead{static_cast<std::int64_t>(spot.blocks) * blockSize, seconds};
                    }
                    return found;
                }
                if (drive.stoppedAnswering()) {
                    drive.log().note(text::format(
                        "scan: the enclosure stopped answering %s (no answer in %d s); nothing more can "
                        "be asked until it's reset",
                        text(reads).c_str(), static_cast<int>(seconds)));
                    return {Negotiation::Outcome::stoppedAnswering, {}, reads};
                }
            }
            drive.log().note(text::format("scan: %s refused", text(reads).c_str()));
        }
    }
    return {};
}

Result run(SCSIDrive& drive, Mode mode, std::optional<std::int64_t> maxBytes,
           const platform::Clock& clock, const ShouldStop& shouldStop, const Progress& progress) {
    const QuietLog quiet(drive.log());
    const Steady started = clock.steadyNow();
    Tally tally;
    Result& result = tally.result;
    result.mode = mode;
    const auto finish = [&]() -> Result {
        result.seconds = since(clock, started);
        if (progress) progress(result);
        return std::move(result);
    };

    const std::optional<Capacity> capacity = readCapacity(drive);
    if (!capacity) {
        result.stopped = sizeUnknown;
        return finish();
    }
    result.totalBlocks = capacity->totalBlocks;
    result.blockSize = static_cast<int>(capacity->blockSize);
    const std::uint32_t blockSize = capacity->blockSize;
    const std::uint64_t totalBlocks = capacity->totalBlocks;

    const Negotiation negotiation = negotiate(drive, totalBlocks, blockSize, maxBytes, negotiationTimeout, clock);
    if (negotiation.outcome == Negotiation::Outcome::stoppedAnswering) {
        result.stalledOn = negotiation.stalledOn;
        result.stopped = silentAtFirst;
        return finish();
    }
    if (negotiation.outcome == Negotiation::Outcome::refused) {
        result.stopped = refusedAll;
        return finish();
    }
    const Negotiated& found = negotiation.found;
    const Reads reads = found.reads;
    const std::uint64_t chunk = std::max<std::uint64_t>(1, static_cast<std::uint64_t>(reads.chunkBytes) / blockSize);
    result.readsPlanned = readCount(mode, totalBlocks, chunk);
    result.map = ScanMap::make(result.readsPlanned);
    tally.regionBytes.assign(static_cast<std::size_t>(result.map->count()), 0);
    tally.regionSeconds.assign(static_cast<std::size_t>(result.map->count()), 0);
    result.reads = reads;
    Steady lastProgress = clock.steadyNow();

    std::int64_t read = 0;
    if (found.first) {
        tally.good(0, static_cast<std::uint64_t>(found.first->bytes), found.first->seconds);
        read = 1;
    }

    // Quick mode spreads its reads evenly over (totalBlocks - chunk): floor(span * i / (n - 1)),
    // computed as quotient and remainder so that no product can overflow.
    const std::uint64_t span = totalBlocks > chunk ? totalBlocks - chunk : 0;
    const std::uint64_t gaps = result.readsPlanned > 1 ? static_cast<std::uint64_t>(result.readsPlanned - 1) : 1;
    const std::uint64_t step = span / gaps;
    const std::uint64_t leftover = span % gaps;

    std::vector<Held> held;
    held.reserve(failuresThatStop);
    bool inARow = false;
    for (; read < result.readsPlanned; ++read) {
        if (shouldStop && shouldStop()) {
            result.stopped = cancelledText;
            result.cancelled = true;
            break;
        }
        const auto i = static_cast<std::uint64_t>(read);
        const std::uint64_t lba =
            mode == Mode::full ? i * chunk : (result.readsPlanned < 2 ? 0 : step * i + leftover * i / gaps);
        const Spot spot{lba, blocksAt(lba, chunk, totalBlocks)};
        const Steady start = clock.steadyNow();
        bool good = readsInFull(drive, reads, spot, blockSize);
        std::optional<std::uint64_t> bad;
        if (!good) {
            if (drive.stoppedAnswering()) {
                // No pieces on a silent enclosure: they would only pile up time-outs.
                held.push_back({read, lba, since(clock, start)});
                break;
            }
            bad = firstUnreadable(drive, reads, spot, blockSize);
            good = !bad;
        }
        const double seconds = since(clock, start);
        if (good) {
            for (const Held& failure : held) tally.failed(failure);
            held.clear();
            tally.good(read, static_cast<std::uint64_t>(spot.blocks) * blockSize, seconds);
        } else {
            held.push_back({read, *bad, seconds});
            if (held.size() >= failuresThatStop) {
                inARow = true;
                break;
            }
        }
        if (progress && since(clock, lastProgress) > progressInterval) {
            lastProgress = clock.steadyNow();
            result.seconds = since(clock, started);
            progress(result);
        }
    }

    if (!held.empty()) {
        bool answered = false;
        if (!drive.stoppedAnswering()) {
            answered = readsInFull(drive, reads, found.spot, blockSize);
            drive.log().note(text::format("scan: %zu failed reads; block %llu, read before, read again: %s", held.size(),
                                         ull(found.spot.lba),
                                         answered ? "it answered" : "no answer, so they're not counted"));
        }
        if (answered) {
            for (const Held& failure : held) tally.failed(failure);
            if (inARow) result.stopped = eightInARow;
        } else if (!result.stopped) {
            result.stopped = stoppedAnsweringText;
        }
    }
    return finish();
}

json::Object toJson(const Reads& reads) {
    json::Object object;
    object["sixteen"] = reads.sixteen;
    object["chunkBytes"] = reads.chunkBytes;
    return object;
}

json::Object toJson(const ScanMap& map) {
    json::Object object;
    object["readsPlanned"] = map.readsPlanned;
    object["states"] = map.states;
    object["mbps"] = map.mbps;
    return object;
}

json::Object toJson(const Result& result) {
    json::Object object;
    object["mode"] = modeName(result.mode);
    object["totalBlocks"] = result.totalBlocks;
    object["blockSize"] = result.blockSize;
    object["readsPlanned"] = result.readsPlanned;
    object["readsDone"] = result.readsDone;
    object["bytesRead"] = result.bytesRead;
    object["unreadable"] = result.unreadable;
    object["slowReads"] = result.slowReads;
    object["slowestMs"] = result.slowestMs;
    object["seconds"] = result.seconds;
    json::putOptional(object, "stopped", result.stopped);
    object["failedReads"] = result.failedReads;
    json::putOptional(object, "warmUpMs", result.warmUpMs);
    if (result.map) object["map"] = toJson(*result.map);
    if (result.reads) object["reads"] = toJson(*result.reads);
    if (result.stalledOn) object["stalledOn"] = toJson(*result.stalledOn);
    json::putOptional(object, "cancelled", result.cancelled);
    return object;
}

namespace {

template <typename T>
bool take(const json::Object& object, const char* key, T& into) {
    const auto it = object.find(key);
    if (it == object.end()) return false;
    try {
        into = it->get<T>();
        return true;
    } catch (const nlohmann::json::exception&) {
        return false;
    }
}

std::optional<Reads> readsFromJson(const json::Object& object, const char* key) {
    const auto it = object.find(key);
    if (it == object.end() || !it->is_object()) return std::nullopt;
    Reads reads;
    if (!take(*it, "sixteen", reads.sixteen) || !take(*it, "chunkBytes", reads.chunkBytes)) return std::nullopt;
    return reads;
}

}  // namespace

std::optional<Result> resultFromJson(const json::Object& value) {
    if (!value.is_object()) return std::nullopt;
    Result result;
    std::string mode;
    if (!take(value, "mode", mode) || (mode != "quick" && mode != "full")) return std::nullopt;
    result.mode = mode == "quick" ? Mode::quick : Mode::full;
    const bool whole = take(value, "totalBlocks", result.totalBlocks) && take(value, "blockSize", result.blockSize) &&
                       take(value, "readsPlanned", result.readsPlanned) &&
                       take(value, "readsDone", result.readsDone) && take(value, "bytesRead", result.bytesRead) &&
                       take(value, "unreadable", result.unreadable) && take(value, "slowReads", result.slowReads) &&
                       take(value, "slowestMs", result.slowestMs) && take(value, "seconds", result.seconds) &&
                       take(value, "failedReads", result.failedReads);
    if (!whole) return std::nullopt;
    if (std::string stopped; take(value, "stopped", stopped)) result.stopped = stopped;
    if (double warm = 0; take(value, "warmUpMs", warm)) result.warmUpMs = warm;
    if (bool cancelled = false; take(value, "cancelled", cancelled)) result.cancelled = cancelled;
    result.reads = readsFromJson(value, "reads");
    result.stalledOn = readsFromJson(value, "stalledOn");
    if (const auto it = value.find("map"); it != value.end() && it->is_object()) {
        ScanMap map;
        if (take(*it, "readsPlanned", map.readsPlanned) && take(*it, "states", map.states) &&
            take(*it, "mbps", map.mbps) && map.states.size() == map.mbps.size()) {
            result.map = std::move(map);
        }
    }
    return result;
}

}  // namespace drivekit::surface_scan
