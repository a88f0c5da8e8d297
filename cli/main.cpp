#include "cli/cli.hpp"

int main(int argc, char** argv) {
    return cli::main(argc, argv);
}
