#pragma once
// A value or the failure that stopped it. C++20 has no std::expected, and the readers
// need exactly this much of it: construct from either side, ask which, take it out.
//
// The one way platform interfaces report failure: an operation that can fail returns
// Result<T, E>, or Result<void, E> when it has nothing to give back, where E is the
// interface's failure record and carries the system's own code (an errno, or the
// library's code where a library stands between). A query whose answer may simply be
// absent (a sysfs attribute, a mount table) gives an empty optional or list instead.
#include <cassert>
#include <optional>
#include <utility>
#include <variant>

namespace platform {

template <typename E>
struct Unexpected {
    // A constructor, not an aggregate: `Unexpected(e)` then also compiles on clang 14,
    // which lacks parenthesised aggregate initialisation.
    explicit Unexpected(E e) : error(std::move(e)) {}
    E error;
};
template <typename E>
Unexpected(E) -> Unexpected<E>;

template <typename T, typename E>
class Result {
public:
    Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
    Result(Unexpected<E> failure) : state_(std::in_place_index<1>, std::move(failure.error)) {}

    bool ok() const noexcept { return state_.index() == 0; }
    explicit operator bool() const noexcept { return ok(); }

    const T& value() const& { assert(ok()); return std::get<0>(state_); }
    T& value() & { assert(ok()); return std::get<0>(state_); }
    T&& value() && { assert(ok()); return std::get<0>(std::move(state_)); }
    const T& operator*() const& { return value(); }
    const T* operator->() const { return &value(); }

    const E& error() const& { assert(!ok()); return std::get<1>(state_); }

private:
    std::variant<T, E> state_;
};

/// Success with nothing to give back (`return {};`), or the failure.
template <typename E>
class Result<void, E> {
public:
    Result() = default;
    Result(Unexpected<E> failure) : failure_(std::move(failure.error)) {}

    bool ok() const noexcept { return !failure_; }
    explicit operator bool() const noexcept { return ok(); }

    const E& error() const& { assert(!ok()); return *failure_; }

private:
    std::optional<E> failure_;
};

}  // namespace platform
