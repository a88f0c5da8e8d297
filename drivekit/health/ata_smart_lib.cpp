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

// The SMART path of one operation: its own connection, and the pass-through form under
// which the drive gave a usable identity.
struct Node {
    std::unique_ptr<SCSIDrive> drive;
    SAT::Variant variant = SAT::Variant::sixteen;
    ATAIdentity identity;
};

struct Search {
    std::optional<Node> node;
    // Bytes of the last answer that reached the drive but didn't decode, if any did.
    std::optional<std::size_t> unusableBytes;
};

Search search(const Connect& connect, std::string_view bsdName) {
    Search result;
    std::unique_ptr<SCSIDrive> drive = connect ? connect(bsdName) : nullptr;
    if (!drive) return result;
    for (const SAT::Variant variant : SAT::attemptOrder) {
        if (drive->stoppedAnswering()) break;
        const auto answer = drive->command(SAT::identify(variant), blockBytes, timeout);
        if (!answer) continue;
        if (auto identity = ATAIdentity::decode(*answer)) {
            drive->log().noteSuccess([&] {
                return text::format("Drive: %s (ATA PASS-THROUGH %d)", identity->model.c_str(),
                                    SAT::length(variant));
            });
            result.node = Node{std::move(drive), variant, std::move(*identity)};
            result.unusableBytes.reset();
            return result;
        }
        result.unusableBytes = answer->size();
    }
    return result;
}

std::optional<Node> findNode(const Connect& connect, std::string_view bsdName) {
    return std::move(search(connect, bsdName).node);
}

std::optional<Bytes> readPage(Node& node, const Bytes& cdb) {
    auto answer = node.drive->command(cdb, blockBytes, timeout);
    if (!answer) return std::nullopt;
    return std::move(answer).value();
}

}  // namespace

std::string IdentifyFailure::text() const {
    switch (kind) {
        case Kind::failed:
            return text::format("GetATAIdentifyData returned 0x%X", static_cast<std::uint32_t>(status));
        case Kind::unusable:
            return "unusable IDENTIFY data (" + std::to_string(bytes) + " bytes)";
        case Kind::notCapable:
            break;
    }
    return "no SMART Capable node";
}

bool isCapable(const Connect& connect, std::string_view bsdName) {
    return findNode(connect, bsdName).has_value();
}

std::optional<Bytes> data(const Connect& connect, std::string_view bsdName) {
    auto node = findNode(connect, bsdName);
    if (!node) return std::nullopt;
    return readPage(*node, SAT::smartReadData(node->variant));
}

std::optional<std::vector<ATAAttribute>> attributes(const Connect& connect,
                                                    std::string_view bsdName) {
    // One node for both pages: the thresholds go to the same drive under the same form.
    auto node = findNode(connect, bsdName);
    if (!node) return std::nullopt;
    const auto values = readPage(*node, SAT::smartReadData(node->variant));
    if (!values) return std::nullopt;
    const auto thresholds = readPage(*node, SAT::smartReadThresholds(node->variant));
    return ATAAttribute::parse(*values, thresholds ? ByteView(*thresholds) : ByteView{});
}

Result<ATAIdentity, IdentifyFailure> identify(const Connect& connect, std::string_view bsdName) {
    Search found = search(connect, bsdName);
    if (found.node) return std::move(found.node->identity);
    if (found.unusableBytes) {
        return Unexpected(IdentifyFailure{IdentifyFailure::Kind::unusable, 0,
                                          static_cast<int>(*found.unusableBytes)});
    }
    return Unexpected(IdentifyFailure{IdentifyFailure::Kind::notCapable, 0, 0});
}

std::optional<SelfTest::Progress> selfTestProgress(const Connect& connect,
                                                   std::string_view bsdName) {
    const auto page = data(connect, bsdName);
    if (!page) return std::nullopt;
    return SelfTest::Progress::fromSmartData(*page);
}

bool startSelfTest(SelfTest::Kind kind, const Connect& connect, std::string_view bsdName) {
    auto node = findNode(connect, bsdName);
    if (!node) return false;
    const std::uint8_t subcommand = kind == SelfTest::Kind::extended
                                        ? SAT::ata::extendedSelfTestOffLine
                                        : SAT::ata::shortSelfTestOffLine;
    return node->drive
        ->command(SAT::smartExecuteOffLineImmediate(node->variant, subcommand), 0, timeout)
        .ok();
}

std::vector<SelfTest::Entry> selfTestLog(const Connect& connect, std::string_view bsdName) {
    auto node = findNode(connect, bsdName);
    if (!node) return {};
    const auto page = readPage(*node, SAT::smartReadLog(node->variant, selfTestLogAddress));
    if (!page) return {};
    return SelfTest::parseLog(*page);
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
    if (!node) return SMARTStatus::notSupported;
    const auto answer = node->drive->command(SAT::smartReturnStatus(node->variant), 0,
                                             ATASMARTLib::timeout);
    if (!answer) return SMARTStatus::notSupported;
    return ATASMARTLib::statusFromAnswer(*answer).value_or(SMARTStatus::notSupported);
}

}  // namespace drivekit::SMARTStatusRules
