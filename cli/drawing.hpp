#pragma once
// The parts of the program, and which command runs in which.
//
// `report` and `card` draw with Qt Gui, whose libraries (GL, fonts, shaping, images) would
// load at every start of vantrel, `list` as much as `report`. So they are drawn by a
// second program beside it, vantrel-draw, which is the same command line with the
// drawing linked in: vantrel hands such a command over to it whole, and every other
// command starts without those libraries.
#include <memory>
#include <ostream>
#include <string_view>
#include <vector>

#include "app/linux/linux_machine.hpp"
#include "cli/app_names.hpp"
#include "cli/arguments.hpp"

namespace cli {

/// Runs `report` or `card` with the words after it.
using DrawingCommand = int (*)(std::string_view command, const std::vector<std::string_view>& args,
                               Machine& machine, bool demo, std::ostream& out, std::ostream& err);

/// Set by the programs that link the drawing (vantrel-draw, the tests); null in vantrel.
void setDrawing(DrawingCommand command);
DrawingCommand drawing();

/// Whether the command line asks for a drawing: `report` or `card`, after --demo or not.
bool asksForDrawing(const std::vector<std::string_view>& args);

/// Replaces this process by vantrel-draw from the folder of this program, with the same
/// words. Returns only when it couldn't be started, with the exit code after saying why.
int handOverToDrawing(char** argv, std::ostream& err);

/// Whether the command line asks for the window: no words, or only --demo[=FILE] and a
/// vantrel:// link (the application menu's entry passes links it is given).
bool asksForDesktop(const std::vector<std::string_view>& args);

/// Replaces this process by vantrel-desktop, the window, which links Qt Widgets that no
/// command needs; found as vantrel-draw is. Returns only when it couldn't be started.
int handOverToDesktop(char** argv, std::ostream& err);

// Qt Core and Qt D-Bus, with the dozen libraries D-Bus brings (libdbus, libsystemd,
// libgcrypt, ...), cost a one-shot command more time to load and link than reading five
// drives. So `vantrel` links no Qt: what needs Qt's event loop or the system bus runs in
// vantrel-bus, the same command line with those linked in, found and started as
// vantrel-draw is. That is `monitor`, `history`, `selftest`, `eject` and `mount`; every
// command that reads drives for a user who isn't root (through the privileged service);
// and, where the disk service is installed, `check` and `watch`, whose careful USB check
// unmounts through it.

/// What the programs that link the bus add (vantrel-bus, vantrel-draw, the tests).
struct BusParts {
    int (*monitor)(const std::vector<std::string_view>& args, Machine& machine, bool demo, std::ostream& out,
                   std::ostream& err);
    int (*history)(const std::vector<std::string_view>& args, Machine& machine, bool demo, std::ostream& out,
                   std::ostream& err);
    int (*selftest)(const Arguments& arguments, Machine& machine, std::ostream& out, std::ostream& err);
    /// The Linux machine with the system bus's parts.
    std::unique_ptr<app::LinuxMachine> (*machine)();
};

/// Set by the programs that link the bus; null in vantrel.
void setBusParts(const BusParts* parts);
const BusParts* busParts();

/// Whether the command line needs the bus, as above; `root` is whether this runs as root,
/// `diskService` says whether the disk service is installed (asked only when it matters).
bool asksForBus(const std::vector<std::string_view>& args, bool root, bool (*diskService)());

/// Whether udisks2 is installed here (its bus activation file or its daemon).
bool diskServiceInstalled();

/// Replaces this process by vantrel-bus, with the same words. Returns only when it
/// couldn't be started, with the exit code after saying why.
int handOverToBus(char** argv, std::ostream& err);

}  // namespace cli
