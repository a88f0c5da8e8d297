#include "cli/cli.hpp"

#include <iostream>

namespace cli {

int main(int, char**) {
    std::cerr << "vantrel: not built yet\n";
    return 2;
}

}  // namespace cli
