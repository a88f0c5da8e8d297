// vantrel-draw: the vantrel command line with the drawing of reports and cards linked in.
// vantrel hands `report` and `card` over to it, so that no other command loads Qt Gui.
#include "cli/cli.hpp"
#include "cli/draw/draw_commands.hpp"

int main(int argc, char** argv) {
    cli::useDrawing();
    return cli::main(argc, argv);
}
