#include "drivekit/usb/captured_usb_drive.hpp"

#include <algorithm>
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>

#include "drivekit/core/text.hpp"
#include "drivekit/usb/bot.hpp"
#include "drivekit/usb/usb_descriptors.hpp"
#include "drivekit/usb/usb_error_text.hpp"
#include "platform/scsi_command_policy.hpp"

namespace drivekit {
namespace {

using Kind = CaptureFailure::Kind;

constexpr int nubLooks = 30;
constexpr double nubLookInterval = 0.1;
constexpr int interfaceOpenAttempts = 16;
constexpr double interfaceOpenRetryWait = 0.25;
constexpr double afterBulkOnlySelection = 0.05;
constexpr double afterUASSelection = 0.1;
constexpr double afterSetup = 0.1;
constexpr double controlTimeout = 5.0;

// Bulk-Only class requests on the control pipe.
constexpr platform::USBControlRequest massStorageReset(std::uint8_t interface) {
    return {0x21, 0xFF, 0, interface};
}
constexpr platform::USBControlRequest getMaxLUN(std::uint8_t interface) {
    return {0xA1, 0xFE, 0, interface};
}

// A capture whose UAS transport wouldn't close: what it held stays alive until the
// process ends, when the device's destructor resets it and gives it back.
struct KeptOpen {
    std::unique_ptr<platform::USBDevice> device;
    std::unique_ptr<UASLink> uas;
    std::unique_ptr<IOBufferPool> pool;
    std::shared_ptr<DiagnosticsLog> log;
};

struct ProcessState {
    std::mutex keptOpenLock;
    std::vector<KeptOpen> keptOpen;
    std::mutex latestLogLock;
    std::shared_ptr<DiagnosticsLog> latestLog;
};

ProcessState& processState() {
    static ProcessState state;
    return state;
}

std::shared_ptr<DiagnosticsLog> newRegisteredLog() {
    auto log = std::make_shared<DiagnosticsLog>(CapturedUSBDrive::logCapacity);
    ProcessState& state = processState();
    std::lock_guard lock(state.latestLogLock);
    state.latestLog = log;
    return log;
}

std::string okOrMissing(const std::optional<std::uint8_t>& pipe) {
    return pipe ? "ok" : "missing";
}

}  // namespace

CapturedUSBDrive::CapturedUSBDrive(platform::USBDevice* device,
                                   std::unique_ptr<platform::USBDevice> owned, Options options)
    : ownedDevice_(std::move(owned)),
      device_(device),
      log_(newRegisteredLog()),
      ownsDevice_(ownedDevice_ != nullptr),
      options_(std::move(options)) {
    if (!options_.makeUAS) options_.makeUAS = UASTransport::maker();
}

CapturedUSBDrive::~CapturedUSBDrive() { release(); }

Result<std::unique_ptr<CapturedUSBDrive>, CaptureFailure> CapturedUSBDrive::capture(
    platform::USBHost& host, std::uint32_t locationID, Options options) {
    return capture(host, platform::USBTarget{locationID, {}, {}, {}, 0}, std::move(options));
}

Result<std::unique_ptr<CapturedUSBDrive>, CaptureFailure> CapturedUSBDrive::capture(
    platform::USBHost& host, const platform::USBTarget& target, Options options) {
    // The log exists, and is the latest, before anything can fail.
    std::unique_ptr<CapturedUSBDrive> drive(new CapturedUSBDrive(nullptr, nullptr, options));
    if (!host.privileged()) return Unexpected(CaptureFailure::of(Kind::notRoot));
    drive->wantedInterface_ = target.interfaceNumber;
    drive->lun_ = target.lun;

    auto opened = host.open(target.locationID);
    if (!opened) {
        const platform::USBError& error = opened.error();
        if (error.kind == platform::USBError::Kind::notFound ||
            error.kind == platform::USBError::Kind::gone) {
            return Unexpected(CaptureFailure::of(Kind::deviceNotFound));
        }
        return Unexpected(CaptureFailure::captureFailed(error.description));
    }
    drive->ownedDevice_ = std::move(opened).value();
    drive->device_ = drive->ownedDevice_.get();
    drive->ownsDevice_ = true;
    // Between discovery and now the drive may have been unplugged and another device
    // plugged in at the same place: it would have a new address, and is not taken.
    if (target.busNumber && target.deviceAddress) {
        const auto address = drive->device_->busAndAddress();
        if (address && (address->first != *target.busNumber || address->second != *target.deviceAddress)) {
            drive->log_->note(text::format("device at bus %d address %d, expected %d/%d",
                                           address->first, address->second, *target.busNumber,
                                           *target.deviceAddress));
            drive->release();
            return Unexpected(CaptureFailure::of(Kind::deviceNotFound));
        }
    }

    if (auto failure = drive->setup()) {
        drive->release();
        return Unexpected(std::move(*failure));
    }
    return drive;
}

Result<std::unique_ptr<CapturedUSBDrive>, CaptureFailure> CapturedUSBDrive::adopt(
    platform::USBDevice& device, Options options) {
    std::unique_ptr<CapturedUSBDrive> drive(new CapturedUSBDrive(&device, nullptr, options));
    if (auto failure = drive->setup()) {
        drive->release();  // gives the interface back and leaves the device to its opener
        return Unexpected(std::move(*failure));
    }
    return drive;
}

void CapturedUSBDrive::sleep(double seconds) const {
    if (options_.sleep) {
        options_.sleep(seconds);
    } else {
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    }
}

std::optional<std::uint8_t> CapturedUSBDrive::findInterfaceNub() {
    const auto descriptor = device_->configurationDescriptor();
    if (!descriptor) return std::nullopt;
    const auto configuration = USBDescriptors::parse(*descriptor);
    if (!configuration) return std::nullopt;
    if (wantedInterface_) {
        // The interface the disk hangs under, and only if it is mass storage: a device
        // with two such interfaces has two disks, and the other one isn't ours to take.
        const bool massStorage =
            configuration->firstMassStorage(*wantedInterface_, USBDescriptors::bulkOnlyProtocol) ||
            configuration->firstMassStorage(*wantedInterface_, USBDescriptors::uasProtocol);
        return massStorage ? wantedInterface_ : std::nullopt;
    }
    return USBDescriptors::massStorageInterface(*configuration);
}

std::optional<CaptureFailure> CapturedUSBDrive::setup() {
    DiagnosticsLog& log = *log_;

    // The mass-storage interface; a device we opened ourselves gets its configuration
    // set first, one handed to us is looked at as it stands.
    std::optional<std::uint8_t> nub;
    if (!ownsDevice_) nub = findInterfaceNub();
    if (!nub) {
        const auto current = device_->configurationDescriptor();
        const std::uint8_t value = current && current->size() > 5 ? (*current)[5] : 1;
        if (const auto configured = device_->setConfiguration(value); !configured) {
            log.note("configure: " + codeText(configured.error()));
        }
        for (int look = 0; look < nubLooks && !nub; ++look) {
            sleep(nubLookInterval);
            nub = findInterfaceNub();
        }
    }
    log.note(nub ? "interface nub: found" : "interface nub: none");
    if (lun_ != 0) log.note(text::format("LUN %d", lun_));
    log.note(text::format("captures kept open in this run (streams left for Linux to reset): %zu",
                          keptOpenCount()));
    if (!nub) return CaptureFailure::of(Kind::noMassStorageInterface);

    if (auto failure = openInterface(*nub)) return failure;
    interface_ = *nub;
    const std::uint8_t number = *nub;

    const auto descriptor = device_->configurationDescriptor();
    const auto configuration =
        descriptor ? USBDescriptors::parse(*descriptor) : std::optional<USBDescriptors::Configuration>{};
    if (!configuration) return CaptureFailure::of(Kind::noMassStorageInterface);
    std::uint8_t alternate = device_->alternateSetting().value_or(0);

    const auto* bulkOnly = configuration->firstMassStorage(number, USBDescriptors::bulkOnlyProtocol);
    // Copied: the selections below don't change the configuration, but the pointer
    // shouldn't outlive a re-read either. A plain value and a flag rather than an
    // optional: GCC 12 at -O3 takes the optional's payload for uninitialized.
    const bool hasBulkOnly = bulkOnly != nullptr;
    const USBDescriptors::Interface bulkOnlySetting =
        hasBulkOnly ? *bulkOnly : USBDescriptors::Interface{};

    {
        const auto* current = configuration->find(number, alternate);
        const USBDescriptors::Interface shown =
            current ? *current : USBDescriptors::Interface{number, alternate, 0, 0, 0, {}};
        log.note(text::format("interface %d: class %02X subclass %02X protocol %02X, alt %d",
                              shown.number, shown.interfaceClass, shown.subclass, shown.protocol,
                              alternate));
        for (const auto* setting : configuration->alternates(number)) {
            std::string line = text::format("  alt %d protocol %02X endpoints ",
                                             setting->alternate, setting->protocol);
            for (std::size_t i = 0; i < setting->endpoints.size(); ++i) {
                const auto& endpoint = setting->endpoints[i];
                if (i > 0) line += ' ';
                line += text::format("%02X/%d/%d", endpoint.address, endpoint.transferType(),
                                     endpoint.maxPacketSize);
            }
            log.note(line);
        }
    }

    if (const auto* uasSetting = configuration->firstMassStorage(number, USBDescriptors::uasProtocol);
        uasSetting) {
        if (tryUAS(*descriptor, number, uasSetting->alternate, hasBulkOnly,
                   hasBulkOnly ? bulkOnlySetting.alternate : 0)) {
            return std::nullopt;
        }
        alternate = device_->alternateSetting().value_or(alternate);
    }

    if (!hasBulkOnly) return CaptureFailure::of(Kind::noBulkOnlySetting);
    log.note(text::format("Bulk-Only setting: alt %d", bulkOnlySetting.alternate));
    if (bulkOnlySetting.alternate != alternate) {
        if (const auto selected = device_->selectAlternateSetting(bulkOnlySetting.alternate); !selected) {
            return CaptureFailure::transport("select Bulk-Only setting: " + selected.error().description);
        }
    }

    // On Linux an endpoint of the claimed setting is a pipe as it stands; nothing to open.
    for (const auto& endpoint : bulkOnlySetting.endpoints) {
        if (endpoint.transferType() != USBDescriptors::bulkTransferType) continue;
        (endpoint.isIn() ? bulkIn_ : bulkOut_) = endpoint.address;
        log.note(text::format("pipe %02X: max packet %d", endpoint.address, endpoint.maxPacketSize));
    }
    log.note("pipes: in " + okOrMissing(bulkIn_) + ", out " + okOrMissing(bulkOut_));
    if (!bulkIn_ || !bulkOut_) return CaptureFailure::of(Kind::pipes);
    log.note(text::format("now at alt %d", device_->alternateSetting().value_or(0)));

    const auto reset = device_->controlTransfer(massStorageReset(number), {}, controlTimeout);
    log.note(reset.ok() ? std::string("mass storage reset: ok")
                        : "mass storage reset: " + codeText(*reset.error));
    if (const auto cleared = device_->clearHalt(*bulkOut_); !cleared) {
        log.note("clear out: " + codeText(cleared.error()));
    }
    if (const auto cleared = device_->clearHalt(*bulkIn_); !cleared) {
        log.note("clear in: " + codeText(cleared.error()));
    }

    std::uint8_t maxLUN[1] = {0};
    const auto lun = device_->controlTransfer(getMaxLUN(number), maxLUN, controlTimeout);
    if (lun.ok()) {
        log.note(text::format("max LUN: %d", lun.transferred > 0 ? maxLUN[0] : 0));
    } else {
        log.note("max LUN: " + codeText(*lun.error));
    }
    sleep(afterSetup);
    return std::nullopt;
}

std::optional<CaptureFailure> CapturedUSBDrive::openInterface(std::uint8_t number) {
    DiagnosticsLog& log = *log_;
    std::optional<platform::USBError> lastError;
    for (int attempt = 0; attempt < interfaceOpenAttempts; ++attempt) {
        const auto claimed = device_->claimInterface(number, false);
        if (claimed) {
            if (attempt > 0) log.note(text::format("interface open: ok after %d retries", attempt));
            return std::nullopt;
        }
        if (isNotPermitted(claimed.error())) {
            log.note("interface open: " + codeText(claimed.error()));
            return CaptureFailure::of(Kind::notAllowed);
        }
        lastError = claimed.error();
        sleep(interfaceOpenRetryWait);
    }
    log.note("interface open: " + codeText(*lastError));
    if (const auto seized = device_->claimInterface(number, true); !seized) {
        log.note("interface open with seize: " + codeText(seized.error()));
        return CaptureFailure::captureFailed("interface: " + lastError->description);
    }
    log.note("interface open with seize: ok");
    return std::nullopt;
}

bool CapturedUSBDrive::tryUAS(const Bytes& descriptor, std::uint8_t number,
                              std::uint8_t uasAlternate, bool hasBulkOnly,
                              std::uint8_t bulkOnlyAlternate) {
    DiagnosticsLog& log = *log_;
    // Standing on the UAS setting already, go through Bulk-Only first so that the
    // device sees a fresh selection and starts with clean streams.
    if (hasBulkOnly && device_->alternateSetting() == uasAlternate) {
        (void)device_->selectAlternateSetting(bulkOnlyAlternate);
        sleep(afterBulkOnlySelection);
    }
    std::string why;
    if (const auto selected = device_->selectAlternateSetting(uasAlternate); !selected) {
        why = selected.error().description;
    } else {
        sleep(afterUASSelection);
        log.note(text::format("UAS setting selected: alt %d",
                              device_->alternateSetting().value_or(uasAlternate)));
        const auto pipes = USBDescriptors::pipeTable(descriptor, number, uasAlternate);
        std::string line = "UAS pipes: ";
        for (const auto& [id, address] : pipes) {
            if (line.back() != ' ') line += ' ';
            line += text::format("%d→%02X", id, address);
        }
        log.note(line);
        auto made = options_.makeUAS(*device_, pipes, log);
        if (made) {
            uas_ = std::move(made).value();
            uas_->addressLUN(lun_);
            return true;
        }
        why = made.error();
    }
    log.note("UAS: " + why + "; trying Bulk-Only");
    uas_.reset();
    return false;
}

Result<Bytes, CaptureFailure> CapturedUSBDrive::send(ByteView cdb, std::int64_t dataIn,
                                                     double timeoutSeconds) {
    if (const auto decision = platform::CommandPolicy::judge(cdb); !decision.allowed) {
        log_->note("Command refused, not sent: " + decision.what);
        return Unexpected(CaptureFailure::of(Kind::commandRefused));
    }
    if (uas_) {
        auto answer = uas_->send(cdb, dataIn, timeoutSeconds);
        if (answer) return std::move(answer).value();
        // The UAS transport words its own failures; they pass through unchanged.
        return Unexpected(CaptureFailure::uas(answer.error().text(), answer.error().status));
    }
    if (!ioBuffers_) {
        ioBuffers_ = std::make_unique<IOBufferPool>(
            deviceMemory(interface_ ? device_ : nullptr, *log_, "Bulk-Only"));
    }
    return BOT::send(BOT::Pipes{device_, bulkIn_, bulkOut_, lun_}, tag_, cdb, dataIn, timeoutSeconds,
                     *ioBuffers_, *log_);
}

SCSIDrive::Answer CapturedUSBDrive::command(ByteView cdb, std::int64_t dataIn,
                                            double timeoutSeconds) {
    auto answer = send(cdb, dataIn, timeoutSeconds);
    if (!answer) return Unexpected(SCSIDrive::Failure{answer.error().text()});
    return std::move(answer).value();
}

bool CapturedUSBDrive::stoppedAnswering() const { return uas_ && uas_->wedged(); }

void CapturedUSBDrive::release() {
    if (released_) return;
    released_ = true;

    if (uas_ && !uas_->close()) {
        // A transport that won't close has transfers the device will never finish. A port
        // reset ends them all (their completions run with an error), and the interface
        // goes back to the kernel at once: the drive is never held while the check waits
        // for it. The objects stay alive for the rest of the run, so that a completion
        // that still comes late finds its memory.
        log_->note("UAS: left open; resetting the device and giving it back");
        if (device_ != nullptr) {
            if (const auto reset = device_->reset(); !reset) {
                log_->note("UAS: reset: " + reset.error().description);
            }
            if (interface_) device_->releaseInterface();
        }
        ProcessState& state = processState();
        std::lock_guard lock(state.keptOpenLock);
        state.keptOpen.push_back(
            KeptOpen{std::move(ownedDevice_), std::move(uas_), std::move(ioBuffers_), log_});
        bulkIn_.reset();
        bulkOut_.reset();
        interface_.reset();
        device_ = nullptr;
        return;
    }
    uas_.reset();
    bulkIn_.reset();
    bulkOut_.reset();
    if (ioBuffers_) ioBuffers_->empty();
    if (interface_ && device_ != nullptr) device_->releaseInterface();
    interface_.reset();
    if (ownsDevice_) {
        ownedDevice_.reset();
        device_ = nullptr;
    }
}

std::optional<std::vector<std::string>> CapturedUSBDrive::lastDiagnostics() {
    ProcessState& state = processState();
    std::shared_ptr<DiagnosticsLog> log;
    {
        std::lock_guard lock(state.latestLogLock);
        log = state.latestLog;
    }
    if (!log) return std::nullopt;
    return log->lines();
}

std::size_t CapturedUSBDrive::keptOpenCount() {
    ProcessState& state = processState();
    std::lock_guard lock(state.keptOpenLock);
    return state.keptOpen.size();
}

bool CapturedUSBDrive::isNotPermitted(const platform::USBError& error) {
    return error.kind == platform::USBError::Kind::notPermitted;
}

}  // namespace drivekit
