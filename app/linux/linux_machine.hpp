#pragma once
// The real Linux machine: every platform interface wired to its Linux implementation, in
// one place that the command line, the desktop application and the service share. It
// owns what the `Machine` record points at, so it lives as long as the front end runs.
//
// What only the system bus offers (the disk service's volumes, the privileged service of a
// user who isn't root) is handed in as `Bus`, so the machine itself links no Qt:
// `vantrel` runs its commands as root without Qt's libraries, and the programs that link
// the bus (app/linux/system_bus.cpp) get the full machine from `LinuxMachine()`.
#include <functional>
#include <memory>
#include <string_view>

#include "app/machine.hpp"

namespace app {

/// The privileged service as a program that isn't root reaches it: each operation carried
/// out by the service (`ServiceClient`, over the system bus).
class ServiceReach {
  public:
    virtual ~ServiceReach() = default;
    virtual platform::NVMeAdmin& nvme() = 0;
    virtual OpenSCSI openSCSI() = 0;
    virtual decltype(Machine::serviceCheck) check() = 0;
    virtual decltype(Machine::serviceScan) scan() = 0;
    virtual std::shared_ptr<WritesSource> writes(std::function<void(const std::string&)> log) = 0;
    /// Whether polkit refused an operation on the drive, so the failure says so.
    virtual bool refused(std::string_view drive) const = 0;
};

class LinuxMachine {
  public:
    struct Bus {
        /// The volumes to unmount and mount through; none: the kernel's own calls.
        std::function<std::unique_ptr<platform::Volumes>(const platform::Sysfs&, const platform::Mounts&)> volumes;
        /// The privileged service when this user reads through it; none (or null): directly.
        std::function<std::unique_ptr<ServiceReach>()> service;
    };

    /// With the system bus's parts (defined beside them, in vantrel_app_linux).
    LinuxMachine();
    /// With what `bus` offers; `Bus{}` is the direct machine of a root that needs no bus.
    explicit LinuxMachine(Bus bus);
    ~LinuxMachine();
    LinuxMachine(const LinuxMachine&) = delete;
    LinuxMachine& operator=(const LinuxMachine&) = delete;

    /// The record of interfaces, with the careful USB check wired in.
    Machine& machine();

  private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace app
