#pragma once
// One row of the raw-data view of a reading: a stable key (the English label), the label
// shown to the user and the value already formatted for the user's locale.
#include <string>

namespace drivekit {

struct Detail {
    std::string key;
    std::string label;
    std::string value;

    bool operator==(const Detail&) const = default;
};

}  // namespace drivekit
