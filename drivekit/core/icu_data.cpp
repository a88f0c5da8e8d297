#include "drivekit/core/icu_data.hpp"

#include <mutex>

namespace drivekit::ICUData {

namespace {
// Constant-initialised, so a loader set by another file's static initialiser is kept.
void (*loader)() = nullptr;
std::once_flag loaded;
}  // namespace

void setLoader(void (*load)()) { loader = load; }

void ensure() {
    if (loader == nullptr) return;
    std::call_once(loaded, loader);
}

}  // namespace drivekit::ICUData
