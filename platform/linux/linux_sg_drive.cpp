#include "platform/linux/linux_sg_drive.hpp"

#include <fcntl.h>
#include <linux/capability.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>

#include "platform/format.hpp"
#include "platform/scsi_sense.hpp"
#include "platform/linux/errno_text.hpp"
#include "platform/scsi_command_policy.hpp"

namespace platform {
namespace {

using platform::format;
namespace Sense = platform::Sense;

// SCSI status bytes.
constexpr std::uint8_t statusGood = 0x00;
constexpr std::uint8_t statusCheckCondition = 0x02;
constexpr std::uint8_t statusConditionMet = 0x04;
constexpr std::uint8_t statusBusy = 0x08;
constexpr std::uint8_t statusReservationConflict = 0x18;
constexpr std::uint8_t statusTaskSetFull = 0x28;

// The kernel's host byte (DID_ codes); the userspace headers don't carry them.
constexpr std::array<const char*, 0x15> hostNames{
    "DID_OK",          "DID_NO_CONNECT",  "DID_BUS_BUSY",          "DID_TIME_OUT",
    "DID_BAD_TARGET",  "DID_ABORT",       "DID_PARITY",            "DID_ERROR",
    "DID_RESET",       "DID_BAD_INTR",    "DID_PASSTHROUGH",       "DID_SOFT_ERROR",
    "DID_IMM_RETRY",   "DID_REQUEUE",     "DID_TRANSPORT_DISRUPTED", "DID_TRANSPORT_FAILFAST",
    "DID_TARGET_FAILURE", "DID_NEXUS_FAILURE", "DID_ALLOC_FAILURE", "DID_MEDIUM_ERROR",
    "DID_TRANSPORT_MARGINAL"};
constexpr std::uint16_t hostOK = 0x00, hostNoConnect = 0x01, hostBusBusy = 0x02,
                        hostTimeOut = 0x03, hostBadTarget = 0x04, hostImmediateRetry = 0x0C,
                        hostRequeue = 0x0D;

// The driver byte's low nibble (DRIVER_ codes). DRIVER_SENSE only flags sense data.
constexpr std::uint16_t driverBusy = 0x01, driverTimeout = 0x06, driverSense = 0x08;

// Enough for descriptor sense with an ATA Status Return descriptor and more.
constexpr std::size_t senseCapacity = 64;

SGOutcome outcome(SGOutcome::Kind kind, std::string detail, std::size_t length = 0) {
    return SGOutcome{kind, length, std::move(detail)};
}

std::string hostText(std::uint16_t host) {
    const char* name = host < hostNames.size() ? hostNames[host] : "unknown";
    return format("host status %s (0x%02X)", name, host);
}

std::string cdbText(platform::ByteView cdb) {
    std::string hex;
    for (const std::uint8_t byte : cdb) {
        if (!hex.empty()) hex += ' ';
        hex += format("%02X", byte);
    }
    return hex;
}

std::size_t transferred(std::int32_t resid, std::size_t requested) {
    if (resid <= 0) return requested;
    return requested - std::min(requested, static_cast<std::size_t>(resid));
}

unsigned timeoutMilliseconds(double seconds) {
    if (!(seconds > 0)) return 1;
    const double ms = std::ceil(seconds * 1000.0);
    return ms >= static_cast<double>(UINT_MAX) ? UINT_MAX : static_cast<unsigned>(ms);
}

}  // namespace

std::string SGOutcome::sentence() const {
    switch (kind) {
        case Kind::data:
        case Kind::ataRegisters:
            return {};
        case Kind::checkCondition:
            return "The drive refused the command.";
        case Kind::timedOut:
            return "The drive didn't answer in time.";
        case Kind::gone:
            return "The drive is no longer connected.";
        case Kind::busy:
            return "The drive was busy.";
        case Kind::transportFailed:
            break;
    }
    return "The command didn't reach the drive.";
}

SGOutcome classify(const SGCompletion& completion, std::size_t requested) {
    using Kind = SGOutcome::Kind;
    switch (completion.hostStatus) {
        case hostOK:
            break;
        case hostNoConnect:
        case hostBadTarget:
            return outcome(Kind::gone, hostText(completion.hostStatus));
        case hostTimeOut:
            return outcome(Kind::timedOut, hostText(completion.hostStatus));
        case hostBusBusy:
        case hostImmediateRetry:
        case hostRequeue:
            return outcome(Kind::busy, hostText(completion.hostStatus));
        default:
            return outcome(Kind::transportFailed, hostText(completion.hostStatus));
    }
    const std::uint16_t driver = completion.driverStatus & 0x0F;
    if (driver == driverTimeout) {
        return outcome(Kind::timedOut, format("driver status 0x%02X (timeout)", completion.driverStatus));
    }
    if (driver == driverBusy) {
        return outcome(Kind::busy, format("driver status 0x%02X (busy)", completion.driverStatus));
    }
    if (driver != 0 && driver != driverSense) {
        return outcome(Kind::transportFailed, format("driver status 0x%02X", completion.driverStatus));
    }

    const auto sense = Sense::decode(completion.sense);
    // Asked-for ATA registers come in sense data, in CHECK CONDITION as the standard has
    // it, and from some bridges beside a GOOD status.
    if ((completion.status == statusCheckCondition || completion.status == statusGood) && sense &&
        sense->ataInformationAvailable() && Sense::ataRegisters(completion.sense)) {
        return outcome(Kind::ataRegisters, Sense::describe(*sense));
    }
    switch (completion.status) {
        case statusGood:
        case statusConditionMet:
            return outcome(Kind::data, {}, transferred(completion.resid, requested));
        case statusCheckCondition:
            if (!sense) return outcome(Kind::checkCondition, "CHECK CONDITION without sense data");
            // A recovered error is a success that says the drive had to work for it.
            if (sense->key == Sense::Key::recoveredError) {
                return outcome(Kind::data, "CHECK CONDITION, " + Sense::describe(*sense),
                               transferred(completion.resid, requested));
            }
            return outcome(Kind::checkCondition, "CHECK CONDITION, " + Sense::describe(*sense));
        case statusBusy:
        case statusReservationConflict:
        case statusTaskSetFull:
            return outcome(Kind::busy, format("SCSI status 0x%02X", completion.status));
        default:
            return outcome(Kind::transportFailed, format("SCSI status 0x%02X", completion.status));
    }
}

bool mayPassThrough() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> data{};
    if (::syscall(SYS_capget, &header, data.data()) != 0) return true;
    return (data[CAP_TO_INDEX(CAP_SYS_RAWIO)].effective & CAP_TO_MASK(CAP_SYS_RAWIO)) != 0;
}

