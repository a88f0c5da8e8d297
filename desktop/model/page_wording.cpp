#include "desktop/model/page_wording.hpp"

namespace desktop::Wording {

namespace {

std::string filled(std::string_view pattern, std::initializer_list<std::string> texts,
                   const std::optional<std::string>& number) {
    std::string out;
    auto text = texts.begin();
    for (std::size_t i = 0; i < pattern.size();) {
        if (pattern.compare(i, 2, "%@") == 0 && text != texts.end()) {
            out += *text++;
            i += 2;
        } else if (pattern.compare(i, 4, "%lld") == 0 && number) {
            out += *number;
            i += 4;
        } else {
            out += pattern[i++];
        }
    }
    return out;
}

}  // namespace

std::string fill(std::string_view pattern, std::initializer_list<std::string> texts) {
    return filled(pattern, texts, std::nullopt);
}

std::string fill(std::string_view pattern, std::initializer_list<std::string> texts, long long number,
                 const drivekit::Locale& locale) {
    return filled(pattern, texts, drivekit::LocalFormat::count(static_cast<std::int64_t>(number), locale));
}

}  // namespace desktop::Wording
