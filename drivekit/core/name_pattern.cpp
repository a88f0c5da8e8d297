#include "drivekit/core/name_pattern.hpp"

#include <regex.h>

#include <algorithm>

#include "drivekit/core/text.hpp"

namespace drivekit {

namespace {

// Letters lowered except the one after a backslash, which names an operator (\b, \w).
std::string loweredPattern(std::string_view ere) {
    std::string out;
    out.reserve(ere.size() + 4);
    bool escaped = false;
    for (const char c : ere) {
        out += escaped ? c : text::asciiLower(c);
        escaped = !escaped && c == '\\';
    }
    return out;
}

// Where the bracket expression opening at `at` ends: a ']' first in the list (or after
// '^') is a member, not the end.
std::size_t afterBracket(std::string_view ere, std::size_t at) {
    std::size_t i = at + 1;
    if (i < ere.size() && ere[i] == '^') ++i;
    if (i < ere.size() && ere[i] == ']') ++i;
    while (i < ere.size() && ere[i] != ']') ++i;
    return std::min(i + 1, ere.size());
}

}  // namespace

std::vector<std::vector<std::string>> NamePattern::requiredTexts(std::string_view ere) {
    std::vector<std::vector<std::string>> branches;
    std::vector<std::string> texts;
    std::string run;
    const auto endRun = [&] {
        if (!run.empty()) texts.push_back(text::asciiLowered(run));
        run.clear();
    };
    int depth = 0;
    for (std::size_t i = 0; i < ere.size();) {
        const char c = ere[i];
        if (c == '\\') {  // \b, \w, \. and the like: conservatively no letter of ours
            endRun();
            i = std::min(i + 2, ere.size());
        } else if (c == '[') {
            endRun();
            i = afterBracket(ere, i);
        } else if (c == '(') {
            endRun();
            ++depth;
            ++i;
        } else if (c == ')') {
            depth = std::max(0, depth - 1);
            ++i;
        } else if (depth > 0) {
            ++i;  // inside a group, which may be optional or one of several
        } else if (c == '|') {
            endRun();
            branches.push_back(std::move(texts));
            texts.clear();
            ++i;
        } else if (c == '?' || c == '*' || c == '{') {
            // The letter before may be absent: it leaves the run.
            if (!run.empty()) run.pop_back();
            endRun();
            if (c == '{') {
                while (i < ere.size() && ere[i] != '}') ++i;
            }
            ++i;
        } else if (c == '+') {
            endRun();  // the letter stays, but what follows needn't come right after it
            ++i;
        } else if (c == '.' || c == '^' || c == '$') {
            endRun();
            ++i;
        } else {
            run += c;
            ++i;
        }
    }
    endRun();
    branches.push_back(std::move(texts));
    return branches;
}

struct NamePattern::Compiled {
    regex_t regex{};
    bool ok = false;
    ~Compiled() {
        if (ok) regfree(&regex);
    }
};

NamePattern::NamePattern(std::string_view ere, Span span)
    : pattern_(loweredPattern(ere)),
      required_(requiredTexts(ere)),
      once_(std::make_unique<std::once_flag>()) {
    if (span == Span::whole) pattern_ = "^(" + pattern_ + ")$";
}

NamePattern::~NamePattern() = default;
NamePattern::NamePattern(NamePattern&&) noexcept = default;
NamePattern& NamePattern::operator=(NamePattern&&) noexcept = default;

const NamePattern::Compiled* NamePattern::compiled() const {
    std::call_once(*once_, [this] {
        auto made = std::make_unique<Compiled>();
        made->ok = regcomp(&made->regex, pattern_.c_str(), REG_EXTENDED | REG_NOSUB) == 0;
        compiled_ = std::move(made);
    });
    return compiled_->ok ? compiled_.get() : nullptr;
}

bool NamePattern::valid() const { return compiled() != nullptr; }

bool NamePattern::matches(std::string_view text) const {
    const std::string name = text::asciiLowered(text);
    const bool possible = std::any_of(required_.begin(), required_.end(), [&](const auto& texts) {
        return std::all_of(texts.begin(), texts.end(), [&](const std::string& part) {
            return name.find(part) != std::string::npos;
        });
    });
    if (!possible) return false;
    const Compiled* regex = compiled();
    return regex != nullptr && regexec(&regex->regex, name.c_str(), 0, nullptr, 0) == 0;
}

}  // namespace drivekit
