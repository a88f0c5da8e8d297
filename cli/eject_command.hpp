#pragma once
// `vantrel eject DEVICE`: unmounts every volume of the drive and of what is stacked on
// it, stops the RAID array it belongs to and powers it off, so it can be unplugged; a
// member of a RAID set takes the whole set with it. `vantrel mount DEVICE`: mounts the
// drive's volumes again. Both go through the desktop's disk service when it runs, else
// through the kernel's own calls as root.
#include <ostream>
#include <string_view>
#include <vector>

#include "cli/app_names.hpp"

namespace cli {

/// `args` are the words after "eject".
int runEjectCommand(const std::vector<std::string_view>& args, Machine& machine, std::ostream& out,
                    std::ostream& err);

/// `args` are the words after "mount".
int runMountCommand(const std::vector<std::string_view>& args, Machine& machine, std::ostream& out,
                    std::ostream& err);

}  // namespace cli
