#pragma once
// The one table of words that name the Mac. The catalogue keeps the English sentences as
// written for the Mac; on Linux a sentence that names the platform says the true thing:
// "macOS" becomes "Linux", "Mac's" becomes "computer's", "the Mac" becomes "this
// computer". Every sentence that names the platform passes through here, and only here.
#include <string>
#include <string_view>

namespace drivekit::PlatformWords {

/// The sentence with the Mac's names replaced, whole words only ("Machine" is not "Mac").
std::string forLinux(std::string_view sentence);

}  // namespace drivekit::PlatformWords
