#include "drivekit/health/ata_smart_lib.hpp"

#include "drivekit/core/text.hpp"
#include "drivekit/health/ata_commands.hpp"
#include "drivekit/health/sat.hpp"
#include "drivekit/health/sat_non_data.hpp"
#include "drivekit/health/sense.hpp"

namespace drivekit::ATASMARTLib {
namespace {

constexpr std::int64_t blockBytes = 512;
constexpr std::uint8_t selfTestLogAddress = 6;
constexpr double timeout = ATACommands::commandTimeout;

// A page that came back short is the start of the page: the rest is what a zeroed
// buffer would hold, so a bridge that cuts the transfer still gives its attributes.
Bytes zeroFilled(Bytes page) {
    if (page.size() < static_cast<std::size_t>(blockBytes)) page.resize(static_cast<std::size_t>(blockBytes), 0);
    return page;
}

// An answer of a data-in command that is the drive's registers with the error bit set:
// the drive aborted the command (some layers hand the registers over as the answer).
bool abortedByDrive(const Bytes& answer) {
    if (answer.size() >= static_cast<std::size_t>(blockBytes)) return false;
    const auto registers = Sense::ataRegisters(answer);
    return registers && registers->failed();
}

// The session of one per-name operation: its own connection, opened and dropped by it.
std::optional<Session> findNode(const Connect& connect, std::string_view bsdName) {
    std::unique_ptr<SCSIDrive> drive = connect ? connect(bsdName) : nullptr;
    if (!drive) return std::nullopt;
    auto session = Session::begin(std::move(drive));
    if (!session) return std::nullopt;
    return std::move(session).value();
}

}  // namespace

std::string IdentifyFailure::text() const {
    switch (kind) {
        case Kind::failed:
            if (!reason.empty()) return "IDENTIFY DEVICE failed: " + reason;
            return text::format("GetATAIdentifyData returned 0x%X", static_cast<std::uint32_t>(status));
        case Kind::unusable:
            return "unusable IDENTIFY data (" + std::to_string(bytes) + " bytes)";
        case Kind::notCapable:
            break;
    }
    return "no SMART Capable node";
}

Result<Session, IdentifyFailure> Session::begin(std::unique_ptr<SCSIDrive> drive) {
    std::optional<std::size_t> unusableBytes;
    // The form whose IDENTIFY reached the drive and failed there, and why.
    std::optional<SAT::Variant> failedUnder;
    std::string reason;
    for (const SAT::Variant variant : SAT::attemptOrder) {
        if (drive->stoppedAnswering()) break;
        const auto answer = drive->command(SAT::identify(variant), blockBytes, timeout);
        if (!answer) {
            if (answer.error().refused) continue;
            // Carried, and lost at the drive: the other form would only fail the same way.
            failedUnder = variant;
            reason = answer.error().message;
            break;
        }
        if (abortedByDrive(*answer)) {
            failedUnder = variant;
            reason = "The drive reported an error.";
            break;
        }
        if (auto identity = ATAIdentity::decode(*answer)) {
            drive->log().noteSuccess([&] {
                return text::format("Drive: %s (ATA PASS-THROUGH %d)", identity->model.c_str(),
                                    SAT::length(variant));
            });
            Session session(std::move(drive), variant);
            session.identity_ = std::move(*identity);
            return session;
        }
        unusableBytes = answer->size();
    }
    if (failedUnder) {
        // A dying disk may fail IDENTIFY and still give its SMART pages, which say more
        // about its health than its name does.
        Session session(std::move(drive), *failedUnder);
        if (session.smartData()) return session;
        return Unexpected(IdentifyFailure{IdentifyFailure::Kind::failed, 0, 0, reason});
    }
    if (unusableBytes) {
        return Unexpected(IdentifyFailure{IdentifyFailure::Kind::unusable, 0, static_cast<int>(*unusableBytes)});
    }
    return Unexpected(IdentifyFailure{IdentifyFailure::Kind::notCapable, 0, 0});
}

std::optional<Bytes> Session::page(const Bytes& cdb) {
    if (drive_->stoppedAnswering()) return std::nullopt;
    auto answer = drive_->command(cdb, blockBytes, timeout);
    if (!answer || abortedByDrive(*answer)) return std::nullopt;
    return zeroFilled(std::move(answer).value());
}

const std::optional<Bytes>& Session::smartData() {
    if (!dataRead_) {
        data_ = page(SAT::smartReadData(variant_));
        dataRead_ = true;
    }
    return data_;
}

std::optional<std::vector<ATAAttribute>> Session::attributes() {
    if (!smartData()) return std::nullopt;
    const auto thresholds = page(SAT::smartReadThresholds(variant_));
    return ATAAttribute::parse(*data_, thresholds ? ByteView(*thresholds) : ByteView{});
}

std::vector<SelfTest::Entry> Session::selfTestLog() {
    const auto log = page(SAT::smartReadLog(variant_, selfTestLogAddress));
    if (!log) return {};
    return SelfTest::parseLog(*log);
}

SMARTStatus Session::smartStatus() {
    if (drive_->stoppedAnswering()) return SMARTStatus::notSupported;
    const auto answer = drive_->command(SAT::smartReturnStatus(variant_), 0, timeout);
    if (!answer) return SMARTStatus::notSupported;
    return statusFromAnswer(*answer).value_or(SMARTStatus::notSupported);
}

bool Session::startSelfTest(SelfTest::Kind kind) {
    const std::uint8_t subcommand = kind == SelfTest::Kind::extended ? SAT::ata::extendedSelfTestOffLine
                                                                     : SAT::ata::shortSelfTestOffLine;
    return drive_->command(SAT::smartExecuteOffLineImmediate(variant_, subcommand), 0, timeout).ok();
}

bool Session::abortSelfTest() {
    return drive_->command(SAT::smartExecuteOffLineImmediate(variant_, SAT::ata::abortSelfTestOffLine), 0, timeout).ok();
}

bool isCapable(const Connect& connect, std::string_view bsdName) {
    return findNode(connect, bsdName).has_value();
}

std::optional<Bytes> data(const Connect& connect, std::string_view bsdName) {
    auto node = findNode(connect, bsdName);
    if (!node) return std::nullopt;
    return node->smartData();
}

std::optional<std::vector<ATAAttribute>> attributes(const Connect& connect,
                                                    std::string_view bsdName) {
    auto node = findNode(connect, bsdName);
    if (!node) return std::nullopt;
    return node->attributes();
}

Result<ATAIdentity, IdentifyFailure> identify(const Connect& connect, std::string_view bsdName) {
    std::unique_ptr<SCSIDrive> drive = connect ? connect(bsdName) : nullptr;
    if (!drive) return Unexpected(IdentifyFailure{IdentifyFailure::Kind::notCapable, 0, 0});
    auto session = Session::begin(std::move(drive));
    if (!session) return Unexpected(session.error());
    if (!session->identity()) return Unexpected(IdentifyFailure{IdentifyFailure::Kind::failed, 0, 0});
    return *session->identity();
}

std::optional<SelfTest::Progress> selfTestProgress(const Connect& connect,
                                                   std::string_view bsdName) {
    const auto page = data(connect, bsdName);
    if (!page) return std::nullopt;
    return SelfTest::Progress::fromSmartData(*page);
}

bool startSelfTest(SelfTest::Kind kind, const Connect& connect, std::string_view bsdName) {
    auto node = findNode(connect, bsdName);
    return node && node->startSelfTest(kind);
}

std::vector<SelfTest::Entry> selfTestLog(const Connect& connect, std::string_view bsdName) {
    auto node = findNode(connect, bsdName);
    if (!node) return {};
    return node->selfTestLog();
}

std::optional<PowerMode> powerMode(const Connect& connect, std::string_view bsdName) {
    auto drive = connect(bsdName);
    if (!drive) return std::nullopt;
    return PowerModes::query(*drive);
}

std::optional<SMARTStatus> statusFromAnswer(ByteView answer) {
    const auto registers = Sense::ataRegisters(answer);
    if (!registers || registers->failed()) return std::nullopt;
    if (registers->lbaMid == SAT::ata::smartLbaMid && registers->lbaHigh == SAT::ata::smartLbaHigh) {
        return SMARTStatus::verified;
    }
    if (registers->lbaMid == SAT::ata::thresholdExceededLbaMid &&
        registers->lbaHigh == SAT::ata::thresholdExceededLbaHigh) {
        return SMARTStatus::failing;
    }
    return std::nullopt;
}

}  // namespace drivekit::ATASMARTLib

namespace drivekit::SMARTStatusRules {

SMARTStatus ata(const ATASMARTLib::Connect& connect, std::string_view bsdName) {
    auto node = ATASMARTLib::findNode(connect, bsdName);
    return node ? node->smartStatus() : SMARTStatus::notSupported;
}

}  // namespace drivekit::SMARTStatusRules
