#pragma once
// Typed reads of one key of a stored JSON record. A missing key and a value of the wrong
// type or out of range both read as nothing: stored files may be old or damaged, and
// damaged counts as absent. Callers decide whether a missing field spoils the record.
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "drivekit/core/json.hpp"

namespace app::jsonfield {

using Object = drivekit::json::Object;

inline const Object* find(const Object& object, std::string_view key) {
    if (!object.is_object()) return nullptr;
    const auto it = object.find(std::string(key));
    return it == object.end() ? nullptr : &*it;
}

inline std::optional<std::string> text(const Object& object, std::string_view key) {
    const Object* value = find(object, key);
    if (value == nullptr || !value->is_string()) return std::nullopt;
    return value->get<std::string>();
}

inline std::optional<bool> boolean(const Object& object, std::string_view key) {
    const Object* value = find(object, key);
    if (value == nullptr || !value->is_boolean()) return std::nullopt;
    return value->get<bool>();
}

inline std::optional<double> number(const Object& object, std::string_view key) {
    const Object* value = find(object, key);
    if (value == nullptr || !value->is_number()) return std::nullopt;
    return value->get<double>();
}

inline std::optional<std::int64_t> int64(const Object& object, std::string_view key) {
    const Object* value = find(object, key);
    if (value == nullptr || !value->is_number_integer()) return std::nullopt;
    if (value->is_number_unsigned() &&
        value->get<std::uint64_t>() >
            static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return std::nullopt;
    }
    return value->get<std::int64_t>();
}

inline std::optional<int> integer(const Object& object, std::string_view key) {
    const auto value = int64(object, key);
    if (!value || *value < std::numeric_limits<int>::min() ||
        *value > std::numeric_limits<int>::max()) {
        return std::nullopt;
    }
    return static_cast<int>(*value);
}

inline std::optional<std::uint64_t> uint64(const Object& object, std::string_view key) {
    const Object* value = find(object, key);
    if (value == nullptr || !value->is_number_unsigned()) return std::nullopt;
    return value->get<std::uint64_t>();
}

inline const Object* object(const Object& parent, std::string_view key) {
    const Object* value = find(parent, key);
    return value != nullptr && value->is_object() ? value : nullptr;
}

inline const Object* array(const Object& parent, std::string_view key) {
    const Object* value = find(parent, key);
    return value != nullptr && value->is_array() ? value : nullptr;
}

/// A list of texts; nothing when any element isn't text.
inline std::optional<std::vector<std::string>> texts(const Object& parent, std::string_view key) {
    const Object* list = array(parent, key);
    if (list == nullptr) return std::nullopt;
    std::vector<std::string> out;
    for (const auto& item : *list) {
        if (!item.is_string()) return std::nullopt;
        out.push_back(item.get<std::string>());
    }
    return out;
}

/// A list of records decoded one by one; nothing when any element fails to decode.
template <typename Decode>
auto records(const Object& parent, std::string_view key, Decode decode) -> std::optional<
    std::vector<typename decltype(decode(std::declval<const Object&>()))::value_type>> {
    using T = typename decltype(decode(std::declval<const Object&>()))::value_type;
    const Object* list = array(parent, key);
    if (list == nullptr) return std::nullopt;
    std::vector<T> out;
    for (const auto& item : *list) {
        auto decoded = decode(item);
        if (!decoded) return std::nullopt;
        out.push_back(std::move(*decoded));
    }
    return out;
}

}  // namespace app::jsonfield
