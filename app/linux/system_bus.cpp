// The Linux machine with what the system bus offers: the disk service's volumes (udisks2,
// chosen on first use, so commands that never unmount never touch D-Bus) and, for a user
// who isn't root, the privileged service when it runs or the bus can start it.
#include <QDBusConnection>

#include "app/linux/linux_machine.hpp"
#include "app/linux/service_client.hpp"
#include "platform/linux/udisks_volumes.hpp"

namespace app {

LinuxMachine::LinuxMachine()
    : LinuxMachine(Bus{systemVolumes, []() -> std::unique_ptr<ServiceReach> {
                           auto client = std::make_unique<ServiceClient>(QDBusConnection::systemBus());
                           if (!client->present()) return nullptr;
                           return client;
                       }}) {}

}  // namespace app
