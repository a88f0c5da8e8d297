#include "drivekit/core/platform_words.hpp"

#include <array>
#include <cctype>
#include <utility>

namespace drivekit::PlatformWords {
namespace {

// Applied one after another, in this order: the possessive first, so "the Mac's built-in
// SD reader" reads "the computer's built-in SD reader".
constexpr std::array<std::pair<std::string_view, std::string_view>, 4> kWords{{
    {"macOS", "Linux"},
    {"Mac's", "computer's"},
    {"the Mac", "this computer"},
    {"The Mac", "This computer"},
}};

bool isWordCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

std::string replaceWord(std::string_view text, std::string_view word, std::string_view by) {
    std::string out;
    out.reserve(text.size() + 16);
    std::size_t i = 0;
    while (i < text.size()) {
        const std::size_t end = i + word.size();
        const bool matches = text.substr(i, word.size()) == word &&
                             (i == 0 || !isWordCharacter(text[i - 1])) &&
                             (end >= text.size() || !isWordCharacter(text[end]));
        if (matches) {
            out += by;
            i = end;
        } else {
            out += text[i++];
        }
    }
    return out;
}

}  // namespace

std::string forLinux(std::string_view sentence) {
    std::string text(sentence);
    for (const auto& [mac, forLinuxWord] : kWords) text = replaceWord(text, mac, forLinuxWord);
    return text;
}

}  // namespace drivekit::PlatformWords
