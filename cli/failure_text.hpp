#pragma once
// The command line's answer to the core's failures: the shared sentence and an exit code
// for each case.
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
