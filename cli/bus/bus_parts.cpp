#include "cli/bus/bus_parts.hpp"

#include "cli/bus/monitor_command.hpp"
#include "cli/bus/selftest_command.hpp"
#include "cli/drawing.hpp"

namespace cli {

namespace {

std::unique_ptr<app::LinuxMachine> withSystemBus() { return std::make_unique<app::LinuxMachine>(); }

constexpr BusParts kParts{&runMonitorCommand, &runHistoryCommand, &runSelfTest, &withSystemBus};

}  // namespace

void useBus() { setBusParts(&kParts); }

}  // namespace cli
