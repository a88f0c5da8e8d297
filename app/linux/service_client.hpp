#pragma once
// The privileged service as a program that isn't root sees it: the machine's NVMe admin
// commands, its SCSI pass-through, the careful USB check, the surface scan and the process
// snapshot, each
// carried out by the service on the system bus. DriveKit's readers send their usual
// command blocks; the few they send for health are mapped onto the service's methods and
// every other block is refused here, so the readers, the rules and the rating are the
// very ones that run as root.
#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariantList>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include "app/linux/linux_machine.hpp"
#include "app/machine.hpp"
#include "app/writes/writes_source.hpp"
#include "platform/nvme_admin.hpp"

namespace app {

class ServiceClient : public ServiceReach {
  public:
    /// Errno an operation gives when polkit didn't allow it ("key rejected by service").
    static constexpr int notAuthorizedErrno = EKEYREJECTED;

    /// The service on `bus`; a careful check opens a connection of its own to the same bus,
    /// the system bus or the one at `address`.
    explicit ServiceClient(QDBusConnection bus, QString address = {});

    /// The service runs, or the bus can start it.
    bool present() const;

    QDBusMessage call(std::string_view member, const QVariantList& args, int timeoutMs) const;
    /// Remembers that polkit refused an operation on the drive, so the failure says so.
    void noteRefused(const QDBusMessage& reply, std::string_view drive);
    bool refused(std::string_view drive) const override;

    platform::NVMeAdmin& nvme() override { return *nvme_; }
    /// Connections to a disk's pass-through over the service; the first answer (CHECK
    /// POWER MODE, which never spins a disk up) also says whether the service may read it.
    OpenSCSI openSCSI() override;
    /// The careful USB check in the service. A stop leaves the bus, which makes the
    /// service give the drive back at once.
    decltype(Machine::serviceCheck) check() override;
    /// A surface scan in the service, on a connection of its own: it looks at the scan's
    /// progress twice a second, cancels it in the service on a stop and then waits for what
    /// was read; when even the cancel isn't answered, it leaves the bus, which stops it too.
    decltype(Machine::serviceScan) scan() override;
    /// Snapshots of every process's counters, each within the 5 s the loop waits.
    std::shared_ptr<WritesSource> writes(std::function<void(const std::string&)> log) override;

  private:
    QDBusConnection bus_;
    QString address_;
    std::unique_ptr<platform::NVMeAdmin> nvme_;
    mutable std::mutex lock_;
    std::set<std::string, std::less<>> refused_;
};

}  // namespace app
