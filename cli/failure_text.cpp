#include "cli/failure_text.hpp"

#include "app/failure_text.hpp"
#include "cli/exit_codes.hpp"

namespace cli {

namespace {

int exitCode(app::Failure::Kind kind) {
    using Kind = app::Failure::Kind;
    switch (kind) {
        case Kind::noSuchDevice: return exitNoDevice;
        case Kind::partition: return exitNotSupported;
        case Kind::unknownKind: return exitNotSupported;
        case Kind::noDrives: return exitNoDevice;
        case Kind::needsRoot: return exitNoPermission;
        case Kind::notAuthorized: return exitNoPermission;
        case Kind::cantOpen: return exitReadFailed;
        case Kind::noSCSI: return exitNotSupported;
        case Kind::noPassThrough: return exitNotSupported;
        case Kind::unusableIdentify: return exitNotSupported;
        case Kind::notSupported: return exitNotSupported;
        case Kind::readFailed: return exitReadFailed;
        case Kind::asleep: return exitAsleep;
        case Kind::noCapture: return exitNotSupported;
        case Kind::notUSB: return exitNotSupported;
        case Kind::captureRefused: return exitNotSupported;
        case Kind::captureFailed: return exitReadFailed;
        case Kind::captureDeviceGone: return exitNoDevice;
        case Kind::interrupted: return exitReadFailed;
        case Kind::noSelfTests: return exitNotSupported;
        case Kind::selfTestRunning: return exitBusy;
        case Kind::selfTestNotStarted: return exitReadFailed;
        case Kind::selfTestNotCancelled: return exitReadFailed;
        case Kind::cantWatch: return exitReadFailed;
        case Kind::noDirectReads: return exitReadFailed;
    }
    return exitReadFailed;
}

}  // namespace

Said said(const app::Failure& failure) { return {app::FailureText::sentence(failure), exitCode(failure.kind)}; }

}  // namespace cli
