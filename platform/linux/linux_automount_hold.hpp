#pragma once
// The automount hold on Linux: a runtime udev rule that marks every USB disk added while it
// is in place with UDISKS_IGNORE (kept through the kernel's change events), so that udisks2 (and the desktop's automount above it)
// doesn't see the disk until its check is over. Releasing a device adds an exception for its
// USB port to the rule and sends the kernel's "change" for its disks, which udev processes
// with the new rule and udisks2 then shows as if they had just arrived.
//
// The rule also names this process: should it be killed, the rule stops applying, and the
// file in /run goes at the next boot. Needs root (the folder is root's).
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "platform/automount_hold.hpp"

namespace platform {

class LinuxAutomountHold final : public AutomountHold {
public:
    struct Paths {
        std::filesystem::path rulesFile = "/run/udev/rules.d/90-vantrel-hold.rules";
        std::filesystem::path sysRoot = "/sys";
        /// Makes udev read its rules again before the next event; udevd would notice the
        /// change by itself, but only within seconds.
        std::function<void()> reloadRules = reloadUdevRules;
        int pid = 0;  // this process, when 0
    };

    /// Writes the rule; nothing, with why, when it can't (not root, no udev).
    static std::unique_ptr<LinuxAutomountHold> open(std::string& why, Paths paths);
    static std::unique_ptr<LinuxAutomountHold> open(std::string& why) { return open(why, Paths{}); }
    ~LinuxAutomountHold() override;
    LinuxAutomountHold(const LinuxAutomountHold&) = delete;
    LinuxAutomountHold& operator=(const LinuxAutomountHold&) = delete;

    void release(std::uint32_t locationID) override;
    void forget(std::uint32_t locationID) override;

    /// The rule file: USB disks added while `pid` lives are ignored by udisks2, except
    /// those behind the `released` USB devices ("2-1.4").
    static std::string rulesText(int pid, const std::set<std::string>& released);
    /// The kernel's name of the USB device at a location ID: bus, then the hub ports
    /// ("2-1.4" for 0x02140000).
    static std::string usbDeviceName(std::uint32_t locationID);
    static void reloadUdevRules();

private:
    explicit LinuxAutomountHold(Paths paths);
    bool write(std::string& why) const;
    /// Sends "change" to every disk and partition whose sysfs path passes through the USB
    /// device `usbName`; every USB one when empty.
    void offerAgain(const std::string& usbName) const;

    Paths paths_;
    std::set<std::string> released_;
};

}  // namespace platform
