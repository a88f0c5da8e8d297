#pragma once
// DemoNVMeAdmin: the NVMe controllers of the demo machine, each answering with the SMART
// log and Identify Controller pages its description holds. A namespace name ("nvme0n1",
// "nvme0c0n1") reaches its controller ("nvme0") as it does on Linux; a name with no
// controller behind it answers `noController` with ENODEV, as a disk that isn't NVMe does.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/bytes.hpp"
#include "platform/nvme_admin.hpp"

namespace platform {

struct DemoNVMeController {
    platform::Bytes smartLog;
    platform::Bytes identifyController;
};

class DemoNVMeAdmin final : public NVMeAdmin {
  public:
    explicit DemoNVMeAdmin(std::map<std::string, DemoNVMeController, std::less<>> controllers);

    NVMeAdminReply smartLog(std::string_view bsdName) override;
    NVMeAdminReply identifyController(std::string_view bsdName) override;

    /// "nvme0" for "nvme0", "nvme0n1", "nvme0c1n1" and "nvme0n1p2"; nothing for a name
    /// that isn't NVMe.
    static std::optional<std::string> controllerOf(std::string_view bsdName);

  private:
    const DemoNVMeController* find(std::string_view bsdName) const;

    std::map<std::string, DemoNVMeController, std::less<>> controllers_;
};

}  // namespace platform
