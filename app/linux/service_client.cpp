#include "app/linux/service_client.hpp"

#include <QDBusConnectionInterface>
#include <QDBusPendingCall>
#include <QDBusReply>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <thread>

#include "app/service/protocol.hpp"
#include "drivekit/health/ata_commands.hpp"
#include "drivekit/health/sat.hpp"
#include "drivekit/health/sat_non_data.hpp"
#include "drivekit/writes/process_writes.hpp"
#include "platform/scsi_command_policy.hpp"

namespace app {

namespace Protocol = ServiceProtocol;
namespace SAT = drivekit::SAT;

namespace {

QString qs(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

// A read answers within a few seconds; an operation polkit asks a password for waits for
// the user; a careful check may wait minutes for the drive to come back.
constexpr int readTimeoutMs = 120'000;
constexpr int checkTimeoutMs = 15 * 60'000;
constexpr int writesTimeoutMs = 5'000;
// A full scan of a large disk takes hours: its answer has no time limit (libdbus's
// "infinite"); a cancel or a caller that leaves ends it instead.
constexpr int scanTimeoutMs = 0x7fffffff;
// How often a scan's progress is asked for, the rate the engine itself reports at.
constexpr auto progressEvery = std::chrono::milliseconds(500);
// How long a cancelled scan may take to answer with what it read (a read under way may
// have to time out at the drive first) before the client leaves the bus instead.
constexpr auto cancelWait = std::chrono::seconds(60);
// A scan by capture answers only once the drive is back and its volumes are mounted again.
constexpr auto captureCancelWait = std::chrono::minutes(3);

bool isError(const QDBusMessage& reply, std::string_view name) {
    return reply.type() == QDBusMessage::ErrorMessage && reply.errorName() == qs(name);
}

drivekit::Bytes bytesOf(const QDBusMessage& reply) {
    const QByteArray data = reply.arguments().value(0).toByteArray();
    return drivekit::Bytes(data.begin(), data.end());
}

int number(const QString& text, int fallback) {
    const std::string digits = text.toStdString();
    int value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return error == std::errc() && end == digits.data() + digits.size() ? value : fallback;
}

// Errno of an answer that gave no data: what opening the disk here would have said.
int errnoOf(const QDBusMessage& reply) {
    if (isError(reply, Protocol::Error::notAuthorized)) return ServiceClient::notAuthorizedErrno;
    if (isError(reply, Protocol::Error::noSuchDrive)) return ENODEV;
    if (isError(reply, Protocol::Error::cantOpen)) return number(reply.errorMessage(), EIO);
    // No service, no answer: only root could read it.
    return EACCES;
}

class ServiceNVMeAdmin final : public platform::NVMeAdmin {
  public:
    explicit ServiceNVMeAdmin(ServiceClient& client) : client_(client) {}
    platform::NVMeAdminReply smartLog(std::string_view name) override { return ask("NVMeHealthLog", name); }
    platform::NVMeAdminReply identifyController(std::string_view name) override { return ask("NVMeIdentify", name); }

  private:
    platform::NVMeAdminReply ask(std::string_view member, std::string_view name) {
        const auto reply = client_.call(member, {qs(name)}, readTimeoutMs);
        if (reply.type() == QDBusMessage::ReplyMessage) return bytesOf(reply);
        client_.noteRefused(reply, name);
        using Kind = platform::NVMeAdminFailure::Kind;
        if (isError(reply, Protocol::Error::nvme)) {
            const auto parts = reply.errorMessage().split(' ');
            const auto code = static_cast<std::uint32_t>(number(parts.value(1), EIO));
            if (parts.value(0) == "systemError") return platform::Unexpected(platform::NVMeAdminFailure{Kind::systemError, code});
            if (parts.value(0) == "commandStatus") return platform::Unexpected(platform::NVMeAdminFailure{Kind::commandStatus, code});
            return platform::Unexpected(platform::NVMeAdminFailure{Kind::noController, code});
        }
        return platform::Unexpected(platform::NVMeAdminFailure{Kind::noController, static_cast<std::uint32_t>(errnoOf(reply))});
    }

    ServiceClient& client_;
};

// The service's method for a block DriveKit sends, with its arguments; nothing for any
// other block.
std::optional<std::pair<std::string_view, QVariantList>> methodFor(drivekit::ByteView cdb, const QString& drive) {
    for (const SAT::Variant form : SAT::attemptOrder) {
        const QVariant length = QVariant::fromValue(static_cast<uchar>(SAT::length(form)));
        const auto is = [&cdb](const drivekit::Bytes& block) {
            return std::equal(cdb.begin(), cdb.end(), block.begin(), block.end());
        };
        if (is(SAT::checkPowerMode(form))) return std::pair{"ATAPowerMode", QVariantList{drive, length}};
        if (is(SAT::identify(form))) return std::pair{"ATAIdentify", QVariantList{drive, length}};
        if (is(SAT::smartReadData(form))) return std::pair{"ATASmartData", QVariantList{drive, length}};
        if (is(SAT::smartReadThresholds(form))) return std::pair{"ATASmartThresholds", QVariantList{drive, length}};
        if (is(SAT::smartReadLog(form, 0x06))) return std::pair{"ATASelfTestLog", QVariantList{drive, length}};
        if (is(SAT::smartReturnStatus(form))) return std::pair{"ATASmartStatus", QVariantList{drive, length}};
        for (const auto kind : {drivekit::SelfTest::Kind::short_, drivekit::SelfTest::Kind::extended}) {
            if (is(SAT::smartExecuteOffLineImmediate(form, static_cast<std::uint8_t>(kind)))) {
                return std::pair{"StartSelfTest", QVariantList{drive, qs(Protocol::testWord(kind)), length}};
            }
        }
    }
    return std::nullopt;
}

class ServiceSCSIDrive final : public platform::SCSIDrive {
  public:
    ServiceSCSIDrive(ServiceClient& client, std::string name, std::optional<drivekit::Bytes> powerMode)
        : client_(client), name_(std::move(name)), powerMode_(std::move(powerMode)) {}

    Answer command(drivekit::ByteView cdb, std::int64_t, double) override {
        const auto method = methodFor(cdb, QString::fromStdString(name_));
        if (!method) {
            log_.note(platform::CommandPolicy::judge(cdb).what + ": not a health request, not sent to the service");
            return platform::Unexpected(Failure{platform::CommandPolicy::refusedSentence, true});
        }
        if (powerMode_ && method->first == "ATAPowerMode" && cdb.size() == 16) {
            auto answer = std::move(*powerMode_);
            powerMode_.reset();
            return answer;
        }
        const auto reply = client_.call(method->first, method->second, readTimeoutMs);
        if (reply.type() == QDBusMessage::ReplyMessage) return bytesOf(reply);
        client_.noteRefused(reply, name_);
        log_.note(reply.errorName().toStdString() + ": " + reply.errorMessage().toStdString());
        return platform::Unexpected(
            Failure{reply.errorMessage().toStdString(), isError(reply, Protocol::Error::refused)});
    }

    platform::DiagnosticsLog& log() override { return log_; }

  private:
    ServiceClient& client_;
    std::string name_;
    std::optional<drivekit::Bytes> powerMode_;
    platform::DiagnosticsLog log_;
};

class ServiceWritesSource final : public WritesSource {
  public:
    ServiceWritesSource(ServiceClient& client, std::function<void(const std::string&)> log)
        : client_(client), log_(std::move(log)) {}

    std::optional<std::vector<drivekit::ProcessWrites>> snapshot() override {
        const auto reply = client_.call("ProcessWrites", {}, writesTimeoutMs);
        if (reply.type() != QDBusMessage::ReplyMessage) {
            say("helper: " + reply.errorMessage().toStdString());
            return std::nullopt;
        }
        const std::string text = reply.arguments().value(0).toString().toStdString();
        const auto parsed = drivekit::json::parse(text);
        std::vector<drivekit::ProcessWrites> processes;
        if (parsed && parsed->is_array()) {
            for (const auto& each : *parsed) {
                auto process = each.is_object() ? drivekit::processWritesFromJson(each) : std::nullopt;
                if (!process) {
                    processes.clear();
                    break;
                }
                processes.push_back(std::move(*process));
            }
        }
        if (processes.empty()) {
            say("helper: couldn't read its answer (" + std::to_string(text.size()) + " bytes): not a list of processes");
            return std::nullopt;
        }
        return processes;
    }

  private:
    void say(const std::string& line) const {
        if (log_) log_(line);
    }
    ServiceClient& client_;
    std::function<void(const std::string&)> log_;
};

}  // namespace

ServiceClient::ServiceClient(QDBusConnection bus, QString address)
    : bus_(std::move(bus)), address_(std::move(address)), nvme_(std::make_unique<ServiceNVMeAdmin>(*this)) {}

bool ServiceClient::present() const {
    if (!bus_.isConnected() || !bus_.interface()) return false;
    const QString name = qs(Protocol::busName);
    if (bus_.interface()->isServiceRegistered(name).value()) return true;
    const QDBusReply<QStringList> activatable = bus_.interface()->call(QStringLiteral("ListActivatableNames"));
    return activatable.isValid() && activatable.value().contains(name);
}

QDBusMessage ServiceClient::call(std::string_view member, const QVariantList& args, int timeoutMs) const {
    auto message = QDBusMessage::createMethodCall(qs(Protocol::busName), qs(Protocol::objectPath),
                                                  qs(Protocol::interfaceName), qs(member));
    message.setArguments(args);
    // Lets polkit ask the user for a password where the action wants one.
    message.setInteractiveAuthorizationAllowed(true);
    return bus_.call(message, QDBus::Block, timeoutMs);
}

void ServiceClient::noteRefused(const QDBusMessage& reply, std::string_view drive) {
    if (!isError(reply, Protocol::Error::notAuthorized)) return;
    const std::scoped_lock hold(lock_);
    refused_.insert(std::string(drive));
}

bool ServiceClient::refused(std::string_view drive) const {
    const std::scoped_lock hold(lock_);
    return refused_.contains(drive);
}

OpenSCSI ServiceClient::openSCSI() {
    return [this](std::string_view name) -> drivekit::Result<std::unique_ptr<drivekit::SCSIDrive>, int> {
        const QVariant sixteen = QVariant::fromValue(static_cast<uchar>(16));
        const auto reply = call("ATAPowerMode", {qs(name), sixteen}, readTimeoutMs);
        std::optional<drivekit::Bytes> powerMode;
        if (reply.type() == QDBusMessage::ReplyMessage) {
            powerMode = bytesOf(reply);
        } else if (!isError(reply, Protocol::Error::refused) && !isError(reply, Protocol::Error::failed)) {
            // The drive wasn't reached at all: no service, no right, no such disk.
            noteRefused(reply, name);
            return drivekit::Unexpected(errnoOf(reply));
        }
        return std::unique_ptr<drivekit::SCSIDrive>(
            std::make_unique<ServiceSCSIDrive>(*this, std::string(name), std::move(powerMode)));
    };
}

decltype(Machine::serviceCheck) ServiceClient::check() {
    return [this](const drivekit::Drive& drive, bool wake, const std::function<bool()>& stop,
                  const std::function<void(const std::string&)>& progress)
               -> drivekit::Result<drivekit::Checker::Reading, Failure> {
        Failure failure;
        failure.device = drive.bsdName;
        failure.usb = true;
        // A connection of its own: leaving the bus is how a stop reaches the service.
        static std::atomic<int> serial{0};
        const QString connectionName = QStringLiteral("vantrel-check-%1").arg(++serial);
        std::optional<QDBusPendingCall> pending;
        {
            auto own = address_.isEmpty() ? QDBusConnection::connectToBus(QDBusConnection::SystemBus, connectionName)
                                          : QDBusConnection::connectToBus(address_, connectionName);
            auto message = QDBusMessage::createMethodCall(qs(Protocol::busName), qs(Protocol::objectPath),
                                                          qs(Protocol::interfaceName), QStringLiteral("USBCheck"));
            message << QString::fromStdString(drive.bsdName) << wake;
            message.setInteractiveAuthorizationAllowed(true);
            pending = own.asyncCall(message, checkTimeoutMs);
        }
        const auto leave = [&connectionName] { QDBusConnection::disconnectFromBus(connectionName); };
        while (!pending->isFinished()) {
            if (stop && stop()) {
                leave();
                failure.kind = Failure::Kind::interrupted;
                // The service gives the drive back when its caller leaves.
                failure.taken = true;
                return drivekit::Unexpected(failure);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        const QDBusMessage reply = pending->reply();
        leave();
        if (reply.type() == QDBusMessage::ReplyMessage) {
            auto answer = Protocol::decodeReading(reply.arguments().value(0).toString().toStdString());
            if (answer) {
                if (progress) {
                    for (const auto& line : answer->lines) progress(line);
                }
                return std::move(answer->reading);
            }
            failure.kind = Failure::Kind::captureFailed;
            failure.detail = "Vantrel's service gave an answer that can't be read.";
            return drivekit::Unexpected(failure);
        }
        if (isError(reply, Protocol::Error::checkFailed)) {
            if (auto sent = Protocol::decodeFailure(reply.errorMessage().toStdString())) return drivekit::Unexpected(*sent);
        }
        noteRefused(reply, drive.bsdName);
        failure.kind = isError(reply, Protocol::Error::notAuthorized) ? Failure::Kind::notAuthorized
                                                                       : Failure::Kind::captureFailed;
        failure.detail = reply.errorMessage().toStdString();
        return drivekit::Unexpected(failure);
    };
}

decltype(Machine::serviceScan) ServiceClient::scan() {
    return [this](std::string_view name, drivekit::surface_scan::Mode mode, bool byCapture,
                  const drivekit::surface_scan::ShouldStop& shouldStop, const drivekit::surface_scan::Progress& progress,
                  const std::function<void(const std::string&)>& steps) -> drivekit::Result<ScanAnswer, Failure> {
        Failure failure;
        failure.device = std::string(name);
        failure.usb = byCapture;
        // The capture's steps come again with each look; each is shown once, in order.
        std::size_t shown = 0;
        const auto show = [&](const drivekit::json::Object& answer) {
            const auto list = answer.find("steps");
            if (list == answer.end() || !list->is_array()) return;
            for (; shown < list->size(); ++shown) {
                const auto& line = (*list)[shown];
                if (steps && line.is_string()) steps(line.get<std::string>());
            }
        };
        static std::atomic<int> serial{0};
        const QString connectionName = QStringLiteral("vantrel-scan-%1").arg(++serial);
        // A connection of its own: the service knows the scan by this caller, and leaving
        // the bus stops it whatever else happens.
        auto own = address_.isEmpty() ? QDBusConnection::connectToBus(QDBusConnection::SystemBus, connectionName)
                                      : QDBusConnection::connectToBus(address_, connectionName);
        const auto leave = [&connectionName] { QDBusConnection::disconnectFromBus(connectionName); };
        const auto messageOf = [&name](const char* member) {
            auto message = QDBusMessage::createMethodCall(qs(Protocol::busName), qs(Protocol::objectPath),
                                                          qs(Protocol::interfaceName), QString::fromLatin1(member));
            message << qs(name);
            return message;
        };
        auto start = messageOf(byCapture ? "CaptureScan" : "SurfaceScan");
        start << QString::fromLatin1(drivekit::surface_scan::modeName(mode));
        start.setInteractiveAuthorizationAllowed(true);
        QDBusPendingCall pending = own.asyncCall(start, scanTimeoutMs);

        using Clock = std::chrono::steady_clock;
        auto lastLook = Clock::now();
        std::optional<Clock::time_point> cancelledAt;
        while (!pending.isFinished()) {
            if (!cancelledAt && shouldStop && shouldStop()) {
                cancelledAt = Clock::now();
                // Refused when the scan hasn't begun (polkit is still asking): leaving then
                // makes the service drop the call when polkit answers.
                if (own.call(messageOf("CancelScan"), QDBus::Block, writesTimeoutMs).type() !=
                    QDBusMessage::ReplyMessage) {
                    break;
                }
            }
            // Taken by capture, the drive is given back and its volumes awaited before the answer.
            if (cancelledAt && Clock::now() - *cancelledAt > (byCapture ? captureCancelWait : cancelWait)) {
                // The scan had begun, so a drive taken for it is given back as the service sees us go.
                failure.taken = byCapture;
                break;
            }
            if (!cancelledAt && (progress || steps) && Clock::now() - lastLook >= progressEvery) {
                lastLook = Clock::now();
                const auto look = own.call(messageOf("ScanProgress"), QDBus::Block, writesTimeoutMs);
                const auto parsed = look.type() == QDBusMessage::ReplyMessage
                                        ? drivekit::json::parse(look.arguments().value(0).toString().toStdString())
                                        : std::nullopt;
                if (parsed) show(*parsed);
                const auto soFar = parsed ? drivekit::surface_scan::resultFromJson(*parsed) : std::nullopt;
                if (soFar && progress) progress(*soFar);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        if (!pending.isFinished()) {
            leave();
            failure.kind = Failure::Kind::interrupted;
            return drivekit::Unexpected(failure);
        }
        const QDBusMessage reply = pending.reply();
        leave();
        if (reply.type() == QDBusMessage::ReplyMessage) {
            const auto parsed = drivekit::json::parse(reply.arguments().value(0).toString().toStdString());
            if (auto answer = parsed ? scanAnswerFromJson(*parsed) : std::nullopt) {
                show(*parsed);
                if (progress) progress(answer->result);
                return std::move(*answer);
            }
            failure.kind = Failure::Kind::readFailed;
            failure.detail = "Vantrel's service gave an answer that can't be read.";
            return drivekit::Unexpected(failure);
        }
        // A scan by capture that didn't scan says why as the careful check would.
        if (isError(reply, Protocol::Error::checkFailed)) {
            if (auto sent = Protocol::decodeFailure(reply.errorMessage().toStdString())) return drivekit::Unexpected(*sent);
        }
        failure.detail = reply.errorMessage().toStdString();
        if (isError(reply, Protocol::Error::notAuthorized)) {
            failure.kind = Failure::Kind::notAuthorized;
        } else if (isError(reply, Protocol::Error::noSuchDrive)) {
            failure.kind = Failure::Kind::noSuchDevice;
        } else if (isError(reply, Protocol::Error::busy)) {
            failure.kind = Failure::Kind::cantOpen;
            failure.error = EBUSY;
        } else if (isError(reply, Protocol::Error::cantOpen)) {
            failure.kind = Failure::Kind::cantOpen;
            failure.error = number(reply.errorMessage(), EIO);
        } else {
            failure.kind = Failure::Kind::readFailed;
        }
        return drivekit::Unexpected(failure);
    };
}

std::shared_ptr<WritesSource> ServiceClient::writes(std::function<void(const std::string&)> log) {
    auto inner = std::make_shared<ServiceWritesSource>(*this, log);
    return std::make_shared<TimedWritesSource>(std::move(inner), TimedWritesSource::kTimeout, std::move(log));
}

}  // namespace app
