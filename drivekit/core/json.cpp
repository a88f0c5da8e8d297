#include "drivekit/core/json.hpp"

#include <algorithm>
#include <cstdint>
#include <vector>
#include <exception>

#include "drivekit/core/text.hpp"

namespace drivekit::json {
namespace {

using namespace std::chrono;

// The value with the keys of every object in the order of their UTF-8 bytes. The children
// are moved, not copied into a second tree: the health documents of a list are the last
// thing a one-shot command makes, and copying them was a good part of its printing.
Object sorted(Object value) {
    if (value.is_array()) {
        for (auto& item : value) item = sorted(std::move(item));
        return value;
    }
    if (!value.is_object()) return value;
    auto& fields = value.get_ref<Object::object_t&>();
    std::vector<Object::object_t::iterator> order;
    order.reserve(fields.size());
    for (auto field = fields.begin(); field != fields.end(); ++field) order.push_back(field);
    std::sort(order.begin(), order.end(), [](const auto& a, const auto& b) { return a->first < b->first; });
    Object out = Object::object();
    auto& outFields = out.get_ref<Object::object_t&>();
    outFields.reserve(fields.size());
    for (const auto& field : order) outFields.emplace_back(field->first, sorted(std::move(field->second)));
    return out;
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
            return sorted(value).dump(2, ' ', false, replace);
    }
    return value.dump(-1, ' ', false, replace);
}

std::string dump(Object&& value, Layout layout) {
    if (layout != Layout::prettySorted) return dump(static_cast<const Object&>(value), layout);
    return sorted(std::move(value)).dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace drivekit::json
