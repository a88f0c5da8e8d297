#pragma once
// `report` and `card` draw with Qt Gui, whose libraries (GL, fonts, shaping, images) would
// load at every start of vantrel, `list` as much as `report`. So they are drawn by a
// second program beside it, vantrel-draw, which is the same command line with the
// drawing linked in: vantrel hands such a command over to it whole, and every other
// command starts without those libraries.
#include <ostream>
#include <string_view>
#include <vector>

#include "cli/app_names.hpp"

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

}  // namespace cli
