#include "service/service.hpp"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QMetaObject>
#include <QVariant>

#include "app/drive_summary.hpp"
#include "drivekit/core/json.hpp"

namespace service {

namespace Protocol = app::ServiceProtocol;

namespace {

// More than a whole list of drives read at once, and a check or two beside them.
constexpr std::size_t maxJobs = 32;

// A drive is read by one scan at a time, live or by capture.
bool isScan(Protocol::Operation operation) {
    return operation == Protocol::Operation::surfaceScan || operation == Protocol::Operation::captureScan;
}

QString qs(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

std::vector<Protocol::Arg> argumentsOf(const QDBusMessage& message) {
    std::vector<Protocol::Arg> args;
    for (const QVariant& value : message.arguments()) {
        switch (value.metaType().id()) {
            case QMetaType::QString: args.emplace_back(value.toString().toStdString()); break;
            case QMetaType::UChar: args.emplace_back(static_cast<std::uint8_t>(value.value<uchar>())); break;
            case QMetaType::Bool: args.emplace_back(value.toBool()); break;
            default: args.emplace_back(Protocol::Other{value.typeName() ? value.typeName() : ""}); break;
        }
    }
    return args;
}

QString argumentXml(char type, int index, const char* direction) {
    return QStringLiteral("      <arg name=\"a%1\" type=\"%2\" direction=\"%3\"/>\n")
        .arg(index)
        .arg(QChar::fromLatin1(type))
        .arg(QLatin1String(direction));
}

}  // namespace

bool Approvals::has(const std::string& signature) const {
    const std::scoped_lock hold(lock_);
    const auto known = read();
    return std::find(known.begin(), known.end(), signature) != known.end();
}

void Approvals::add(const std::string& signature) {
    const std::scoped_lock hold(lock_);
    auto known = read();
    if (std::find(known.begin(), known.end(), signature) != known.end()) return;
    known.push_back(signature);
    (void)files_.createFolders(file_.parent_path());
    // An approval that can't be kept only means the user is asked again next time.
    (void)files_.replace(file_, drivekit::json::dump(drivekit::json::Object(known), drivekit::json::Layout::compact));
}

std::vector<std::string> Approvals::read() const {
    const auto text = files_.read(file_);
    if (!text) return {};
    const auto parsed = drivekit::json::parse(*text);
    std::vector<std::string> known;
    if (!parsed || !parsed->is_array()) return known;
    for (const auto& each : *parsed) {
        if (each.is_string()) known.push_back(each.get<std::string>());
    }
    return known;
}

Service::Service(QDBusConnection bus, Options options)
    : bus_(std::move(bus)),
      options_(std::move(options)),
      callers_(QString(), bus_, QDBusServiceWatcher::WatchForUnregistration) {
    QObject::connect(&callers_, &QDBusServiceWatcher::serviceUnregistered, this,
                     [this](const QString& caller) { callerLeft(caller); });
}

Service::~Service() {
    for (auto& job : jobs_) job.stop->store(true);
    for (auto& job : jobs_) {
        if (job.thread.joinable()) job.thread.join();
    }
}

bool Service::publish() {
    return bus_.registerVirtualObject(qs(Protocol::objectPath), this, QDBusConnection::SingleNode);
}

bool Service::handleMessage(const QDBusMessage& message, const QDBusConnection&) {
    // Qt may deliver on its bus thread: the work is done on this object's own thread.
    QMetaObject::invokeMethod(this, [this, message] { dispatch(message); }, Qt::QueuedConnection);
    return true;
}

QString Service::introspect(const QString&) const {
    QString xml = QStringLiteral("  <interface name=\"%1\">\n").arg(qs(Protocol::interfaceName));
    for (const auto& method : Protocol::methods()) {
        xml += QStringLiteral("    <method name=\"%1\">\n").arg(qs(method.member));
        int index = 0;
        for (const char type : method.in) xml += argumentXml(type, index++, "in");
        if (!method.out.empty()) {
            xml += QStringLiteral("      <arg name=\"answer\" type=\"%1\" direction=\"out\"/>\n").arg(qs(method.out));
        }
        xml += QStringLiteral("    </method>\n");
    }
    return xml + QStringLiteral("  </interface>\n");
}

void Service::dispatch(const QDBusMessage& message) {
    if (options_.activity) options_.activity();
    if (message.type() != QDBusMessage::MethodCallMessage) return;
    const auto reply = [this, &message](std::string_view name, const std::string& text) {
        bus_.send(message.createErrorReply(qs(name), QString::fromStdString(text)));
    };
    // The bus's own interfaces of every object, which the policy lets anyone call.
    if (message.interface() == QLatin1String("org.freedesktop.DBus.Introspectable") &&
        message.member() == QLatin1String("Introspect")) {
        bus_.send(message.createReply(
            QStringLiteral("<!DOCTYPE node PUBLIC \"-//freedesktop//DTD D-BUS Object Introspection 1.0//EN\"\n"
                           " \"http://www.freedesktop.org/standards/dbus/1.0/introspect.dtd\">\n<node>\n") +
            introspect(message.path()) +
            QStringLiteral("  <interface name=\"org.freedesktop.DBus.Introspectable\">\n"
                           "    <method name=\"Introspect\"><arg name=\"xml\" type=\"s\" direction=\"out\"/></method>\n"
                           "  </interface>\n"
                           "  <interface name=\"org.freedesktop.DBus.Peer\">\n"
                           "    <method name=\"Ping\"/>\n"
                           "    <method name=\"GetMachineId\"><arg name=\"id\" type=\"s\" direction=\"out\"/></method>\n"
                           "  </interface>\n</node>\n")));
        return;
    }
    if (message.interface() == QLatin1String("org.freedesktop.DBus.Peer")) {
        if (message.member() == QLatin1String("Ping")) {
            bus_.send(message.createReply());
            return;
        }
        if (message.member() == QLatin1String("GetMachineId")) {
            bus_.send(message.createReply(QString::fromLatin1(QDBusConnection::localMachineId())));
            return;
        }
    }
    if (!message.interface().isEmpty() && message.interface() != qs(Protocol::interfaceName)) {
        reply(Protocol::Error::unknownMethod, "No such interface.");
        return;
    }
    auto request = Protocol::decode(message.member().toStdString(), message.signature().toStdString(),
                                    argumentsOf(message));
    if (!request) {
        reply(request.error().kind == Protocol::Refusal::Kind::unknownMethod ? Protocol::Error::unknownMethod
                                                                               : Protocol::Error::invalidArgs,
              request.error().message);
        return;
    }
    const auto& method = Protocol::methodOf(request->operation);
    if (!method.action) {
        ownScan(message, *request);
        return;
    }
    auto drive = Operations::findDrive(options_.machine, *request);
    if (!drive) {
        reply(drive.error().name, drive.error().message);
        return;
    }
    if (isScan(request->operation) && scanning(request->drive)) {
        reply(Protocol::Error::busy, request->drive + " is being scanned already.");
        return;
    }
    // A USB drive the user let the service check before is checked without asking again.
    if (request->operation == Protocol::Operation::usbCheck && *drive) {
        const auto signature = app::usbSignature(**drive);
        if (signature && options_.approvals.has(*signature)) {
            start(message, std::move(*request), std::move(*drive));
            return;
        }
    }
    // A call waiting for the user's password counts as running, so the service doesn't
    // leave while polkit asks.
    ++running_;
    options_.authority.check(message.service(), Protocol::actionId(*method.action),
                             [this, message, request = std::move(*request), drive = std::move(*drive),
                              action = *method.action](bool allowed) mutable {
                                 --running_;
                                 if (options_.activity) options_.activity();
                                 if (!allowed) {
                                     bus_.send(message.createErrorReply(
                                         qs(Protocol::Error::notAuthorized),
                                         QStringLiteral("Not authorized: %1.").arg(qs(Protocol::actionId(action)))));
                                     return;
                                 }
                                 start(message, std::move(request), std::move(drive));
                             });
}

void Service::start(const QDBusMessage& message, Protocol::Request request, std::optional<drivekit::Drive> drive) {
    // Each operation holds a thread: a flood of calls is turned away, not given threads.
    if (jobs_.size() >= maxJobs) {
        bus_.send(message.createErrorReply(qs(Protocol::Error::failed), QStringLiteral("Too many calls at once.")));
        return;
    }
    // The drive may have begun a scan for another caller while polkit asked this one.
    if (isScan(request.operation) && scanning(request.drive)) {
        bus_.send(message.createErrorReply(qs(Protocol::Error::busy),
                                           QString::fromStdString(request.drive + " is being scanned already.")));
        return;
    }
    const QString caller = message.service();
    auto stop = std::make_shared<std::atomic<bool>>(false);
    callers_.addWatchedService(caller);
    // The caller may have left before the watch began.
    if (!caller.isEmpty() && !bus_.interface()->isServiceRegistered(caller).value()) stop->store(true);
    ++running_;
    Job& job = jobs_.emplace_back(Job{caller, stop, {}, request.operation, request.drive, {}});
    drivekit::surface_scan::Progress progress;
    drivekit::Checker::Log steps;
    if (isScan(request.operation)) {
        job.scan = std::make_shared<ScanSoFar>();
        progress = [scan = job.scan](const drivekit::surface_scan::Result& result) {
            const std::scoped_lock hold(scan->lock);
            scan->latest = result;
        };
        steps = [scan = job.scan](const std::string& line) {
            const std::scoped_lock hold(scan->lock);
            scan->steps.push_back(line);
        };
    }
    job.thread = std::thread([this, message, request = std::move(request), drive = std::move(drive), stop,
                              progress = std::move(progress), steps = std::move(steps)] {
        auto answer = Operations::perform(options_.machine, request, drive,
                                          Operations::USBWork{options_.usbCheck, options_.usbScan},
                                          [stop] { return stop->load(); }, progress, steps);
        // Approved before the answer leaves, so that the caller's next check finds it.
        if (answer && request.operation == Protocol::Operation::usbCheck && drive) {
            if (const auto signature = app::usbSignature(*drive)) options_.approvals.add(*signature);
        }
        if (!answer) {
            bus_.send(message.createErrorReply(QString::fromStdString(answer.error().name),
                                               QString::fromStdString(answer.error().message)));
        } else if (Protocol::methodOf(request.operation).out.empty()) {
            bus_.send(message.createReply());
        } else if (const auto* bytes = std::get_if<drivekit::Bytes>(&*answer)) {
            const QByteArray data(reinterpret_cast<const char*>(bytes->data()), static_cast<qsizetype>(bytes->size()));
            bus_.send(message.createReply(QVariant(data)));
        } else {
            bus_.send(message.createReply(QVariant(QString::fromStdString(std::get<std::string>(*answer)))));
        }
        const auto id = std::this_thread::get_id();
        QMetaObject::invokeMethod(this, [this, id] { finished(id); }, Qt::QueuedConnection);
    });
}

void Service::finished(const std::thread::id& id) {
    for (auto it = jobs_.begin(); it != jobs_.end(); ++it) {
        if (it->thread.get_id() != id) continue;
        it->thread.join();
        const QString caller = it->caller;
        jobs_.erase(it);
        --running_;
        const bool more = std::any_of(jobs_.begin(), jobs_.end(), [&](const Job& j) { return j.caller == caller; });
        if (!more) callers_.removeWatchedService(caller);
        break;
    }
    if (options_.activity) options_.activity();
}

bool Service::scanning(const std::string& drive) const {
    return std::any_of(jobs_.begin(), jobs_.end(), [&drive](const Job& job) {
        return isScan(job.operation) && job.drive == drive;
    });
}

void Service::ownScan(const QDBusMessage& message, const Protocol::Request& request) {
    // Only the caller that started a scan sees it: another user can neither watch nor stop it.
    const auto job = std::find_if(jobs_.begin(), jobs_.end(), [&](const Job& each) {
        return each.scan && each.caller == message.service() && each.drive == request.drive;
    });
    if (job == jobs_.end()) {
        bus_.send(message.createErrorReply(qs(Protocol::Error::noScan),
                                           QString::fromStdString("No scan of " + request.drive + " for this caller.")));
        return;
    }
    if (request.operation == Protocol::Operation::cancelScan) {
        // The scan ends at its next read and answers its caller with what it read.
        job->stop->store(true);
        bus_.send(message.createReply());
        return;
    }
    std::optional<drivekit::surface_scan::Result> latest;
    std::vector<std::string> steps;
    {
        const std::scoped_lock hold(job->scan->lock);
        latest = job->scan->latest;
        steps = job->scan->steps;
    }
    // Before the first progress (the drive is still being measured, or taken) the answer
    // has no result; a scan by capture's steps so far come with it, all of them each time,
    // so that a look that got lost loses none.
    drivekit::json::Object answer =
        latest ? drivekit::surface_scan::toJson(*latest) : drivekit::json::Object::object();
    if (!steps.empty()) answer["steps"] = steps;
    const std::string text = drivekit::json::dump(answer, drivekit::json::Layout::compact);
    bus_.send(message.createReply(QVariant(QString::fromStdString(text))));
}

void Service::callerLeft(const QString& caller) {
    for (auto& job : jobs_) {
        if (job.caller == caller) job.stop->store(true);
    }
}

}  // namespace service