platform::Result<std::unique_ptr<LinuxSGDrive>, int> LinuxSGDrive::open(const std::filesystem::path& node) {
    const int fd = ::open(node.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return platform::Unexpected(errno);
    if (!mayPassThrough()) {
        ::close(fd);
        return platform::Unexpected(EPERM);
    }
    return std::unique_ptr<LinuxSGDrive>(new LinuxSGDrive(fd, node.string()));
}

LinuxSGDrive::LinuxSGDrive(int fd, std::string node) : fd_(fd), node_(std::move(node)) {}

LinuxSGDrive::~LinuxSGDrive() {
    ::close(fd_);
    std::free(kept_);
}

LinuxSGDrive::Answer LinuxSGDrive::command(platform::ByteView cdb, std::int64_t dataIn,
                                           double timeoutSeconds) {
    // A length out of range is turned down by `send` before anything is allocated.
    const bool fits = dataIn >= 0 && dataIn <= UINT_MAX;
    platform::Bytes data(fits ? static_cast<std::size_t>(dataIn) : 0, 0);
    auto sent = send(cdb, dataIn, timeoutSeconds, data.data());
    if (!sent) return platform::Unexpected(std::move(sent.error()));
    if (sent->registers) return std::move(*sent->registers);
    data.resize(sent->length);
    return data;
}

platform::Result<std::int64_t, LinuxSGDrive::Failure> LinuxSGDrive::commandLength(platform::ByteView cdb,
                                                                                 std::int64_t dataIn,
                                                                                 double timeoutSeconds) {
    const auto wanted = static_cast<std::size_t>(std::clamp<std::int64_t>(dataIn, 0, UINT_MAX));
    if (dataIn <= UINT_MAX && wanted > keptSize_) {
        // A page holds every alignment a host adapter asks of a buffer it maps.
        constexpr std::size_t page = 4096;
        const std::size_t rounded = (wanted + page - 1) / page * page;
        void* grown = nullptr;
        if (::posix_memalign(&grown, page, rounded) != 0) return SCSIDrive::commandLength(cdb, dataIn, timeoutSeconds);
        std::free(kept_);
        kept_ = grown;
        keptSize_ = rounded;
    }
    auto sent = send(cdb, dataIn, timeoutSeconds, static_cast<unsigned char*>(kept_));
    if (!sent) return platform::Unexpected(std::move(sent.error()));
    return static_cast<std::int64_t>(sent->registers ? sent->registers->size() : sent->length);
}

platform::Result<LinuxSGDrive::Sent, LinuxSGDrive::Failure> LinuxSGDrive::send(platform::ByteView cdb,
                                                                              std::int64_t dataIn,
                                                                              double timeoutSeconds,
                                                                              unsigned char* data) {
    const std::string what = node_ + " " + cdbText(cdb);
    if (gone_) return platform::Unexpected(Failure{"The drive is no longer connected."});
    if (cdb.empty() || cdb.size() > 16 || dataIn < 0 || dataIn > UINT_MAX) {
        log_.note(what + ": not sent (bad command block or length)");
        return platform::Unexpected(Failure{"The command didn't reach the drive."});
    }
    if (const auto decision = CommandPolicy::judge(cdb); !decision.allowed) {
        log_.note(what + ": refused, not sent (" + decision.what + ")");
        return platform::Unexpected(Failure{CommandPolicy::refusedSentence, true});
    }

    std::array<unsigned char, 16> command{};
    std::copy(cdb.begin(), cdb.end(), command.begin());
    const auto dataBytes = static_cast<std::size_t>(dataIn);
    std::array<unsigned char, senseCapacity> sense{};

    sg_io_hdr_t header{};
    header.interface_id = 'S';
    header.dxfer_direction = dataIn > 0 ? SG_DXFER_FROM_DEV : SG_DXFER_NONE;
    header.cmd_len = static_cast<unsigned char>(cdb.size());
    header.cmdp = command.data();
    header.dxfer_len = static_cast<unsigned>(dataBytes);
    header.dxferp = dataBytes == 0 ? nullptr : data;
    header.mx_sb_len = static_cast<unsigned char>(sense.size());
    header.sbp = sense.data();
    header.timeout = timeoutMilliseconds(timeoutSeconds);

    if (::ioctl(fd_, SG_IO, &header) < 0) {
        const int error = errno;
        log_.note(what + ": SG_IO failed: " + errnoText(error));
        if (error == ENODEV || error == ENXIO) {
            gone_ = true;
            return platform::Unexpected(Failure{"The drive is no longer connected."});
        }
        if (error == EPERM || error == EACCES) {
            return platform::Unexpected(Failure{"Sending this command to the drive needs root."});
        }
        return platform::Unexpected(Failure{"The command didn't reach the drive."});
    }

    SGCompletion completion;
    completion.status = header.status;
    completion.hostStatus = header.host_status;
    completion.driverStatus = header.driver_status;
    completion.resid = header.resid;
    completion.sense.assign(sense.begin(), sense.begin() + std::min<std::size_t>(header.sb_len_wr, sense.size()));
    const SGOutcome result = classify(completion, dataBytes);

    switch (result.kind) {
        case SGOutcome::Kind::data:
            log_.noteSuccess([&] {
                return what + format(": %zu bytes", result.length) +
                       (result.detail.empty() ? "" : " (" + result.detail + ")");
            });
            return Sent{result.length, std::nullopt};
        case SGOutcome::Kind::ataRegisters:
            log_.noteSuccess([&] { return what + ": ATA registers returned"; });
            return Sent{0, std::move(completion.sense)};
        case SGOutcome::Kind::gone:
            gone_ = true;
            [[fallthrough]];
        default: {
            log_.note(what + ": " + result.detail);
            // Only an ILLEGAL REQUEST (or a CHECK CONDITION that says nothing) turns the
            // command down; a medium or hardware error is the drive failing it.
            const auto decoded = Sense::decode(completion.sense);
            const bool refused = result.kind == SGOutcome::Kind::checkCondition &&
                                 (!decoded || decoded->key == Sense::Key::illegalRequest);
            return platform::Unexpected(Failure{result.sentence(), refused});
        }
    }
}

}  // namespace platform
