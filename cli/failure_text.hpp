#pragma once
// The command line's words for the core's failures: one sentence and one exit code for
// each case, in one switch.
#include <string>

#include "app/failure.hpp"

namespace cli {

struct Said {
    /// Without the "vantrel: " lead and with its final stop.
    std::string sentence;
    int exitCode = 0;
};

Said said(const app::Failure& failure);

}  // namespace cli
