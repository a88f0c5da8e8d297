#pragma once
// The privileged service's protocol, shared by the service and its clients: the names on
// the bus, the one table of methods (what each takes, and the polkit action that guards
// it), the decoding of a request into an operation the service carries out, and the
// JSON forms of what travels back (a careful check's reading, a failure).
//
// Nothing a caller sends is ever passed on to a drive: a request names an operation and a
// drive, and the service builds the command block itself. Decoding is pure and total, so
// that it can be fuzzed: any member name, signature and arguments give a request or a
// refusal, never more.
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "app/failure.hpp"
#include "drivekit/core/result.hpp"
#include "drivekit/health/sat.hpp"
#include "drivekit/health/self_test.hpp"
#include "drivekit/scan/surface_scan.hpp"
#include "drivekit/usb/checker.hpp"

namespace app::ServiceProtocol {

inline constexpr std::string_view busName = "com.orlend.vantrel.Service";
inline constexpr std::string_view objectPath = "/com/orlend/vantrel/Service";
inline constexpr std::string_view interfaceName = "com.orlend.vantrel.Service1";

/// Errors the service answers with besides the bus's own UnknownMethod and InvalidArgs.
namespace Error {
inline constexpr std::string_view notAuthorized = "com.orlend.vantrel.Service1.Error.NotAuthorized";
/// The name is not a whole disk that discovery shows, or not of the kind the method reads.
inline constexpr std::string_view noSuchDrive = "com.orlend.vantrel.Service1.Error.NoSuchDrive";
/// The disk node couldn't be opened; the message is the errno in decimal.
inline constexpr std::string_view cantOpen = "com.orlend.vantrel.Service1.Error.CantOpen";
/// The layer or the drive turned the command down (try the other pass-through form).
inline constexpr std::string_view refused = "com.orlend.vantrel.Service1.Error.Refused";
/// The command reached the drive and failed there; the message says how.
inline constexpr std::string_view failed = "com.orlend.vantrel.Service1.Error.Failed";
/// An NVMe admin command gave no data; the message is "<kind> <code>" (noController,
/// systemError, commandStatus).
inline constexpr std::string_view nvme = "com.orlend.vantrel.Service1.Error.NVMe";
/// A careful check or a snapshot ended without an answer; the message is the failure as
/// JSON (`encodeFailure`).
inline constexpr std::string_view checkFailed = "com.orlend.vantrel.Service1.Error.CheckFailed";
/// The caller has no scan of that drive under way (its progress or cancel came too early or
/// too late, or another caller started the scan).
inline constexpr std::string_view noScan = "com.orlend.vantrel.Service1.Error.NoScan";
/// The drive is already being scanned; two scans would each read at half speed.
inline constexpr std::string_view busy = "com.orlend.vantrel.Service1.Error.Busy";
inline constexpr std::string_view unknownMethod = "org.freedesktop.DBus.Error.UnknownMethod";
inline constexpr std::string_view invalidArgs = "org.freedesktop.DBus.Error.InvalidArgs";
}  // namespace Error

/// The polkit actions, one per kind of operation.
enum class Action { readHealth, selfTest, usbCheck, surfaceScan, writeAccounting };
/// "com.orlend.vantrel.read-health", ...
std::string_view actionId(Action action);

enum class Operation {
    nvmeHealthLog,
    nvmeIdentify,
    ataPowerMode,
    ataIdentify,
    ataSmartData,
    ataSmartThresholds,
    ataSelfTestLog,
    ataSmartStatus,
    startSelfTest,
    usbCheck,
    processWrites,
    surfaceScan,
    captureScan,
    scanProgress,
    cancelScan,
};

/// What a drive must be for an operation: `any` is any whole disk.
enum class DriveKind { none, nvme, ata, usb, any };

struct Method {
    Operation operation;
    std::string_view member;
    /// D-Bus signature of the arguments, and of the answer.
    std::string_view in;
    std::string_view out;
    /// Nothing for a method that only touches a scan the caller started itself, which
    /// polkit allowed then: asking again at every look at its progress would, once the
    /// kept authorization lapses, ask the user for a password in the middle of a scan.
    std::optional<Action> action;
    DriveKind drive;
};

/// Every method the service answers, in one table.
std::span<const Method> methods();
const Method& methodOf(Operation operation);

/// An argument as the bus delivered it; anything other than a string or a byte is
/// `Other` with its signature.
struct Other {
    std::string signature;
};
using Arg = std::variant<std::string, std::uint8_t, bool, Other>;

struct Request {
    Operation operation = Operation::nvmeHealthLog;
    /// Kernel name of a whole disk ("sda"); empty for the snapshot.
    std::string drive;
    drivekit::SAT::Variant form = drivekit::SAT::Variant::sixteen;
    drivekit::SelfTest::Kind test = drivekit::SelfTest::Kind::short_;
    /// A careful check reads a disk that sleeps too, spinning it up.
    bool wake = false;
    drivekit::surface_scan::Mode mode = drivekit::surface_scan::Mode::quick;

    bool operator==(const Request&) const = default;
};

struct Refusal {
    enum class Kind { unknownMethod, invalidArgs };
    Kind kind = Kind::invalidArgs;
    std::string message;
};

/// The request a call makes, or why it is refused. `signature` is the call's own.
drivekit::Result<Request, Refusal> decode(std::string_view member, std::string_view signature,
                                          const std::vector<Arg>& args);

/// A name the kernel could give a disk: a letter, then letters and digits, at most 32.
/// Paths, dots and anything else never reach discovery.
bool isKernelName(std::string_view name);

/// The pass-through form of a CDB length (16, 12); nothing for any other.
std::optional<drivekit::SAT::Variant> formOf(std::uint8_t length);
/// "short", "extended"; nothing for any other word.
std::optional<drivekit::SelfTest::Kind> testOf(std::string_view word);
std::string_view testWord(drivekit::SelfTest::Kind kind);
/// "quick", "full"; nothing for any other word.
std::optional<drivekit::surface_scan::Mode> modeOf(std::string_view word);

/// A careful check's reading and its progress lines as JSON, and back. Decoding damaged
/// or foreign JSON gives nothing.
std::string encodeReading(const drivekit::Checker::Reading& reading, const std::vector<std::string>& lines);
struct CheckAnswer {
    drivekit::Checker::Reading reading;
    std::vector<std::string> lines;
};
std::optional<CheckAnswer> decodeReading(std::string_view text);

/// A failure as JSON, and back; nothing for damaged JSON or an unknown kind.
std::string encodeFailure(const Failure& failure);
std::optional<Failure> decodeFailure(std::string_view text);

}  // namespace app::ServiceProtocol
