#include "drivekit/health/ata_commands.hpp"

#include "drivekit/core/text.hpp"

namespace drivekit::ATACommands {
namespace {

constexpr std::int64_t standardInquiryBytes = 36;
// Enough to hold the vendor and product fields; the revision after them isn't needed.
constexpr std::size_t usableInquiryBytes = 32;
constexpr std::size_t vendorAt = 8, vendorLength = 8;
constexpr std::size_t productAt = 16, productLength = 16;

constexpr std::int64_t blockBytes = 512;

}  // namespace

std::optional<Inquiry> inquiry(SCSIDrive& drive) {
    const auto answer = drive.command(SAT::inquiry(), standardInquiryBytes, commandTimeout);
    if (!answer || answer->size() < usableInquiryBytes) return std::nullopt;
    return Inquiry{text::field(*answer, vendorAt, vendorLength),
                   text::field(*answer, productAt, productLength)};
}

std::optional<Identified> ataIdentify(SCSIDrive& drive) {
    for (const SAT::Variant variant : SAT::attemptOrder) {
        const auto answer = drive.command(SAT::identify(variant), blockBytes, commandTimeout);
        if (!answer) continue;
        if (auto identity = ATAIdentity::decode(*answer)) {
            return Identified{std::move(*identity), variant};
        }
    }
    return std::nullopt;
}

std::vector<ATAAttribute> smart(SCSIDrive& drive, SAT::Variant variant) {
    const auto data = drive.command(SAT::smartReadData(variant), blockBytes, commandTimeout);
    if (!data) return {};
    const auto thresholds =
        drive.command(SAT::smartReadThresholds(variant), blockBytes, commandTimeout);
    return ATAAttribute::parse(*data, thresholds ? ByteView(*thresholds) : ByteView{});
}

}  // namespace drivekit::ATACommands
