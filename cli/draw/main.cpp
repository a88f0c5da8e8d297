// vantrel-draw: the vantrel command line with the drawing of reports and cards linked in,
// and the bus (a user who isn't root reads the drive through the privileged service).
// vantrel hands `report` and `card` over to it, so that no other command loads Qt Gui.
#include "cli/bus/bus_parts.hpp"
#include "cli/cli.hpp"
#include "cli/draw/draw_commands.hpp"

int main(int argc, char** argv) {
    cli::useBus();
    cli::useDrawing();
    return cli::main(argc, argv);
}
