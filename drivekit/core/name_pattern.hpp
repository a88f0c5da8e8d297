#pragma once
// A drive's model or firmware name against the tables of known drives: POSIX extended
// regular expressions (with the C library's \b and \w) compiled by the C library. The
// tables were std::regex once, whose compiler builds a 256-entry cache for every bracket
// expression and \d: compiling them took longer than reading the drives in a one-shot
// `vantrel list`. Case is ignored for ASCII letters only, whatever the process locale:
// model names are ASCII by standard, and a Turkish dotless i must not decide a match.
#include <memory>
#include <string_view>

namespace drivekit {

class NamePattern {
  public:
    enum class Span { anywhere, whole };

    /// A pattern that never matches when `ere` doesn't compile (see `valid`).
    NamePattern(std::string_view ere, Span span);
    ~NamePattern();
    NamePattern(NamePattern&&) noexcept;
    NamePattern& operator=(NamePattern&&) noexcept;

    bool valid() const noexcept { return compiled_ != nullptr; }
    /// Whether the pattern matches somewhere in `text` (`anywhere`) or all of it (`whole`).
    /// Safe to call from several threads at once.
    bool matches(std::string_view text) const;

  private:
    struct Compiled;
    std::unique_ptr<Compiled> compiled_;
};

}  // namespace drivekit
