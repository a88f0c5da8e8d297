#pragma once
// `vantrel --demo`: the commands run on a described machine (platform::DemoMachine) in
// place of this computer, through the very same Machine record, so the demo shows what
// the program does on real drives of that make-up.
#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "cli/app_names.hpp"
#include "platform/demo/demo_machine.hpp"

namespace cli {

/// The description `--demo` without a file uses: the one installed with the program
/// (<prefix>/share/vantrel/demo/machine.json beside <prefix>/bin/vantrel), else the one
/// in the source tree the program was built from, for builds run where they were made.
std::filesystem::path defaultDemoFile();

/// The Machine record over a demo machine, which must outlive it.
Machine demoMachine(platform::DemoMachine& demo, drivekit::Locale locale);

/// Loads the description (`file` empty: the default) and runs the command line on it.
/// A description that can't be used is one sentence on `err` and the usage exit code.
int runDemo(const std::vector<std::string_view>& args, const std::string& file, std::ostream& out,
            std::ostream& err);

}  // namespace cli
