#pragma once
// Where the commands that make files for sharing (report, card, readings) read the kept
// state from and write their file to.
#include <ostream>
#include <string>

#include "app/store/state_files.hpp"

namespace cli {

/// The data and configuration folders; a demo machine's readings stay in a `demo` folder
/// of their own, apart from this computer's.
app::StatePaths sharePaths(bool demo);

/// Writes the bytes whole: to `out` for "-", else atomically into the file, saying so on
/// `err`. The exit code.
int writeShared(const std::string& data, const std::string& file, std::ostream& out, std::ostream& err);

}  // namespace cli
