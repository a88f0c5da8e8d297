#pragma once
// The sentence of each failure of the core, in one switch, for every front end: the
// command line prints it after "vantrel: " (with its own exit code), the window shows it
// where the request was made.
#include <string>

#include "app/failure.hpp"

namespace app::FailureText {

/// Without a lead and, where it is a sentence of its own, with its final stop.
std::string sentence(const Failure& failure);

}  // namespace app::FailureText
