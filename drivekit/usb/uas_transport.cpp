#include "drivekit/usb/uas_transport.hpp"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "drivekit/core/text.hpp"

namespace drivekit {
namespace {

// Streams are allocated per endpoint in a group; the transport only ever uses stream 1,
// but some host controllers won't set up a stream context array for a single stream.
constexpr std::uint32_t streamsWanted = 2;
// After the status came, a data read that is still queued gets this long to finish;
// without a status, only a glance.
constexpr double dataWaitAfterStatus = 0.5;
constexpr double dataWaitWithoutStatus = 0.1;
// Cancelled reads are looked for every 10 ms, for up to 2 s.
constexpr double drainLook = 0.01;
constexpr int drainLooks = 200;

std::mutex aliveLock;
std::size_t transportsAlive = 0;

const char* pipeName(int id) {
    switch (id) {
        case UAS::commandPipe:
            return "command";
        case UAS::statusPipe:
            return "status";
        case UAS::dataInPipe:
            return "data-in";
        case UAS::dataOutPipe:
            return "data-out";
        default:
            return "unknown";
    }
}

std::uint32_t returnCode(const platform::USBTransfer& transfer) {
    return transfer.error ? static_cast<std::uint32_t>(transfer.error->code) : 0;
}

UASTransport::Timing withDefaults(UASTransport::Timing timing) {
    if (!timing.wait) {
        timing.wait = [](UASSignal& signal, double seconds) { return signal.waitFor(seconds); };
    }
    if (!timing.pause) {
        timing.pause = [](double seconds) {
            std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
        };
    }
    return timing;
}

}  // namespace

std::string UASFailure::text() const {
    switch (kind) {
        case Kind::setup:
            return "UAS setup: " + detail;
        case Kind::transport:
            return "UAS transfer: " + detail;
        case Kind::timeout:
            return "UAS timed out waiting for " + detail + ".";
        case Kind::status:
            return text::format("The enclosure rejected the command (SCSI status %d).", status);
        case Kind::notUAS:
            return "No UAS setting.";
    }
    return "UAS transfer: " + detail;
}

void UASSignal::raise() {
    {
        std::lock_guard lock(mutex_);
        raised_ = true;
    }
    changed_.notify_all();
}

bool UASSignal::raised() const {
    std::lock_guard lock(mutex_);
    return raised_;
}

bool UASSignal::waitFor(double seconds) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::duration<double>(std::max(0.0, seconds)),
                             [this] { return raised_; });
}

namespace UAS {

std::array<std::uint8_t, commandIULength> commandIUFor(ByteView cdb, std::uint8_t lun) {
    std::array<std::uint8_t, commandIULength> iu{};
    iu[0] = commandIU;
    iu[9] = lun;
    iu[2] = static_cast<std::uint8_t>(tag >> 8);
    iu[3] = static_cast<std::uint8_t>(tag & 0xFF);
    const std::size_t length = std::min<std::size_t>(cdb.size(), 16);
    std::copy_n(cdb.begin(), length, iu.begin() + 16);
    return iu;
}

std::uint8_t statusOf(ByteView iu) {
    if (iu.empty() || iu[0] != senseIU || iu.size() < 7) return 0xFF;
    return iu[6];
}

}  // namespace UAS

// The requests queued on streams that haven't completed. A completion lowers it after
// its own work, so zero means no handler will touch a buffer of ours again.
struct UASTransport::InFlight {
    std::mutex lock;
    int count = 0;

    void raise() {
        std::lock_guard guard(lock);
        ++count;
    }
    void lower() {
        std::lock_guard guard(lock);
        --count;
    }
    int now() {
        std::lock_guard guard(lock);
        return count;
    }
};

// What the completions of one command fill in. Held by the handlers too, so that a late
// completion after a time-out writes into this dead command's record and nowhere else.
struct UASTransport::Exchange {
    std::mutex lock;
    std::uint32_t statusReturn = 0;
    std::size_t statusBytes = 0;
    std::uint32_t dataReturn = 0;
    std::size_t dataBytes = 0;
    UASSignal statusDone;
    UASSignal dataDone;
};

UASTransport::UASTransport(platform::USBDevice& device, DiagnosticsLog& log, Timing timing)
    : device_(device),
      log_(log),
      inFlight_(std::make_shared<InFlight>()),
      buffers_(deviceMemory(&device, log, "UAS")),
      timing_(withDefaults(std::move(timing))) {}

UASTransport::~UASTransport() {
    std::lock_guard lock(aliveLock);
    --transportsAlive;
}

std::size_t UASTransport::alive() {
    std::lock_guard lock(aliveLock);
    return transportsAlive;
}

