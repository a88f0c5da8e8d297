#include <cmath>

#include "drivekit/discovery/discovery_pass.hpp"

namespace drivekit::Discovery::Internal {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
char lowerASCII(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
}

std::string lowered(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), lowerASCII);
    return out;
}

bool allDigits(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

bool isNumbered(std::string_view name, std::string_view prefix) {
    return name.starts_with(prefix) && allDigits(name.substr(prefix.size()));
}

std::string_view baseName(std::string_view path) {
    const auto slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::optional<double> parseDecimal(std::string_view text) {
    const auto dot = text.find('.');
    const auto whole = number<std::uint64_t>(text.substr(0, dot));
    if (!whole) return std::nullopt;
    double value = static_cast<double>(*whole);
    if (dot != std::string_view::npos) {
        const auto fraction = text.substr(dot + 1);
        if (!allDigits(fraction) || fraction.size() > 9) return std::nullopt;
        value += static_cast<double>(*number<std::uint64_t>(fraction)) /
                 std::pow(10.0, static_cast<double>(fraction.size()));
    }
    return value;
}

bool isPCIAddress(std::string_view name) {
    // dddd:bb:dd.f
    return name.size() == 12 && name[4] == ':' && name[7] == ':' && name[10] == '.';
}

bool isUSBDeviceName(std::string_view name) {
    if (name.starts_with("usb")) return name.size() > 3 && allDigits(name.substr(3));
    const auto dash = name.find('-');
    if (dash == 0 || dash == std::string_view::npos || !allDigits(name.substr(0, dash))) return false;
    const auto ports = name.substr(dash + 1);
    return !ports.empty() && isDigit(ports.front()) && isDigit(ports.back()) &&
           std::all_of(ports.begin(), ports.end(), [](char c) { return isDigit(c) || c == '.'; });
}

std::vector<std::string> ancestorsOf(const std::string& path, bool includeSelf) {
    std::vector<std::string> chain;
    std::string at = includeSelf ? path : parentOf(path);
    while (at.size() > devicesRoot.size() && at.starts_with(devicesRoot)) {
        chain.push_back(at);
        at = parentOf(at);
    }
    return chain;
}

}  // namespace drivekit::Discovery::Internal
