#include "drivekit/core/json.hpp"

#include <cstdint>
#include <exception>

#include "drivekit/core/text.hpp"

namespace drivekit::json {
namespace {

using namespace std::chrono;

nlohmann::json sortedCopy(const Object& value) {
    switch (value.type()) {
        case Object::value_t::object: {
            nlohmann::json out = nlohmann::json::object();
            for (const auto& [key, item] : value.items()) out[key] = sortedCopy(item);
            return out;
        }
        case Object::value_t::array: {
            nlohmann::json out = nlohmann::json::array();
            for (const auto& item : value) out.push_back(sortedCopy(item));
            return out;
        }
        case Object::value_t::string:
            return value.get_ref<const std::string&>();
        case Object::value_t::boolean:
            return value.get<bool>();
        case Object::value_t::number_integer:
            return value.get<std::int64_t>();
        case Object::value_t::number_unsigned:
            return value.get<std::uint64_t>();
        case Object::value_t::number_float:
            return value.get<double>();
        case Object::value_t::binary:
            return nlohmann::json::binary(value.get_binary());
        case Object::value_t::null:
        case Object::value_t::discarded:
            break;
    }
    return nullptr;
}

}  // namespace

std::optional<Object> parse(std::string_view text) {
    try {
        Object value = Object::parse(text.begin(), text.end(), nullptr, false);
        if (value.is_discarded()) return std::nullopt;
        return value;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::string dump(const Object& value, Layout layout) {
    constexpr auto replace = nlohmann::json::error_handler_t::replace;
    switch (layout) {
        case Layout::compact:
            break;
        case Layout::pretty:
            return value.dump(2, ' ', false, replace);
        case Layout::prettySorted:
            return sortedCopy(value).dump(2, ' ', false, replace);
    }
    return value.dump(-1, ' ', false, replace);
}

}  // namespace drivekit::json