Result<std::unique_ptr<UASTransport>, UASFailure> UASTransport::make(platform::USBDevice& device,
                                                                     const PipeTable& pipes,
                                                                     DiagnosticsLog& log,
                                                                     Timing timing) {
    std::unique_ptr<UASTransport> transport(new UASTransport(device, log, std::move(timing)));
    if (auto failure = transport->setup(pipes)) return Unexpected(std::move(*failure));
    return transport;
}

UASTransport::Maker UASTransport::maker(Timing timing) {
    return [timing](platform::USBDevice& device, const PipeTable& pipes,
                    DiagnosticsLog& log) -> Result<std::unique_ptr<UASLink>, std::string> {
        auto made = make(device, pipes, log, timing);
        if (!made) return Unexpected(made.error().text());
        return std::unique_ptr<UASLink>(std::move(made).value());
    };
}

std::optional<UASFailure> UASTransport::setup(const PipeTable& table) {
    std::size_t earlier = 0;
    {
        std::lock_guard lock(aliveLock);
        earlier = transportsAlive++;
    }
    log_.note(text::format("UAS: earlier transports still alive in this run: %zu", earlier));

    // On Linux an endpoint of the selected setting is a pipe as it stands; what can be
    // missing is the Pipe Usage descriptor that names it.
    std::uint8_t* const fields[] = {&pipes_.command, &pipes_.status, &pipes_.dataIn,
                                    &pipes_.dataOut};
    for (int id = UAS::commandPipe; id <= UAS::dataOutPipe; ++id) {
        const auto found = table.find(id);
        if (found == table.end())
            return UASFailure::setup(std::string("no ") + pipeName(id) + " pipe");
        *fields[id - 1] = found->second;
    }

    const std::uint8_t streamed[] = {pipes_.status, pipes_.dataIn, pipes_.dataOut};
    const auto allocated = device_.allocateStreams(streamsWanted, streamed);
    std::string why;
    if (!allocated) {
        why = allocated.error().description;
    } else if (*allocated < UAS::streamID) {
        why = "no stream given";
        (void)device_.freeStreams(streamed);
    }
    if (!why.empty()) {
        log_.note("UAS: streams unavailable (" + why + "); High-Speed UAS isn't supported yet");
        return UASFailure::setup("streams: " + why);
    }
    streamsOn_ = true;
    log_.note("UAS: streams on");
    return std::nullopt;
}

std::optional<platform::USBError> UASTransport::queueRead(std::uint8_t endpoint,
                                                          std::span<std::uint8_t> into,
                                                          const std::shared_ptr<Exchange>& exchange,
                                                          bool isStatus) {
    inFlight_->raise();
    const auto queued = device_.submitStreamTransfer(
        endpoint, UAS::streamID, into,
        [exchange, inFlight = inFlight_, isStatus](const platform::USBTransfer& done) {
            {
                std::lock_guard lock(exchange->lock);
                (isStatus ? exchange->statusReturn : exchange->dataReturn) = returnCode(done);
                (isStatus ? exchange->statusBytes : exchange->dataBytes) = done.transferred;
            }
            (isStatus ? exchange->statusDone : exchange->dataDone).raise();
            inFlight->lower();
        });
    if (queued) return std::nullopt;
    inFlight_->lower();
    return queued.error();
}

bool UASTransport::drained() {
    for (int look = 0; inFlight_->now() > 0; ++look) {
        if (look == drainLooks) return false;
        timing_.pause(drainLook);
    }
    return true;
}

void UASTransport::abortRead(std::uint8_t endpoint, const std::string& name) {
    if (const auto cancelled = device_.cancelStreamTransfers(endpoint, UAS::streamID); !cancelled) {
        log_.note("UAS: abort " + name + ": " + cancelled.error().description);
    }
    if (!drained()) wedge(name + " read didn't come back after abort");
}

void UASTransport::wedge(const std::string& reason) {
    wedged_ = true;
    log_.note("UAS: " + reason +
              "; no more commands, and the streams stay up until Linux resets the drive");
}

