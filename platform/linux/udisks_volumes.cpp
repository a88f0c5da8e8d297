#include "platform/linux/udisks_volumes.hpp"

#include <QtDBus/QDBusConnectionInterface>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusMetaType>
#include <QtDBus/QDBusObjectPath>
#include <QtDBus/QDBusReply>
#include <QtDBus/QDBusVariant>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <optional>

#include "platform/block_stack.hpp"
#include "platform/linux/errno_text.hpp"
#include "platform/linux/linux_volumes.hpp"

namespace app {
namespace {

constexpr const char* filesystemInterface = "org.freedesktop.UDisks2.Filesystem";
constexpr const char* blockInterface = "org.freedesktop.UDisks2.Block";
constexpr const char* driveInterface = "org.freedesktop.UDisks2.Drive";
constexpr const char* arrayInterface = "org.freedesktop.UDisks2.MDRaid";
constexpr std::string_view serviceErrors = "org.freedesktop.UDisks2.Error.";

// Mounting may run a file-system check first; the result is read from the mount table
// anyway, so the wait only bounds how long a silent service can hold the check up.
constexpr int mountWaitMs = 20'000;

using Clock = std::chrono::steady_clock;
using platform::blockPath;

std::string text(const QString& value) { return value.toStdString(); }

QDBusMessage callObject(const QDBusConnection& bus, const QString& object, const char* interface,
                        const char* method, int timeoutMs) {
    auto message = QDBusMessage::createMethodCall(UDisks::serviceName, object, interface, method);
    // No options: the service's defaults, and never its "force".
    message << QVariantMap{};
    return bus.call(message, QDBus::Block, timeoutMs);
}

QDBusMessage callFilesystem(const QDBusConnection& bus, const std::string& device,
                            const char* method, int timeoutMs) {
    return callObject(bus, QString::fromStdString(UDisks::blockObjectPath(device)), filesystemInterface,
                      method, timeoutMs);
}

// The object a block device's property names ("Drive", "MDRaid"); nothing for the
// service's "/" (none) or an answer that isn't an object path.
std::optional<QString> linkedObject(const QDBusConnection& bus, std::string_view device, const char* property) {
    auto message = QDBusMessage::createMethodCall(UDisks::serviceName,
                                                  QString::fromStdString(UDisks::blockObjectPath(device)),
                                                  "org.freedesktop.DBus.Properties", "Get");
    message << QString(blockInterface) << QString(property);
    const QDBusReply<QDBusVariant> reply = bus.call(message, QDBus::Block, 5'000);
    if (!reply.isValid()) return std::nullopt;
    const auto path = reply.value().variant().value<QDBusObjectPath>().path();
    if (path.isEmpty() || path == "/") return std::nullopt;
    return path;
}

bool isError(const QDBusMessage& reply) { return reply.type() == QDBusMessage::ErrorMessage; }

// What is left of the disk's time, in whole milliseconds and never less than one, so the
// last call still gets its question out.
int remainingMs(Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(left.count(), 1, 86'400'000));
}

Clock::time_point deadlineAfter(double seconds) {
    const double bounded = std::isfinite(seconds) ? std::clamp(seconds, 0.0, 86'400.0) : 86'400.0;
    return Clock::now() + std::chrono::duration_cast<Clock::duration>(
                              std::chrono::duration<double>(bounded));
}

// Decides on its first use, so that commands that never unmount don't reach for D-Bus.
class ChosenOnFirstUse final : public platform::Volumes {
public:
    ChosenOnFirstUse(const platform::Sysfs& sysfs, const platform::Mounts& mounts)
        : sysfs_(sysfs), mounts_(mounts) {}

    platform::Result<void, platform::UnmountFailure> unmountWhole(std::string_view disk, double timeoutSeconds) override {
        return chosen().unmountWhole(disk, timeoutSeconds);
    }
    std::vector<std::string> mountWhole(std::string_view disk) override { return chosen().mountWhole(disk); }
    std::vector<std::string> mountAll(std::string_view disk) override { return chosen().mountAll(disk); }
    platform::Result<void, platform::UnmountFailure> stopArray(std::string_view array, double timeoutSeconds) override {
        return chosen().stopArray(array, timeoutSeconds);
    }
    platform::Result<void, platform::UnmountFailure> powerOff(std::string_view disk, double timeoutSeconds) override {
        return chosen().powerOff(disk, timeoutSeconds);
    }

private:
    platform::Volumes& chosen() {
        if (!chosen_) chosen_ = chooseVolumes(QDBusConnection::systemBus(), sysfs_, mounts_);
        return *chosen_;
    }

    const platform::Sysfs& sysfs_;
    const platform::Mounts& mounts_;
    std::unique_ptr<platform::Volumes> chosen_;
};

}  // namespace

namespace UDisks {

std::string blockObjectPath(std::string_view device) {
    std::string path = "/org/freedesktop/UDisks2/block_devices/";
    for (const char c : device) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (plain) {
            path += c;
            continue;
        }
        char escaped[4] = {};
        std::snprintf(escaped, sizeof escaped, "_%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
        path += escaped;
    }
    return path;
}

platform::UnmountFailure unmountFailure(std::string_view errorName, std::string_view message) {
    using Kind = platform::UnmountFailure::Kind;
    if (errorName.starts_with(serviceErrors)) {
        const auto name = errorName.substr(serviceErrors.size());
        // The same sentence as the kernel's EBUSY, so the check goes on to name the
        // processes that hold the volume whichever way it was unmounted.
        if (name == "DeviceBusy") return {Kind::refused, platform::errnoText(EBUSY), EBUSY};
        if (name == "Timedout" || name == "TimedOut") return {Kind::timeout, "", ETIMEDOUT};
        if (name.starts_with("NotAuthorized")) {
            return {Kind::refused, message.empty() ? std::string(errorName) : std::string(message), EPERM};
        }
    }
    // Qt's own time-out on the call, or the bus giving up on the service.
    if (errorName == "org.freedesktop.DBus.Error.NoReply" ||
        errorName == "org.freedesktop.DBus.Error.Timeout" ||
        errorName == "org.freedesktop.DBus.Error.TimedOut") {
        return {Kind::timeout, "", ETIMEDOUT};
    }
    // Not authorised, a failed unmount helper, the service gone: its own message.
    return {Kind::refused, message.empty() ? std::string(errorName) : std::string(message)};
}

}  // namespace UDisks

UDisksVolumes::UDisksVolumes(QDBusConnection bus, const platform::Sysfs& sysfs,
                             const platform::Mounts& mounts)
    : bus_(std::move(bus)), sysfs_(sysfs), mounts_(mounts) {}

platform::Result<void, platform::UnmountFailure> UDisksVolumes::unmountWhole(std::string_view disk, double timeoutSeconds) {
    if (!sysfs_.exists(blockPath(disk))) {
        return platform::Unexpected(platform::UnmountFailure{platform::UnmountFailure::Kind::noDisk, "", ENODEV});
    }
    const auto deadline = deadlineAfter(timeoutSeconds);
    auto& record = unmounted_[std::string(disk)];
    lastDisk_ = disk;
    for (const auto& mount : platform::mountsOfDisk(disk, sysfs_, mounts_.list())) {
        const auto reply = callFilesystem(bus_, mount.source, "Unmount", remainingMs(deadline));
        if (isError(reply)) {
            // Already gone (a stacked mount went with the one below it) is no refusal.
            if (text(reply.errorName()) == std::string(serviceErrors) + "NotMounted") continue;
            return platform::Unexpected(UDisks::unmountFailure(text(reply.errorName()), text(reply.errorMessage())));
        }
        if (std::find(record.begin(), record.end(), mount.source) == record.end()) {
            record.push_back(mount.source);
        }
    }
    return {};
}

std::vector<std::string> UDisksVolumes::mountWhole(std::string_view disk) {
    auto it = unmounted_.find(disk);
    std::string renamedFrom;
    if (it == unmounted_.end() || it->second.empty()) {
        // The kernel may give the disk a new name when it finds it again: its partitions
        // keep their numbers under the new one.
        it = unmounted_.find(lastDisk_);
        if (it == unmounted_.end()) return {};
        renamedFrom = lastDisk_;
    }
    const auto& devices = it->second;
    for (auto device = devices.rbegin(); device != devices.rend(); ++device) {
        std::string name = *device;
        if (!renamedFrom.empty() && name.starts_with(renamedFrom)) {
            name = std::string(disk) + name.substr(renamedFrom.size());
        }
        // A file system the automounter took up first answers AlreadyMounted; that and any
        // other refusal show in the mount table, which the caller watches.
        callFilesystem(bus_, name, "Mount", mountWaitMs);
    }
    unmounted_.erase(it);
    // The disk service chooses the mount points itself, never through a user's link.
    return {};
}

std::vector<std::string> UDisksVolumes::mountAll(std::string_view disk) {
    mountWhole(disk);
    // Then every device of the disk that may hold a file system. Those without one answer
    // that they have no such interface; those mounted already answer so; both are left as
    // they are.
    std::vector<std::string> devices = platform::partitionsOf(sysfs_, disk);
    if (devices.empty()) devices.emplace_back(disk);
    for (auto& stacked : platform::stackedOn(disk, sysfs_)) devices.push_back(std::move(stacked));
    const auto table = mounts_.list();
    const auto mounted = platform::mountsOfDisk(disk, sysfs_, table);
    for (const auto& device : devices) {
        const bool isMounted = std::any_of(mounted.begin(), mounted.end(),
                                           [&](const platform::Mount& m) { return m.source == device; });
        if (!isMounted) callFilesystem(bus_, device, "Mount", mountWaitMs);
    }
    return {};
}

platform::Result<void, platform::UnmountFailure> UDisksVolumes::stopArray(std::string_view array,
                                                                         double timeoutSeconds) {
    if (!sysfs_.exists(blockPath(array) + "/md")) return {};
    const auto object = linkedObject(bus_, array, "MDRaid");
    if (!object) {
        return platform::Unexpected(platform::UnmountFailure{
            platform::UnmountFailure::Kind::refused, "the disk service doesn't know the array " + std::string(array)});
    }
    const auto reply = callObject(bus_, *object, arrayInterface, "Stop", remainingMs(deadlineAfter(timeoutSeconds)));
    if (isError(reply)) {
        return platform::Unexpected(UDisks::unmountFailure(text(reply.errorName()), text(reply.errorMessage())));
    }
    return {};
}

platform::Result<void, platform::UnmountFailure> UDisksVolumes::powerOff(std::string_view disk, double timeoutSeconds) {
    if (!sysfs_.exists(blockPath(disk))) {
        return platform::Unexpected(platform::UnmountFailure{platform::UnmountFailure::Kind::noDisk, "", ENODEV});
    }
    const auto object = linkedObject(bus_, disk, "Drive");
    if (!object) {
        return platform::Unexpected(platform::UnmountFailure{
            platform::UnmountFailure::Kind::refused, "the disk service doesn't know the drive of " + std::string(disk)});
    }
    const auto reply = callObject(bus_, *object, driveInterface, "PowerOff", remainingMs(deadlineAfter(timeoutSeconds)));
    if (isError(reply)) {
        return platform::Unexpected(UDisks::unmountFailure(text(reply.errorName()), text(reply.errorMessage())));
    }
    return {};
}

bool diskServiceRuns(const QDBusConnection& bus) {
    if (!bus.isConnected() || bus.interface() == nullptr) return false;
    const QDBusReply<bool> registered = bus.interface()->isServiceRegistered(UDisks::serviceName);
    return registered.isValid() && registered.value();
}

std::unique_ptr<platform::Volumes> chooseVolumes(const QDBusConnection& bus,
                                                 const platform::Sysfs& sysfs,
                                                 const platform::Mounts& mounts) {
    if (diskServiceRuns(bus)) return std::make_unique<UDisksVolumes>(bus, sysfs, mounts);
    return std::make_unique<platform::LinuxVolumes>(sysfs, mounts);
}

std::unique_ptr<platform::Volumes> systemVolumes(const platform::Sysfs& sysfs,
                                                 const platform::Mounts& mounts) {
    return std::make_unique<ChosenOnFirstUse>(sysfs, mounts);
}

}  // namespace app
