#include "drivekit/core/name_pattern.hpp"

#include <regex.h>

#include <string>

namespace drivekit {

namespace {

char asciiLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Letters lowered except the one after a backslash, which names an operator (\b, \w).
std::string loweredPattern(std::string_view ere) {
    std::string out;
    out.reserve(ere.size() + 4);
    bool escaped = false;
    for (const char c : ere) {
        out += escaped ? c : asciiLower(c);
        escaped = !escaped && c == '\\';
    }
    return out;
}

}  // namespace

struct NamePattern::Compiled {
    regex_t regex{};
    ~Compiled() { regfree(&regex); }
};

NamePattern::NamePattern(std::string_view ere, Span span) {
    std::string pattern = loweredPattern(ere);
    if (span == Span::whole) pattern = "^(" + pattern + ")$";
    auto made = std::make_unique<Compiled>();
    if (regcomp(&made->regex, pattern.c_str(), REG_EXTENDED | REG_NOSUB) != 0) return;
    compiled_ = std::move(made);
}

NamePattern::~NamePattern() = default;
NamePattern::NamePattern(NamePattern&&) noexcept = default;
NamePattern& NamePattern::operator=(NamePattern&&) noexcept = default;

bool NamePattern::matches(std::string_view text) const {
    if (!compiled_) return false;
    std::string lowered(text);
    for (char& c : lowered) c = asciiLower(c);
    return regexec(&compiled_->regex, lowered.c_str(), 0, nullptr, 0) == 0;
}

}  // namespace drivekit