Result<Bytes, UASFailure> UASTransport::send(ByteView cdb, std::int64_t dataIn,
                                             double timeoutSeconds) {
    if (wedged_) return Unexpected(UASFailure::transport("an earlier command didn't finish"));
    if (!streamsOn_) return Unexpected(UASFailure::setup("streams"));

    const std::string opcode = text::format("%02X", cdb.empty() ? 0u : unsigned{cdb[0]});
    const auto status = buffers_.buffer("status", UAS::statusBufferLength);
    const bool hasData = dataIn >= 1;
    const auto data = hasData ? buffers_.buffer("data", static_cast<std::size_t>(dataIn))
                              : std::span<std::uint8_t>{};
    const auto exchange = std::make_shared<Exchange>();

    if (auto error = queueRead(pipes_.status, status, exchange, true)) {
        log_.note("UAS cmd " + opcode + ": queue status: " + error->description);
        return Unexpected(UASFailure::transport(error->description));
    }
    if (hasData) {
        if (auto error = queueRead(pipes_.dataIn, data, exchange, false)) {
            log_.note("UAS cmd " + opcode + ": queue data: " + error->description);
            abortRead(pipes_.status, "status");
            return Unexpected(UASFailure::transport(error->description));
        }
    }

    const auto iu = UAS::commandIUFor(cdb, lun_);
    const auto command = buffers_.buffer("command", UAS::commandIULength);
    std::copy(iu.begin(), iu.end(), command.begin());
    const platform::USBTransfer sent =
        device_.bulkTransfer(pipes_.command, command, timeoutSeconds);
    if (!sent.ok()) {
        log_.note("UAS cmd " + opcode + ": command IU: " + sent.error->description);
        wedge("cmd " + opcode + ": command IU failed");
        return Unexpected(UASFailure::transport(sent.error->description));
    }

    const bool statusCame = timing_.wait(exchange->statusDone, timeoutSeconds);
    const bool dataCame =
        !hasData ||
        timing_.wait(exchange->dataDone, statusCame ? dataWaitAfterStatus : dataWaitWithoutStatus);

    std::uint32_t statusReturn = 0;
    std::size_t statusBytes = 0;
    std::uint32_t dataReturn = 0;
    std::size_t dataBytes = 0;
    {
        std::lock_guard lock(exchange->lock);
        statusReturn = exchange->statusReturn;
        statusBytes = std::min(exchange->statusBytes, status.size());
        dataReturn = exchange->dataReturn;
        dataBytes = std::min(exchange->dataBytes, data.size());
    }
    const std::string exchangeLine =
        text::format("UAS cmd %s: status %s (0x%08X, %zu bytes), data %s (0x%08X, %zu bytes)",
                     opcode.c_str(), statusCame ? "done" : "none", statusReturn, statusBytes,
                     dataCame ? "done" : "none", dataReturn, dataBytes);

    bool lineNoted = false;
    Bytes answer;
    if (statusCame && statusReturn == 0 && dataCame) {
        answer.assign(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(dataBytes));
    } else {
        log_.note(exchangeLine);
        lineNoted = true;
        if (!statusCame) {
            wedge("cmd " + opcode + ": no status");
            return Unexpected(UASFailure::timeout("status"));
        }
        if (statusReturn != 0) {
            wedge("cmd " + opcode + ": status read failed");
            return Unexpected(
                UASFailure::transport(text::format("status read 0x%08X", statusReturn)));
        }
        // A good status with the data read still queued: the device sent what it had.
        // The read is cancelled so that its buffer is ours again; the answer is empty.
        abortRead(pipes_.dataIn, "data-in");
    }

    if (statusBytes <= 7) {
        if (!lineNoted) log_.note(exchangeLine);
        log_.note(
            text::format("UAS cmd %s: short status (%zu bytes)", opcode.c_str(), statusBytes));
        return Unexpected(UASFailure::transport("short status"));
    }
    const std::uint8_t scsiStatus = UAS::statusOf(ByteView(status.data(), statusBytes));
    const auto resultLine = [&] {
        return text::format("UAS cmd %s: IU %02X, status %d, %zu bytes", opcode.c_str(),
                            unsigned{status[0]}, scsiStatus, answer.size());
    };
    if (scsiStatus != 0) {
        if (!lineNoted) log_.note(exchangeLine);
        log_.note(resultLine());
        return Unexpected(UASFailure::rejected(scsiStatus));
    }
    log_.noteSuccess([&] { return exchangeLine; });
    log_.noteSuccess(resultLine);
    return answer;
}

bool UASTransport::close() {
    if (wedged_) return false;
    if (!drained()) return false;
    if (streamsOn_) {
        streamsOn_ = false;
        const std::pair<std::uint8_t, const char*> streamed[] = {
            {pipes_.status, "status"}, {pipes_.dataIn, "data-in"}, {pipes_.dataOut, "data-out"}};
        for (const auto& [endpoint, name] : streamed) {
            const std::uint8_t one[] = {endpoint};
            if (const auto freed = device_.freeStreams(one); !freed) {
                log_.note(std::string("UAS: disable ") + name + " streams: " + freed.error().description);
            }
        }
    }
    buffers_.empty();
    return true;
}

}  // namespace drivekit
