#include "drivekit/health/nvme_reader.hpp"

#include <system_error>
#include <vector>

#include "drivekit/core/text.hpp"

namespace drivekit::NVMeReader {

namespace {

Failure failureOf(const platform::NVMeAdminFailure& platformFailure) {
    using Kind = platform::NVMeAdminFailure::Kind;
    const std::uint32_t code = platformFailure.code;
    switch (platformFailure.kind) {
        case Kind::noController:
            return Failure{Failure::Kind::noSMARTService, 0, static_cast<int>(code)};
        case Kind::systemError:
            return Failure{Failure::Kind::ioError, code, static_cast<int>(code)};
        case Kind::commandStatus:
            return Failure{Failure::Kind::ioError, code, 0};
    }
    return Failure{Failure::Kind::ioError, ioReturnError, 0};
}

}  // namespace

std::string Failure::text() const {
    switch (kind) {
        case Kind::noSMARTService:
            return "This drive doesn't expose NVMe SMART.";
        // Said in Linux's terms: the errno's own words, or the controller's status field.
        case Kind::ioError:
            if (errorNumber != 0) {
                return "NVMe SMART read failed: " + std::generic_category().message(errorNumber) + ".";
            }
            if (status == ioReturnError) return "NVMe SMART read failed: the drive's answer was cut short.";
            return drivekit::text::format("NVMe SMART read failed (NVMe status 0x%04X).", status);
    }
    return {};
}

Result<NVMeHealth, Failure> read(std::string_view bsdName, platform::NVMeAdmin& admin) {
    const platform::NVMeAdminReply log = admin.smartLog(bsdName);
    if (!log) return Unexpected{failureOf(log.error())};
    const platform::NVMeAdminReply identify = admin.identifyController(bsdName);
    if (!identify) return Unexpected{failureOf(identify.error())};
    auto health = NVMeHealth::decode(*log, *identify);
    if (!health) return Unexpected{Failure{Failure::Kind::ioError, ioReturnError, 0}};
    return std::move(*health);
}

}  // namespace drivekit::NVMeReader
