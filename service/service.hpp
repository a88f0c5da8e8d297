#pragma once
// The service on the bus: one object that answers the methods of the protocol's table.
// Each call is decoded, its drive found among the whole disks discovery shows, the
// caller's right to the operation asked of the authority, and then the operation runs on
// a worker thread of its own, which sends the reply. A caller that leaves the bus stops
// its running operations: a careful check then gives the drive back at once. A scan's
// progress and its cancel reach only the scan the same caller started.
#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QDBusVirtualObject>
#include <QString>
#include <atomic>
#include <filesystem>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

#include "app/machine.hpp"
#include "platform/file_store.hpp"
#include "service/authority.hpp"
#include "service/operations.hpp"

namespace service {

/// USB drives the user let the service check before, by `usbSignature`: checked again
/// without asking. One JSON array of texts in the service's own folder.
class Approvals {
  public:
    Approvals(platform::FileStore& files, std::filesystem::path file) : files_(files), file_(std::move(file)) {}
    bool has(const std::string& signature) const;
    void add(const std::string& signature);

  private:
    std::vector<std::string> read() const;
    mutable std::mutex lock_;
    platform::FileStore& files_;
    std::filesystem::path file_;
};

class Service final : public QDBusVirtualObject {
  public:
    struct Options {
        app::Machine& machine;
        Authority& authority;
        USBCheck usbCheck;
        Approvals& approvals;
        /// Called on the service's thread at each call and at the end of each operation.
        std::function<void()> activity = {};
        /// The surface scan of a USB drive by capture; absent, none is run.
        USBScan usbScan = {};
    };

    Service(QDBusConnection bus, Options options);
    ~Service() override;

    /// Registers the object; false when the path is taken.
    bool publish();
    /// Operations still running, or waiting for polkit's answer.
    int running() const { return running_.load(); }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;
    QString introspect(const QString& path) const override;

  private:
    /// What a scan has read so far, and a scan by capture's steps so far, written by its
    /// thread and read by the service's.
    struct ScanSoFar {
        std::mutex lock;
        std::optional<drivekit::surface_scan::Result> latest;
        std::vector<std::string> steps;
    };

    struct Job {
        QString caller;
        std::shared_ptr<std::atomic<bool>> stop;
        std::thread thread;
        app::ServiceProtocol::Operation operation = app::ServiceProtocol::Operation::nvmeHealthLog;
        std::string drive;
        std::shared_ptr<ScanSoFar> scan;
    };

    void dispatch(const QDBusMessage& message);
    /// Answers a look at the caller's own scan, or stops it.
    void ownScan(const QDBusMessage& message, const app::ServiceProtocol::Request& request);
    bool scanning(const std::string& drive) const;
    void start(const QDBusMessage& message, app::ServiceProtocol::Request request,
               std::optional<drivekit::Drive> drive);
    void finished(const std::thread::id& id);
    void callerLeft(const QString& caller);

    QDBusConnection bus_;
    Options options_;
    QDBusServiceWatcher callers_;
    std::list<Job> jobs_;
    std::atomic<int> running_{0};
};

}  // namespace service
