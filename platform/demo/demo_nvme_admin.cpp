#include "platform/demo/demo_nvme_admin.hpp"

#include <cerrno>

namespace platform {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

Unexpected<NVMeAdminFailure> noController() {
    return Unexpected(NVMeAdminFailure{NVMeAdminFailure::Kind::noController, ENODEV});
}

}  // namespace

DemoNVMeAdmin::DemoNVMeAdmin(std::map<std::string, DemoNVMeController, std::less<>> controllers)
    : controllers_(std::move(controllers)) {}

std::optional<std::string> DemoNVMeAdmin::controllerOf(std::string_view bsdName) {
    if (!bsdName.starts_with("nvme")) return std::nullopt;
    std::size_t end = 4;
    while (end < bsdName.size() && isDigit(bsdName[end])) ++end;
    if (end == 4) return std::nullopt;
    // What may follow the controller's number: a path ("c1"), a namespace ("n1"), a
    // partition ("p2").
    if (end < bsdName.size() && bsdName[end] != 'c' && bsdName[end] != 'n') return std::nullopt;
    return std::string(bsdName.substr(0, end));
}

const DemoNVMeController* DemoNVMeAdmin::find(std::string_view bsdName) const {
    const auto controller = controllerOf(bsdName);
    if (!controller) return nullptr;
    const auto it = controllers_.find(*controller);
    return it == controllers_.end() ? nullptr : &it->second;
}

NVMeAdminReply DemoNVMeAdmin::smartLog(std::string_view bsdName) {
    if (const auto* controller = find(bsdName)) return controller->smartLog;
    return noController();
}

NVMeAdminReply DemoNVMeAdmin::identifyController(std::string_view bsdName) {
    if (const auto* controller = find(bsdName)) return controller->identifyController;
    return noController();
}

}  // namespace platform
