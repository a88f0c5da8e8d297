// vantrel-bus: the vantrel command line with Qt's event loop and the system bus linked in.
// vantrel hands it the commands that need them (cli/drawing.hpp), so that the others
// start without Qt.
#include "cli/bus/bus_parts.hpp"
#include "cli/cli.hpp"

int main(int argc, char** argv) {
    cli::useBus();
    return cli::main(argc, argv);
}
