#pragma once
// The vantrel command line: parses the subcommand, wires the Linux platform, prints.

namespace cli {

int main(int argc, char** argv);

}  // namespace cli
