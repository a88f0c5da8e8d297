#pragma once
// The demonstration machine for every front end: which description `--demo` uses, and
// the Machine record over a described machine (platform::DemoMachine), so the demo runs
// the very code real drives go through.
#include <filesystem>

#include "app/machine.hpp"
#include "platform/demo/demo_machine.hpp"

namespace app {

/// The description the demo uses without a file: the one installed with the program
/// (<prefix>/share/vantrel/demo/machine.json beside <prefix>/bin/vantrel), else the one
/// in the source tree the program was built from, for builds run where they were made.
std::filesystem::path defaultDemoFile();

/// The Machine record over a demo machine, which must outlive it.
Machine demoMachine(platform::DemoMachine& demo, drivekit::Locale locale);

}  // namespace app
