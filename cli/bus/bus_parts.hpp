#pragma once
// `monitor`, `history` and `selftest` run a Qt event loop or talk on the session bus, and
// the full Linux machine reaches the system bus: linked only into vantrel-bus,
// vantrel-draw and the tests (see cli/drawing.hpp).

namespace cli {

/// Lets this program run the commands that need the bus itself.
void useBus();

}  // namespace cli
