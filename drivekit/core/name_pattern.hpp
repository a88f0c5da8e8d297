#pragma once
// A drive's model or firmware name against the tables of known drives: POSIX extended
// regular expressions (with the C library's \b and \w) compiled by the C library. Case is
// ignored for ASCII letters only, whatever the process locale: model names are ASCII by
// standard, and a Turkish dotless i must not decide a match.
//
// A one-shot command reads a handful of drives that almost never match any of the tables'
// expressions, so compiling them all cost more than reading the drives. Each expression is
// therefore compiled only when a name could match it: every branch of an expression names
// the texts any match of it must contain (the letters outside groups, brackets and
// repeats), and a name that lacks one of each branch's texts is turned away without the C
// library.
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace drivekit {

class NamePattern {
  public:
    enum class Span { anywhere, whole };

    /// A pattern that never matches when `ere` doesn't compile (see `valid`).
    NamePattern(std::string_view ere, Span span);
    ~NamePattern();
    NamePattern(NamePattern&&) noexcept;
    NamePattern& operator=(NamePattern&&) noexcept;

    /// Whether the expression compiles (compiling it now if no match has yet).
    bool valid() const;
    /// Whether the pattern matches somewhere in `text` (`anywhere`) or all of it (`whole`).
    /// Safe to call from several threads at once.
    bool matches(std::string_view text) const;

    /// For each top-level branch of `ere`, lowercased, the texts every match of that
    /// branch contains; none for a branch that requires none.
    static std::vector<std::vector<std::string>> requiredTexts(std::string_view ere);

  private:
    struct Compiled;
    const Compiled* compiled() const;

    std::string pattern_;
    std::vector<std::vector<std::string>> required_;
    mutable std::unique_ptr<std::once_flag> once_;
    mutable std::unique_ptr<Compiled> compiled_;
};

}  // namespace drivekit
